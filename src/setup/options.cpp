#include "setup/options.h"

#include <string_view>

#include "common/console.h"
#include "common/decimal.h"
#include "common/usage.h"
#include "names/environment.h"
#include "names/text_case.h"
#include "sort/conditions.h"
#include "sort/key_map.h"
#include "sort/reformat.h"

namespace tavindex {

namespace {

constexpr char Fold(char c) { return static_cast<char>(c | 32); }

struct OptionText {
  RunContext& run;
  std::span<char> text;
  std::size_t at = 0;       // behind the letter being read
  bool optionSeen = false;  // any letter or key specification
  bool compactSeen = false;
  bool keySeen = false;
  bool ended = false;

  char Next() const { return at < text.size() ? text[at] : '\0'; }
  std::string_view Rest() const { return std::string_view{text.data(), text.size()}.substr(at); }
};

Result ReadCompact(OptionText& reader) {
  if (reader.optionSeen) return kConflictingKeyOptions;
  reader.compactSeen = true;
  OptionState& options = reader.run.options;
  options.compactFlags = kCompactWanted;
  options.compactLocking = true;
  if (reader.Next() != '=') return kOk;
  ++reader.at;
  const char value = reader.Next();
  ++reader.at;
  if (value == '0') {
    options.compactFlags |= kSkipRangeLock;
  } else if (value == '1') {
    options.compactFlags |= kExclusiveOpen;
    options.compactLocking = false;
  } else {
    return kBadCompactOption;
  }
  return kOk;
}

Result ReadNoDuplicates(OptionText& reader) {
  OptionState& options = reader.run.options;
  const char form = reader.Next();
  options.rejectDups = true;
  options.ignoreDups = form == '0' || form == '$';
  options.quietDups = form == '$';
  options.errorFileWanted = !options.quietDups || options.errorOptionGiven;
  if (options.ignoreDups) ++reader.at;
  return kOk;
}

Result ReadFillPercent(OptionText& reader) {
  const std::string_view rest = reader.Rest();
  if (rest.size() < 2 || !IsDigit(rest[0]) || !IsDigit(rest[1])) return kBadFillPercent;
  reader.run.options.fillPercent = ReadDecimal(rest.substr(0, 2)).value;
  reader.at += 2;
  return kOk;
}

Result ReadOsType(OptionText& reader) {
  constexpr std::uint8_t kFirstType = 8;
  constexpr std::uint8_t kSecondType = 16;
  reader.run.options.osType = kSecondType;
  if (reader.Next() != '=') return kOk;
  ++reader.at;
  const char value = reader.Next();
  ++reader.at;
  if (value == '1') reader.run.options.osType = kFirstType;
  return value == '1' || value == '2' ? kOk : kBadOsType;
}

Result ReadUpperCase(OptionText& reader) {
  reader.run.options.upperCaseKeys = true;
  return reader.keySeen ? kUppercaseTooLate : kOk;
}

Result ReadPrimary(OptionText& reader) {
  ConditionText condition{.text = reader.text, .at = reader.at};
  const Result result = AddCondition(reader.run, condition);
  reader.at = condition.at;
  return result;
}

Result ReadBinaryLength(OptionText& reader) {
  OptionState& options = reader.run.options;
  options.binaryRecords = true;
  if (reader.Next() != '=') return kOk;
  ++reader.at;
  const Decimal number = ReadDecimal(reader.Rest());
  reader.at += number.digits;
  if (number.digits == 0) return kOk;
  const bool declared = options.declaredRecordLength != 0;
  if (declared && number.value != options.declaredRecordLength) return kConflictingRecordLength;
  if (number.value > UINT16_MAX - std::uint32_t{reader.run.data.eorLength}) return kBadRecordLength;
  options.declaredRecordLength = number.value;
  return kOk;
}

Result ReadPlainBinary(OptionText& reader) {
  reader.run.options.binaryPlain = true;
  return ReadBinaryLength(reader);
}

Result ReadBinaryWithEor(OptionText& reader) {
  reader.run.options.binaryWithEor = true;
  return ReadBinaryLength(reader);
}

// Number or number-number; `at` is on its first character.
Result ReadColumn(OptionText& reader, std::uint32_t& column) {
  const Decimal number = ReadDecimal(reader.Rest());
  reader.at += number.digits;
  column = number.value;
  if (column > UINT16_MAX - std::uint32_t{reader.run.data.eorLength}) return kKeyColumnTooLarge;
  return column == 0 ? kBadKeySyntax : kOk;
}

Result StoreKey(RunContext& run, std::uint32_t from, std::uint32_t to) {
  if (const Result result = AddKeyRange(run, from, to); result != kOk) return result;
  if (!run.control.indexMode) return kOk;
  KeyState& keys = run.keys;
  if (keys.keyTableCount == kMaxKeys) return kTooManyKeys;
  const std::uint32_t low = from < to ? from : to;
  const std::uint32_t high = from < to ? to : from;
  keys.keyTable[keys.keyTableCount++] = {.start = static_cast<std::uint16_t>(low - 1),
                                         .length = static_cast<std::uint16_t>(high - low + 1)};
  return kOk;
}

Result ReadKey(OptionText& reader) {
  --reader.at;
  std::uint32_t from = 0;
  if (const Result result = ReadColumn(reader, from); result != kOk) return result;
  std::uint32_t to = from;
  if (reader.Next() == '-') {
    ++reader.at;
    if (const Result result = ReadColumn(reader, to); result != kOk) return result;
    if (reader.Next() == '-') return kBadKeySyntax;
  }
  reader.keySeen = true;
  return StoreKey(reader.run, from, to);
}

// What stands behind '>' belongs to the sort command; an index run does not read it.
Result ReadReformat(OptionText& reader) {
  reader.ended = true;
  if (reader.run.control.indexMode) return kOk;
  return ParseReformat(reader.run, reader.Rest(), '\0') ? kOk : kBadReformat;
}

Result ReadHelp(OptionText& reader) {
  ShowUsage(reader.run);
  return kUsageShown;
}

using Handler = Result (*)(OptionText& reader);

// A letter that only sets a flag names it; every other one has a handler.
struct OptionLetter {
  char letter;
  bool OptionState::*flag;
  bool value;
  Handler handler;
};

Result ReadErrorFile(OptionText& reader) {
  reader.run.options.errorOptionGiven = true;
  return kOk;
}

Result ReadAllowDuplicates(OptionText& reader) {
  reader.run.options.ignoreDups = false;
  reader.run.options.quietDups = false;
  return kOk;
}

Result ReadSpaceCompression(OptionText& reader) {
  reader.run.options.variableRecords = true;
  return kOk;
}

constexpr OptionLetter kOptionLetters[] = {
    {'?', nullptr, false, ReadHelp},
    {'b', &OptionState::expandTabs, false, nullptr},
    {'c', nullptr, false, ReadCompact},
    {'d', &OptionState::rejectDups, false, ReadAllowDuplicates},
    {'e', &OptionState::errorFileWanted, true, ReadErrorFile},
    {'f', nullptr, false, ReadPlainBinary},
    {'g', nullptr, false, ReadBinaryWithEor},
    {'i', &OptionState::displayRun, true, nullptr},
    {'m', nullptr, false, ReadFillPercent},
    {'n', nullptr, false, ReadNoDuplicates},
    {'o', nullptr, false, ReadOsType},
    {'p', nullptr, false, ReadPrimary},
    {'q', &OptionState::quitIfNotOpened, true, nullptr},
    {'r', &OptionState::reindexRun, true, nullptr},
    {'s', &OptionState::spaceCompAllowed, true, ReadSpaceCompression},
    {'u', nullptr, false, ReadUpperCase},
    {'v', &OptionState::variableRecords, true, nullptr},
    {'w', &OptionState::writeAllAtEnd, true, nullptr},
    {'x', &OptionState::showRecordProgress, false, nullptr},
    {'y', &OptionState::noDrive, true, nullptr},
    {'z', &OptionState::discardPath, true, nullptr},
    {'>', nullptr, false, ReadReformat},
};

const OptionLetter* FindLetter(char letter) {
  for (const OptionLetter& option : kOptionLetters) {
    if (option.letter == letter) return &option;
  }
  return nullptr;
}

Result ApplyLetter(OptionText& reader, const OptionLetter& option) {
  if (option.flag != nullptr) reader.run.options.*option.flag = option.value;
  return option.handler == nullptr ? kOk : option.handler(reader);
}

// An unknown character: passed over when an existing index is asked for, the end of the options
// behind a blank, a mistake anywhere else.
Result ReadUnknown(OptionText& reader) {
  const RunContext& run = reader.run;
  if (run.control.indexMode && (run.options.displayRun || run.options.reindexRun)) return kOk;
  const bool behindBlank = reader.at >= 2 && reader.text[reader.at - 2] == ' ';
  reader.ended = behindBlank;
  return behindBlank ? kOk : kBadKeySyntax;
}

Result ReadOption(OptionText& reader) {
  const char letter = Fold(reader.text[reader.at++]);
  if (letter == ',' || letter == ' ') return kOk;
  if (reader.compactSeen) return kConflictingKeyOptions;
  Result result = kOk;
  if (IsDigit(letter) || letter == '-') {
    result = ReadKey(reader);
  } else if (const OptionLetter* option = FindLetter(letter)) {
    result = ApplyLetter(reader, *option);
  } else {
    result = ReadUnknown(reader);
  }
  reader.optionSeen = true;
  return result;
}

void ReadPathSetting(RunContext& run) {
  const char* value = GetEnvironmentValue(run, "KVR_NOPATH");
  if (value == nullptr) return;
  if (CompareNoCase(value, "ON") == 0) run.options.discardPath = true;
  ShowDebug(run, "'KVR_NOPATH=%s'\n", value);
}

}  // namespace

Result ReadOptions(RunContext& run, std::span<char> text) {
  OptionText reader{.run = run, .text = text};
  while (!reader.ended && reader.at < text.size()) {
    if (const Result result = ReadOption(reader); result != kOk) return result;
  }
  return kOk;
}

Result CheckOptions(RunContext& run) {
  const OptionState& options = run.options;
  if (run.control.indexMode) ReadPathSetting(run);
  if (options.binaryRecords) {
    const bool bothBinary = options.binaryPlain && options.binaryWithEor;
    if (bothBinary || options.variableRecords) return kConflictingOptions;
    if (options.declaredRecordLength == 0) return kRecordLengthRequired;
    run.data.recordLength = options.declaredRecordLength;
  }
  const bool needsKey = !options.displayRun && !options.reindexRun && !options.CompactRun();
  return needsKey && run.keys.keyLength == 0 ? kCommandLineIncomplete : kOk;
}

}  // namespace tavindex
