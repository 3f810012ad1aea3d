// How dump and find take keys and show entries.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "isitool/isi_file.h"
#include "isitool/json.h"
#include "isitool/tool.h"
#include "isitool/walk.h"

namespace tavindex {

// Whether a key that was typed is no longer than those of the index; says so when it is.
bool KeyFits(const Tool& tool, const IsiFile& file, std::string_view key);

// The key as people see it: text, or with --hex digits.
std::string KeyText(const Tool& tool, const EntryView& entry);

void PrintEntryHead(const Tool& tool);
void PrintEntry(const Tool& tool, const EntryView& entry);

// The members "key" and "keyHex" of an open object.
void WriteKey(Json& json, const EntryView& entry);

// All members of an entry.
void WriteEntry(Json& json, const Node& node, std::uint32_t index, const EntryView& entry);

}  // namespace tavindex
