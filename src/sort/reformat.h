// The reformat list of the sort command: what stands behind '>' in its option text.
#pragma once

#include <string_view>

#include "common/run_context.h"

namespace tavindex {

// Compiles a comma-separated list of column ranges (n or n-m, from 1) and literals in single
// quotes, up to `terminator` or the end of the text. False when the list is not well formed or
// passes a limit.
bool ParseReformat(RunContext& run, std::string_view text, char terminator);

}  // namespace tavindex
