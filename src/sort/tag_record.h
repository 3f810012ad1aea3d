// The item consumer of an index build.
#pragma once

#include <cstdint>

#include "common/run_context.h"

namespace tavindex {

// Notes a record shorter or longer than the record length, and hands the item to the tree
// builder. kOk, kTreeLevelLimit, or kInsertFailed for any other failure of the tree. Does nothing
// in the sort command.
Result WriteTagRecord(RunContext& run, const std::uint8_t* at);

}  // namespace tavindex
