// The command line that an ISI keeps in its header: shown (option i), or set up again to rebuild
// the index (option r).
#pragma once

#include "common/run_context.h"

namespace tavindex {

// Reads the header of the ISI named first on the command line, shows its command line and, for a
// rebuild, sets the run up with it. kOk (for a rebuild: the set-up's result),
// kOutputNameUnresolved, kIsiNotOpened, kNotAnIsi or kNoKeyInformation with their words.
Result ReadStoredBuild(RunContext& run);

// Refuses a stored line that would itself read a stored line or compact: kNoKeyInformation.
Result CheckStoredOptions(RunContext& run);

// The data file of a rebuild: the one named in the header when it resolves to a file that is
// there, else the stored line's first field.
void ChooseRebuildData(RunContext& run);

}  // namespace tavindex
