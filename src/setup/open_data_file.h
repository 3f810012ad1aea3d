// Opening what a run reads and creating what it writes: both names resolved, the data file's
// record format found, the index and error files created, the input buffer primed.
#pragma once

#include "common/run_context.h"

namespace tavindex {

// Everything above, from dataFileName and outputFileName as typed. Any result but kOk is a refusal
// whose words stand in messageBuffer or belong to the code. No file is created or emptied before
// everything that can be refused without it has been looked at.
Result OpenDataFile(RunContext& run);

}  // namespace tavindex
