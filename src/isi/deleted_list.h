// The list of deleted data records: a chain of sectors, each with up to 126 record addresses and
// the address of the sector before it. Full sectors are written at once, in file order with the
// nodes; the open one is written last, at its fixed place.
#pragma once

#include "common/run_context.h"

namespace tavindex {

// Adds the record at nextLfa. Does nothing for variable-length records, whose space is never used
// again. kListWriteFailed after the message.
Result AddDeletedRecord(RunContext& run);

// Writes the open sector at the current file position (1536, behind the root), if it holds
// addresses. kIsiWriteFailed after the message.
Result WriteOpenList(RunContext& run);

}  // namespace tavindex
