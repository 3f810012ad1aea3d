// The command line that an ISI stores, compiled as a build compiles it.
#pragma once

#include <string>

#include "common/run_context.h"
#include "isi/isi_format.h"

namespace tavindex {

// Reads the stored line into run.options and run.keys, the key map finished. False, with `why`,
// when no line is stored or it builds no index. `run` must be new; nothing is opened and nothing
// printed.
bool CompileStoredLine(const IsiHeader& header, RunContext& run, std::string& why);

}  // namespace tavindex
