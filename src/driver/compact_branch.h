// The driver's branch for a compact run.
#pragma once

#include "common/run_context.h"

namespace tavindex {

// Compacts the ISI, tells what failed, and undoes or keeps what the run did to its files.
Result CompactBranch(RunContext& run);

}  // namespace tavindex
