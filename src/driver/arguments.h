// The arguments of a run, from either source, and the scan over them.
#pragma once

#include <cstddef>
#include <string_view>

#include "common/run_context.h"
#include "driver/split_command_line.h"

namespace tavindex {

// What remains of the arguments: token 0 is the program's name, `next` the one to read next.
struct Arguments {
  const Token* tokens = nullptr;
  std::size_t count = 0;
  std::size_t next = 1;
  bool fromText = false;  // SplitCommandLine made the tokens

  bool AtEnd() const { return next >= count; }
  std::string_view Text(std::size_t index) const { return tokens[index].text; }
};

// Prints the arguments as given on one line.
void EchoArguments(RunContext& run, const Arguments& arguments);

// Joins the arguments not yet read into commandLine (kCommandLineSize bytes), the data file
// specification first. False when they do not fit.
bool JoinCommandLine(RunContext& run, const Arguments& arguments);

}  // namespace tavindex
