// The settings of name resolution: search path, case rule, and the terminal definition file with
// its extension separator and default extensions.
#pragma once

#include "common/run_context.h"

namespace tavindex {

// Reads them all from the configuration file and the environment; sets the built-in defaults
// where they say nothing. Nothing is ever reported.
void ReadNameSettings(RunContext& run);

}  // namespace tavindex
