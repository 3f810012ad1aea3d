// The run driver: the whole life of one run.
//
//   1. the work area is cleared and gets its defaults
//   2. log option, banner, pre-options; the other arguments are joined into one command line
//   3. SetUpRun turns that line into opened files and compiled keys
//   4. the sort memory is obtained, and the run builds an index or compacts one
//   5. what failed is told in fixed words; files are closed, work files and a wrong index removed
//   6. the timing line
#pragma once

#include <cstdio>

#include "common/run_context.h"

namespace tavindex {

// Runs one command. The arguments come from argc/argv, or from `commandLineText` when it is given
// (the text is cut in place). `reserved` is not used. Messages go to `console`. `sortCommand`
// selects the sort command. Result 0 is success; anything else makes exit status 1.
Result RunDriver(int argc, char** argv, char* commandLineText, int reserved, std::FILE* console,
                 bool sortCommand);

// Gives back a work area that RunDriver allocated because the process had none.
void ReleaseContext();

// Puts every field to what a run starts with.
void SetDefaults(RunContext& run);

}  // namespace tavindex
