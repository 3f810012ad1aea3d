// The option text of a command line: option letters and key specifications, in any order, with
// blanks and commas between them. Letters are read without regard to case.
#pragma once

#include <span>

#include "common/run_context.h"

namespace tavindex {

// Reads the text into options and keys. Quoted values of conditions are closed up in it, and the
// compiled conditions refer into it. Any result but kOk is the refusal of the letter it stands
// for; kUsageShown after option '?'.
Result ReadOptions(RunContext& run, std::span<char> text);

// The checks behind the options: the environment's KVR_NOPATH, binary data against variable
// lengths, a missing record length, a missing key.
Result CheckOptions(RunContext& run);

}  // namespace tavindex
