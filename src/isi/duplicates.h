// What a build says about keys that occur more than once, and about a tree that is full.
#pragma once

#include "common/run_context.h"
#include "isi/tree_builder.h"

namespace tavindex {

// Adds the line for a repeated key to the error file, and shows it on the console when duplicates
// are forbidden; nothing in a quiet run or when no line was asked for. kNodeWriteFailed when the
// error file could not be written, which becomes the file that the driver names.
Result ReportDuplicate(RunContext& run, const KeyItem& item);

// Adds the line that says how many records the tree supports to the error file, and gives
// kTreeLevelLimit.
Result ReportTreeLimit(RunContext& run);

}  // namespace tavindex
