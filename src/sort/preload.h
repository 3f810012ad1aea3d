// Sort mode: nearby records of the data file are fetched in one read, ahead of the writer that
// needs them.
#pragma once

#include "common/run_context.h"
#include "sort/merge_way.h"

namespace tavindex {

// Fills the way's preload buffer with the stretch of `dataFile` that best covers the records of
// its next items. kOk, or kEndingFailed on a short read.
Result PreLoadBuffer(RunContext& run, int dataFile, MergeWay& way);

}  // namespace tavindex
