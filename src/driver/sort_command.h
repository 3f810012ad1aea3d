// What the sort command does differently from the index command. The program's entry never asks
// for it; the run driver serves both.
#pragma once

#include "common/run_context.h"

namespace tavindex {

// Writes the header record of a tag file when tag records are written, then runs the sort. The
// sort's result, or kIsiWriteFailed when the header record could not be written (after its
// message).
Result RunSortCommand(RunContext& run);

// Gives the output the data file's name, when it replaces it. kOk, or kEndingFailed after a
// message.
Result ReplaceInputFile(RunContext& run);

}  // namespace tavindex
