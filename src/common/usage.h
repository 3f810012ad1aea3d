// The usage text.
#pragma once

#include "common/run_context.h"

namespace tavindex {

void ShowUsage(RunContext& run);

}  // namespace tavindex
