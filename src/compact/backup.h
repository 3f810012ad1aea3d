// The backup that protects an in-place compaction: the whole ISI beside itself, with ".bak" behind
// its name. It is on disk before the first byte of the ISI changes, and the ISI is on disk before
// it goes.
#pragma once

#include "common/run_context.h"

namespace tavindex {

// Copies the ISI. kInPlaceFailed after a line that says what was wrong; no partial backup stays. A
// file that has the backup's name already is never touched.
Result BackupIsi(RunContext& run);

// Copies the backup over the ISI, which is not shortened: what stands behind the backup's length
// stays. kOk, also when there is no backup; kRestoreFailed after a line. The backup is removed.
Result RestoreIsi(RunContext& run);

// Removes the backup, if there is one.
void RemoveBackup(RunContext& run);

}  // namespace tavindex
