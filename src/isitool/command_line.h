// The command line of isitool: COMMAND [OPTION]... FILE [KEY].
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tavindex {

enum class Command : std::uint8_t { kNone, kInfo, kCheck, kDump, kFind, kStat, kMap };
enum class ColorWhen : std::uint8_t { kAuto, kAlways, kNever };

struct Options {
  Command command = Command::kNone;
  bool help = false;
  bool version = false;
  bool json = false;
  bool noData = false;
  bool strict = false;
  bool keysOnly = false;
  bool hex = false;
  bool prefix = false;
  bool svg = false;
  ColorWhen color = ColorWhen::kAuto;
  std::optional<std::string> dataPath;
  std::string from;  // bytes; empty: from the first entry
  std::string to;    // bytes; empty: to the last entry
  std::string file;
  std::string key;  // bytes
};

// Reads the arguments, the program's name first. False for misuse, with words in `complaint`. With
// --help or --version the rest does not matter.
bool ReadCommandLine(int argc, char** argv, Options& options, std::string& complaint);

}  // namespace tavindex
