#include "driver/pre_options.h"

#include "common/console.h"
#include "common/decimal.h"
#include "common/usage.h"

namespace tavindex {

namespace {

constexpr std::size_t kMaxIniName = 256;
constexpr std::uint32_t kMaxTrainsOption = 16383;

// The sort memory. A value is taken whenever it differs from the budget, however small: the floor
// that the warning speaks of is looked at only where it cannot apply, and scripts rely on small
// budgets being taken.
void ReadMaxMemory(RunContext& run, std::string_view value) {
  const std::int64_t number = ReadSignedDecimal(value);
  const auto bytes = static_cast<std::uint32_t>(number);
  std::uint32_t& maxMemory = run.control.maxMemory;
  if (bytes != maxMemory) {
    maxMemory = bytes;
    ShowFormatted(run, "Max memory set to %ld.\n", static_cast<long>(number));
  } else if (bytes < maxMemory / 2) {
    ShowMessage(run, "-m option value too small.  Default assumed.\n");  // GCOVR_EXCL_LINE: equal
  }
}

// The number in the refusal is not the default that stays in force; the text is kept as it is.
void ReadMaxSortTrains(RunContext& run, std::string_view value) {
  const std::int64_t number = ReadSignedDecimal(value);
  const auto trains = static_cast<std::uint32_t>(number);
  if (trains > kMaxTrainsOption) {
    ShowMessage(run, "-t option value too large.  Default of 999 assumed.\n");
    return;
  }
  run.control.maxSortTrains = static_cast<std::int32_t>(trains);
  ShowFormatted(run, "Max sort trains set to %ld.\n", static_cast<long>(number));
}

bool HasExtension(std::string_view name) {
  const std::size_t slash = name.rfind('/');
  return name.find('.', slash == std::string_view::npos ? 0 : slash) != std::string_view::npos;
}

Result ReadIniOption(RunContext& run, std::string_view value, Arguments& arguments) {
  if (value.empty()) {
    const bool hasName = !arguments.AtEnd() && !arguments.Text(arguments.next).starts_with('-');
    if (!hasName) {
      ShowMessage(run, "Invalid parameter for -i option!\n");
      return kBadIniOption;
    }
    value = arguments.Text(arguments.next++);
  }
  SetIniName(run, value);
  return kOk;
}

Result ReadPreOption(RunContext& run, std::string_view option, Arguments& arguments) {
  const char letter = option.size() > 1 ? static_cast<char>(option[1] | 32) : '\0';
  const std::string_view value = option.substr(option.size() > 1 ? 2 : 1);
  switch (letter) {
    case '0':
      run.control.sortMethod = 0;
      break;
    case '1':
      run.control.sortMethod = 1;
      break;
    case '?':
      ShowUsage(run);
      return kUsageShown;
    case 'd':
      run.control.debugMode = true;
      break;
    case 'i':
      return ReadIniOption(run, value, arguments);
    case 'm':
      ReadMaxMemory(run, value);
      break;
    case 't':
      ReadMaxSortTrains(run, value);
      break;
    default:
      break;
  }
  return kOk;
}

}  // namespace

void SetIniName(RunContext& run, std::string_view name) {
  while (!name.empty() && static_cast<unsigned char>(name[0]) <= 32) name.remove_prefix(1);
  auto& iniFileName = run.names.iniFileName;
  iniFileName.Assign(name.substr(0, kMaxIniName));
  if (!HasExtension(iniFileName.View())) iniFileName.Append(".ini");
}

Result ReadPreOptions(RunContext& run, Arguments& arguments) {
  while (!arguments.AtEnd() && arguments.Text(arguments.next).starts_with('-')) {
    const std::string_view option = arguments.Text(arguments.next++);
    const Result result = ReadPreOption(run, option, arguments);
    if (result != kOk) return result;
  }
  return kOk;
}

}  // namespace tavindex
