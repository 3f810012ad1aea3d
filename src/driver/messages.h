// The words for the result codes.
#pragma once

#include "common/run_context.h"

namespace tavindex {

// The fixed text of a set-up code, without a line end; null for a code whose words stand in
// messageBuffer.
const char* FixedTextOf(Result code);

// Shows the words of a failed set-up and a line end.
void ShowSetUpFailure(RunContext& run, Result code);

// Shows the lines of a failed build, in their order; notes records of invalid size.
void ShowBuildFailure(RunContext& run, Result code);

// Shows the line of a failed compaction.
void ShowCompactFailure(RunContext& run, Result code);

}  // namespace tavindex
