#include "isitool/entry_print.h"

#include "isitool/text.h"

namespace tavindex {

bool KeyFits(const Tool& tool, const IsiFile& file, std::string_view key) {
  const std::size_t keyLength = file.Header().keyLength;
  if (key.size() <= keyLength) return true;
  Complain(tool, file.path,
           "its keys have " + Count(keyLength, "byte") + ", fewer than the one given");
  return false;
}

std::string KeyText(const Tool& tool, const EntryView& entry) {
  const std::string_view key = AsText(entry.key);
  return tool.options.hex ? HexDigits(key) : Visible(key);
}

void PrintEntryHead(const Tool& tool) { Print(tool, "   address  length    dup  key\n"); }

void PrintEntry(const Tool& tool, const EntryView& entry) {
  Print(tool, Format("%10u  %6u  %5u  ", entry.lfa, entry.recLength, entry.dupSeq));
  Print(tool, KeyText(tool, entry) + "\n");
}

void WriteKey(Json& json, const EntryView& entry) {
  const std::string_view key = AsText(entry.key);
  json.TextMember("key", key);
  json.TextMember("keyHex", HexDigits(key));
}

void WriteEntry(Json& json, const Node& node, std::uint32_t index, const EntryView& entry) {
  WriteKey(json, entry);
  json.NumberMember("address", entry.lfa);
  json.NumberMember("length", entry.recLength);
  json.NumberMember("duplicate", entry.dupSeq);
  json.NumberMember("sector", node.sector);
  json.NumberMember("entry", index);
  json.NumberMember("level", node.level);
}

}  // namespace tavindex
