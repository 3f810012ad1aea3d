// Compacting an ISI from its own tree, without reading a record of the data file:
//
//   1. the front of the ISI is read and checked, its data file opened and locked
//   2. the old tree is walked in key order, its entries written as sort trains
//   3. everything else that can be refused is looked at: the list chain, the command line
//   4. in place, the backup is made
//   5. header, old root, the deleted-record list; the rest of the output is cut off
//   6. the trains are merged into a new, dense tree
//   7. the open nodes, the root, the header with its change counter turned
// No byte of a file changes before step 4.
#pragma once

#include "common/run_context.h"

namespace tavindex {

// Compacts inputFd into outputFd (the same descriptor in place). kOk, a compaction code, or what
// the sort and the merge returned; the driver tells it and undoes what was done.
Result CompactIsi(RunContext& run);

}  // namespace tavindex
