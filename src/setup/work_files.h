// The two work files of a run, made in the work directory under unique names.
#pragma once

#include "common/run_context.h"

namespace tavindex {

// Creates both, in the command line's directory, else in TMPDIR's, else in /tmp, and sets the
// descriptors that the trains and the merge start from. kWorkFileNotOpened.
Result CreateWorkFiles(RunContext& run);

// Closes and removes both and forgets their names, so that another pair can be made.
void RemoveWorkFiles(RunContext& run);

}  // namespace tavindex
