// Deleted records: the programs that delete a record overwrite it with NULs.
#pragma once

#include "common/run_context.h"

namespace tavindex {

// Skips the NULs at scanPtr. In an index run over records of fixed length, every recordLength NULs
// are one deleted record, counted and given to the deleted-record list. A run of NULs that does
// not fill a binary record is data of a normal one, and the scan goes back to its start. kOk when
// scanPtr stands on a record, kInputExhausted, kInputReadFailed, or what AddDeletedRecord returned.
Result SkipDeletedRecords(RunContext& run);

}  // namespace tavindex
