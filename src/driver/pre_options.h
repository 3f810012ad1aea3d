// The pre-options: arguments that begin with "-" in front of the data file specification.
#pragma once

#include <string_view>

#include "common/run_context.h"
#include "driver/arguments.h"

namespace tavindex {

// Reads them up to the first argument that does not begin with "-". kOk, kUsageShown after "-?",
// or kBadIniOption after its message. Letters without a meaning are passed over.
Result ReadPreOptions(RunContext& run, Arguments& arguments);

// The configuration file: `name`, with ".ini" behind it when it has no extension.
void SetIniName(RunContext& run, std::string_view name);

}  // namespace tavindex
