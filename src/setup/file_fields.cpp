#include "setup/file_fields.h"

#include "common/decimal.h"
#include "names/field_text.h"
#include "names/file_name.h"

namespace tavindex {

namespace {

// One name and the separator behind it.
Result ReadName(FieldText& text, PathText& name) {
  const std::int32_t consumed =
      ParseFileName(text.line.substr(text.at), name, kNameCapacity, NameRule::kLong);
  if (consumed == kNameOverflow || name.Size() > kMaxFieldLength) return kNameTooLong;
  if (consumed == kInvalidName) return kCommandLineIncomplete;
  text.at += static_cast<std::size_t>(consumed);
  if (!text.FieldEnds()) return kCommandLineIncomplete;
  SkipSeparator(text);
  return kOk;
}

Result ReadRecordLength(RunContext& run, FieldText& text) {
  if (text.OptionsBegin()) return kOk;
  if (text.Next() == ',') {
    SkipSeparator(text);
    return kOk;
  }
  if ((text.Next() | 32) != 'l') return kBadRecordLength;
  ++text.at;
  const Decimal number = ReadDecimal(text.line.substr(text.at));
  text.at += number.digits;
  const std::uint32_t limit = UINT16_MAX - std::uint32_t{run.data.eorLength};
  if (!text.FieldEnds() || number.value == 0 || number.value > limit) return kBadRecordLength;
  run.options.declaredRecordLength = number.value;
  SkipSeparator(text);
  return kOk;
}

Result ReadWorkDirectory(RunContext& run, FieldText& text) {
  if (text.OptionsBegin()) return kOk;
  PathText directory;
  const Result result = ReadName(text, directory);
  run.options.workDirectory.Assign(directory.View());
  return result;
}

Result ReadNames(RunContext& run, FieldText& text) {
  if (const Result result = ReadName(text, run.files.dataFileName); result != kOk) return result;
  if (run.files.dataFileName.Empty()) return kCommandLineIncomplete;
  return text.OptionsBegin() ? kOk : ReadName(text, run.files.outputFileName);
}

}  // namespace

Result ReadFileFields(RunContext& run, std::string_view line, std::size_t& optionStart) {
  FieldText text{.line = line};
  Result result = ReadNames(run, text);
  if (result == kOk) result = ReadRecordLength(run, text);
  if (result == kOk) result = ReadWorkDirectory(run, text);
  if (result != kOk) return result;
  const std::size_t dash = line.find_first_of("-;", text.at);
  if (dash == std::string_view::npos) return kCommandLineIncomplete;
  optionStart = dash + 1;
  return kOk;
}

}  // namespace tavindex
