// The data file of an ISI under compaction: found, opened, locked, and the ISI's change counter
// looked at once more under the lock.
#pragma once

#include "common/run_context.h"
#include "isi/tree_reader.h"

namespace tavindex {

// Opens and locks the data file that the ISI's header names; lockFd is its descriptor.
// kLockingFailed or kCompactFailed, after a line that says what was wrong.
Result OpenIndexedFile(RunContext& run, const TreeReader& reader);

// Reads the change counter again: when another program changed the ISI before the lock was taken,
// its front is read and checked again. kNotAnIsi or kBadIsiVersion when that fails, after a line
// when it could not be read.
Result CheckSpinCounter(RunContext& run, TreeReader& reader);

// Gives the locks back and closes the data file.
void ReleaseIndexedFile(RunContext& run);

}  // namespace tavindex
