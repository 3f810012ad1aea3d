// The compiled form of the key specifications and record conditions: built once by the set-up
// (sort/key_map.h, sort/conditions.h), read for every record by the scanner.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tavindex {

inline constexpr std::uint32_t kMaxKeyMapEntries = 150;
inline constexpr std::uint32_t kMaxKeys = 31;        // key specifications of one command line
inline constexpr std::uint32_t kMaxConditions = 10;  // entries of the header's condition table
inline constexpr std::uint32_t kPrimaryKeySize = 151;

// Bits of KeyMapEntry::flags.
enum KeyMapFlag : std::uint16_t {
  kEndNegative = 0x01,   // clear the negative state behind this byte
  kSignAware = 0x02,     // digits of a negative number sort in reverse
  kCompound = 0x04,      // compound terms look at this column
  kKeyByte = 0x08,       // deliver the byte into the key
  kTestNotEqual = 0x10,  // condition: differs (kCompound: the whole is false)
  kTestEqual = 0x20,     // condition: equals (kCompound: the whole is true)
  kUpperCase = 0x40,
  kDescending = 0x80,
  kSubtract = 0x100,
};

inline constexpr std::uint16_t kTestMask = kTestNotEqual | kTestEqual;
inline constexpr std::uint16_t kEndOfKeyMap = 0xFFFF;  // keyPos of the entry that ends the map

struct KeyMapEntry {
  std::uint16_t recordPos = 0;  // record column, from 0
  std::uint16_t keyPos = 0;     // place in the key, from 0
  std::uint16_t flags = 0;
  std::uint8_t compareChar = 0;
  std::uint8_t subtractValue = 0;
};

// Neighbouring columns that go unchanged to neighbouring places of the key.
struct KeyRun {
  std::uint16_t recordPos = 0;
  std::uint16_t keyPos = 0;
  std::uint16_t length = 0;
};

// One key specification as the ISI header keeps it.
struct KeyTableEntry {
  std::uint16_t start = 0;   // column, from 0
  std::uint16_t length = 0;  // bytes
};

// One condition as the ISI header keeps it.
struct HeaderCondition {
  std::uint16_t column = 0;  // from 1
  std::uint8_t flags = 0;    // kTestEqual or kTestNotEqual
  std::uint8_t compareChar = 0;
};

enum class Connector : std::uint8_t { kFirst = 1, kAnd = 2, kOr = 3, kEnd = 4 };
enum class Operator : std::uint8_t {
  kLess = 1,
  kGreater = 2,
  kEqual = 3,
  kNotEqual = 4,
  kLessOrEqual = 5,
  kGreaterOrEqual = 6
};
enum class TermResult : std::uint8_t { kNotEvaluated = 0, kFalse = 1, kTrue = 2 };

// One term of the compound condition.
struct CompoundTerm {
  Connector connector = Connector::kEnd;  // how it is joined to the term before it
  std::uint16_t column = 0;               // from 0
  std::string_view value;                 // refers into the parsed command line
  Operator op = Operator::kEqual;
  TermResult result = TermResult::kNotEvaluated;
};

// Every term takes at least 4 characters of the command line ("1='A'" and a connector).
inline constexpr std::size_t kMaxCompoundTerms = 256;

inline constexpr std::size_t kMaxReformatItems = 254;
inline constexpr std::size_t kLiteralPoolSize = 997;
inline constexpr std::uint32_t kMaxReformatLength = 32766;
inline constexpr std::uint16_t kEndOfReformat = 65535;

// One item of a reformat list: a column range of the record, or a literal of the pool.
struct ReformatItem {
  std::uint16_t start = 0;  // column from 0, or place in the pool; kEndOfReformat ends the list
  std::uint16_t length = 0;
  bool literal = false;
};

struct ReformatList {
  std::array<ReformatItem, kMaxReformatItems + 1> items{};
  std::uint32_t count = 0;
  std::array<char, kLiteralPoolSize> literals{};
  std::uint32_t literalBytes = 0;
  std::uint32_t outputLength = 0;   // bytes of one reformatted record
  std::uint32_t highestColumn = 0;  // from 1; the last record column any item uses
};

}  // namespace tavindex
