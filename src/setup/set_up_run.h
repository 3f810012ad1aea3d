// The set-up of one run: from a command line to a run that is ready to build or compact. Entered a
// second time, with the line stored in an ISI, when an index is rebuilt.
#pragma once

#include <string_view>

#include "common/run_context.h"

namespace tavindex {

// kOk; kInformationShown after option i; kUsageShown after option '?'; or a refusal, whose words
// belong to the code or stand in messageBuffer. Undoes nothing: the driver's clean-up closes and
// removes what was created. `line` is copied.
Result SetUpRun(RunContext& run, std::string_view line);

}  // namespace tavindex
