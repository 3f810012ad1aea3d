// The files that a command line leads to, found before anything of the run is opened: a log over
// one of them would destroy what the run is about to read.
#pragma once

#include <string_view>

#include "common/run_context.h"

namespace tavindex {

// Whether `path` is the data file or the ISI of a line (without log and pre-options): as typed, as
// their names resolve, or the data file of the build that the ISI was made by. A file that is not
// there yet is known by its name. Reads the name settings; `run.files` stays as it is.
bool LineLeadsTo(RunContext& run, std::string_view line, const char* path);

}  // namespace tavindex
