#include "isitool/command_line.h"

#include <getopt.h>

#include <array>
#include <string_view>
#include <vector>

#include "isitool/text.h"

namespace tavindex {

namespace {

constexpr unsigned Bit(Command command) { return 1U << static_cast<unsigned>(command); }

constexpr unsigned kData = Bit(Command::kInfo) | Bit(Command::kCheck) | Bit(Command::kFind);
constexpr unsigned kCheck = Bit(Command::kCheck);
constexpr unsigned kDump = Bit(Command::kDump);
constexpr unsigned kFind = Bit(Command::kFind);
constexpr unsigned kMap = Bit(Command::kMap);
constexpr unsigned kAll = ~0U;

struct CommandName {
  std::string_view name;
  Command command;
};

constexpr CommandName kCommands[] = {
    {"info", Command::kInfo}, {"check", Command::kCheck}, {"dump", Command::kDump},
    {"find", Command::kFind}, {"stat", Command::kStat},   {"map", Command::kMap},
};

bool TakeData(Options& options, const char* value) {
  options.dataPath = value;
  return !options.dataPath->empty();
}
bool TakeFrom(Options& options, const char* value) { return FromVisible(value, options.from); }
bool TakeTo(Options& options, const char* value) { return FromVisible(value, options.to); }

bool TakeColor(Options& options, const char* value) {
  constexpr std::string_view kNames[] = {"auto", "always", "never"};
  constexpr ColorWhen kValues[] = {ColorWhen::kAuto, ColorWhen::kAlways, ColorWhen::kNever};
  for (std::size_t i = 0; i < std::size(kNames); ++i) {
    if (kNames[i] != value) continue;
    options.color = kValues[i];
    return true;
  }
  return false;
}

// An option sets a flag, or has a reader for its value.
struct OptionName {
  const char* name;
  unsigned commands;
  bool Options::*flag;
  bool (*take)(Options& options, const char* value);
};

constexpr OptionName kOptions[] = {
    {"help", kAll, &Options::help, nullptr},
    {"version", kAll, &Options::version, nullptr},
    {"json", kAll, &Options::json, nullptr},
    {"data", kData, nullptr, TakeData},
    {"no-data", kCheck, &Options::noData, nullptr},
    {"strict", kCheck, &Options::strict, nullptr},
    {"keys", kDump, &Options::keysOnly, nullptr},
    {"hex", kDump, &Options::hex, nullptr},
    {"from", kDump, nullptr, TakeFrom},
    {"to", kDump, nullptr, TakeTo},
    {"prefix", kFind, &Options::prefix, nullptr},
    {"svg", kMap, &Options::svg, nullptr},
    {"color", kMap, nullptr, TakeColor},
};
constexpr std::size_t kOptionCount = std::size(kOptions);

using LongOptions = std::array<struct option, kOptionCount + 1>;

LongOptions MakeLongOptions() {
  LongOptions table{};
  for (std::size_t i = 0; i < kOptionCount; ++i) {
    const int argument = kOptions[i].take == nullptr ? no_argument : required_argument;
    table[i] = {kOptions[i].name, argument, nullptr, 0};
  }
  return table;
}

// What was on the command line besides options, and which options there were.
struct Arguments {
  std::vector<std::string> operands;
  std::vector<const OptionName*> given;
};

bool TakeOption(const OptionName& option, Options& options, Arguments& arguments,
                std::string& complaint) {
  arguments.given.push_back(&option);
  if (option.flag != nullptr) options.*option.flag = true;
  if (option.take == nullptr || option.take(options, optarg)) return true;
  complaint = Format("--%s: '%s' is no value for it", option.name, optarg);
  return false;
}

// The option that getopt_long stumbled over.
std::string Stumble(int answer, char** argv) {
  const std::string option = argv[optind - 1];
  if (answer == ':') return option + ": needs a value";
  if (optopt != 0) return Format("-%c: unknown option", optopt);
  const std::size_t sign = option.find('=');
  if (sign == std::string::npos) return option + ": unknown or ambiguous option";
  return option.substr(0, sign) + ": unknown or ambiguous option, or one without a value";
}

bool ReadArguments(int argc, char** argv, Options& options, Arguments& arguments,
                   std::string& complaint) {
  const LongOptions table = MakeLongOptions();
  optind = 0;  // starts anew, also when there was a command line before
  opterr = 0;
  for (;;) {
    int which = 0;
    optopt = 0;
    const int answer = ::getopt_long(argc, argv, ":", table.data(), &which);
    if (answer == -1) break;
    if (answer != 0) {
      complaint = Stumble(answer, argv);
      return false;
    }
    const OptionName& option = kOptions[static_cast<std::size_t>(which)];
    if (!TakeOption(option, options, arguments, complaint)) return false;
  }
  arguments.operands.assign(argv + optind, argv + argc);
  return true;
}

bool ReadCommand(const Arguments& arguments, Options& options, std::string& complaint) {
  if (arguments.operands.empty()) {
    complaint = "a command is missing";
    return false;
  }
  for (const CommandName& command : kCommands) {
    if (command.name == arguments.operands[0]) options.command = command.command;
  }
  if (options.command == Command::kNone) {
    complaint = Visible(arguments.operands[0]) + ": unknown command";
    return false;
  }
  for (const OptionName* option : arguments.given) {
    if ((option->commands & Bit(options.command)) != 0) continue;
    complaint = Format("--%s: no option of '%s'", option->name, arguments.operands[0].c_str());
    return false;
  }
  return true;
}

bool ReadOperands(const Arguments& arguments, Options& options, std::string& complaint) {
  const bool takesKey = options.command == Command::kFind;
  const std::size_t wanted = takesKey ? 3 : 2;
  const auto& operands = arguments.operands;
  if (operands.size() > wanted) {
    complaint = Visible(operands[wanted]) + ": one argument too many";
    return false;
  }
  if (operands.size() < wanted) {
    complaint = operands.size() == 1 ? "a file name is missing" : "a key is missing";
    return false;
  }
  options.file = operands[1];
  if (!takesKey || FromVisible(operands[2], options.key)) return true;
  complaint = operands[2] +
              ": a backslash in a key stands before x and two hexadecimal digits, "
              "or before another";
  return false;
}

}  // namespace

bool ReadCommandLine(int argc, char** argv, Options& options, std::string& complaint) {
  Arguments arguments;
  if (!ReadArguments(argc, argv, options, arguments, complaint)) return false;
  if (options.help || options.version) return true;
  if (!ReadCommand(arguments, options, complaint)) return false;
  if (!ReadOperands(arguments, options, complaint)) return false;
  if (!options.noData || !options.dataPath) return true;
  complaint = "--data and --no-data: only one of them";
  return false;
}

}  // namespace tavindex
