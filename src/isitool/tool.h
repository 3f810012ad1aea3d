// isitool, the program that looks at ISI files. It reads, and never writes to, an ISI or a data
// file.
//
// A run goes through these steps:
//
//   1. command_line.h   the arguments: one command, its options, one file
//   2. isi_file.h       the file is opened and its front decoded
//   3. one command      info.h, check.h, dump.h, find.h, stat.h, map.h
// The commands other than info stand on the walks of walk.h, which end on any bytes: check tells
// every fault that they meet, dump and find print what they pass, stat and map count what they
// reach (survey.h). check compares with the data file through the record scanner of the index build
// (record_scan.h, data_check.h), so that keys are made by the very code that made them before.
//
// Output goes to `out`, for people or (--json) for programs; messages go to `err` as
// "isitool: FILE: reason".
#pragma once

#include <cstdint>
#include <cstdio>
#include <string_view>

#include "isitool/command_line.h"

namespace tavindex {

// Exit statuses. A command that meets several things ends with the highest.
enum class ToolStatus : std::uint8_t {
  kFine = 0,
  kFaults = 1,   // the file has faults, or nothing was found
  kTrouble = 2,  // misuse, or a file that cannot be read
};

struct Tool {
  std::FILE* out = nullptr;
  std::FILE* err = nullptr;
  Options options;
};

// Prints a message about the file `name`.
void Complain(const Tool& tool, std::string_view name, std::string_view reason);

// Prints to tool.out.
void Print(const Tool& tool, std::string_view text);

// The whole program. A failure to write the output is trouble.
ToolStatus RunTool(int argc, char** argv, std::FILE* out, std::FILE* err);

}  // namespace tavindex
