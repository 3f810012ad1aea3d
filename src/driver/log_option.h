// The log option: -l{log} or -q{log} as the first argument sends every message to a file.
#pragma once

#include "common/run_context.h"
#include "driver/arguments.h"

namespace tavindex {

// Opens the log, if one is asked for, as the console stream; a log that cannot be opened (or that
// is one of the files named on the command line) leaves messages on the console. Moves the scan
// past the option and its name.
void ReadLogOption(RunContext& run, Arguments& arguments);

}  // namespace tavindex
