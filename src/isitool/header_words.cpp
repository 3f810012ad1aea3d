#include "isitool/header_words.h"

#include <memory>

#include "common/run_context.h"
#include "isitool/stored_build_line.h"
#include "isitool/text.h"

namespace tavindex {

namespace {

struct FlagWords {
  std::uint8_t bit;
  std::string_view words;
};

constexpr FlagWords kFileFlagWords[] = {
    {kWriteAllRecords, "records are added at the end of the data file (option w)"},
    {kVariableLength, "records of variable length"},
    {kNoDuplicates, "duplicate keys are not allowed"},
    {kSpaceCompression, "records use space compression"},
    {kBinaryData, "binary records without an end-of-record mark"},
    {kIrregularRecords, "records are not all of one length or form"},
    {kEorTwoBytes, "end-of-record mark of two bytes"},
    {kEorLineFeedFirst, "end-of-record mark begins with LF"},
};

constexpr FlagWords kAddrFlagWords[] = {
    {kRecordNumbers, "record-number mode"},
    {0x08, "operating system type 1 (option o)"},
    {0x10, "operating system type 2 (option o)"},
};

template <std::size_t kSize>
std::vector<std::string_view> WordsOf(const FlagWords (&table)[kSize], unsigned flags) {
  std::vector<std::string_view> words;
  for (const FlagWords& entry : table) {
    if ((flags & entry.bit) != 0) words.push_back(entry.words);
    flags &= ~unsigned{entry.bit};
  }
  if (flags != 0) words.emplace_back("unknown bits");
  return words;
}

std::vector<KeyPart> PartsOfTable(const IsiHeader& header) {
  std::vector<KeyPart> parts;
  for (const KeyTableEntry& entry : header.keyTable) {
    if (entry.length == 0) break;
    parts.push_back({entry.start + 1U, std::uint32_t{entry.start} + entry.length});
  }
  return parts;
}

// The parts of the table, each turned round where the compiled key runs downwards.
std::vector<KeyPart> TurnedParts(const KeyState& keys, std::vector<KeyPart> parts) {
  std::size_t place = 0;
  for (KeyPart& part : parts) {
    const std::size_t length = part.to - part.from + 1;
    if (place + length > keys.keyLength) break;
    if (keys.keyColumns[place] + 1U == part.to) std::swap(part.from, part.to);
    place += length;
  }
  return parts;
}

}  // namespace

std::vector<std::string_view> FileFlagWords(std::uint8_t fileFlags) {
  return WordsOf(kFileFlagWords, fileFlags);
}

std::vector<std::string_view> AddrFlagWords(std::uint8_t addrFlags) {
  return WordsOf(kAddrFlagWords, addrFlags);
}

std::string_view EorName(std::uint8_t fileFlags) {
  const bool lineFeedFirst = (fileFlags & kEorLineFeedFirst) != 0;
  if ((fileFlags & kEorTwoBytes) != 0) return lineFeedFirst ? "LF CR" : "CR LF";
  if (lineFeedFirst) return "LF";
  return (fileFlags & kBinaryData) != 0 ? "none" : "CR";
}

std::vector<KeyPart> KeyParts(const IsiHeader& header) {
  std::vector<KeyPart> table = PartsOfTable(header);
  const auto run = std::make_unique<RunContext>();
  std::string why;
  if (!CompileStoredLine(header, *run, why)) return table;
  return TurnedParts(run->keys, std::move(table));
}

std::string DescribeKey(const std::vector<KeyPart>& parts) {
  if (parts.empty()) return "no columns";
  std::string text;
  for (const KeyPart& part : parts) {
    text += text.empty() ? "columns " : ", ";
    text += std::to_string(part.from);
    if (part.to != part.from) text += Format("-%u", part.to);
  }
  return text;
}

std::vector<HeaderCondition> UsedConditions(const IsiHeader& header) {
  std::vector<HeaderCondition> used;
  for (const HeaderCondition& condition : header.conditionTable) {
    if (condition.column != 0) used.push_back(condition);
  }
  return used;
}

std::string DescribeCondition(const HeaderCondition& condition) {
  const bool equal = (condition.flags & kTestEqual) != 0;
  if (IsCompound(condition)) {
    return Format("compound condition up to column %u is %s", condition.column,
                  equal ? "true" : "false");
  }
  const auto character = static_cast<char>(condition.compareChar);
  return Format("column %u %s '", condition.column, equal ? "is" : "is not") +
         Visible({&character, 1}) + "'";
}

}  // namespace tavindex
