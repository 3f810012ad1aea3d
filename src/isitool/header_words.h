// The header's fields in words.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "isi/isi_format.h"

namespace tavindex {

// What the set bits mean.
std::vector<std::string_view> FileFlagWords(std::uint8_t fileFlags);
std::vector<std::string_view> AddrFlagWords(std::uint8_t addrFlags);

// The end-of-record mark: "LF", "CR LF", "LF CR", "CR", or "none" of binary records.
std::string_view EorName(std::uint8_t fileFlags);

// A part of the key: columns from 1, both inclusive; downwards when `to` is the smaller.
struct KeyPart {
  std::uint32_t from = 0;
  std::uint32_t to = 0;
};

// The key's parts in key order. The stored command line tells the direction of each; where it does
// not make the header's key, the key table speaks, which knows none.
std::vector<KeyPart> KeyParts(const IsiHeader& header);

// "columns 1-4, 30-21".
std::string DescribeKey(const std::vector<KeyPart>& parts);

// The used entries of the condition table.
std::vector<HeaderCondition> UsedConditions(const IsiHeader& header);

// A compound condition has no character of its own.
inline bool IsCompound(const HeaderCondition& condition) { return condition.compareChar == 0; }

std::string DescribeCondition(const HeaderCondition& condition);

}  // namespace tavindex
