// The common case of a record walk, without a look at every byte: a record that lies whole in the
// input buffer and has a key of plain column ranges. Its end is searched for, and the ranges are
// copied; only where a TAB stands in front of key columns are the columns up to the key's end
// written out first.
#pragma once

#include "common/run_context.h"
#include "sort/record_walk.h"

namespace tavindex {

// Walks the record at scanPtr if it is such a record: the key is complete (padded where the record
// is short), scanPtr stands on the end-of-record mark, or behind a binary record. False when the
// record must be walked byte by byte; nothing has changed then.
bool FastWalk(RunContext& run, RecordWalk& walk);

}  // namespace tavindex
