// The lines of the error file, one for each repeated key. There can be as many as records, so they
// go out in blocks; the clean-up of an interrupted run writes those that are waiting.
#pragma once

#include <string_view>

#include "common/run_context.h"

namespace tavindex {

// Adds a line, 256 bytes at most, its end included. Without an error file it is dropped. False when
// a block had to be written and could not be; the error file is then the file that the driver
// names.
bool AddErrorLine(RunContext& run, std::string_view line);

// Writes the lines that are waiting; safe in a signal handler. False as above; the lines are given
// up then.
bool FlushErrorLines(RunContext& run);

}  // namespace tavindex
