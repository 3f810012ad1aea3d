// The entries of the old tree as sort trains.
#pragma once

#include "common/run_context.h"
#include "isi/tree_reader.h"

namespace tavindex {

// Walks the tree in key order and writes its entries to the first work file, as trains and the end
// marker behind them. kNotAnIsi for a tree that is not sound, kNoMemory, else the sort's
// results.
Result WriteOldEntries(RunContext& run, TreeReader& reader);

}  // namespace tavindex
