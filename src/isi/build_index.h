// Building a whole ISI from the data file, in one pass:
//
//   1. 2048 placeholder bytes, so that the file never holds a gap
//   2. the scan writes full deleted-record list sectors, then the merge delivers the keys in
//      order and the tree builder writes its nodes, all from 2048 on
//   3. the open nodes below the top, the root at 1024, the open list sector at 1536
//   4. the header, last: a file without a header is never taken for an index
#pragma once

#include <cstdint>

#include "common/run_context.h"

namespace tavindex {

// Builds the ISI in outputFd from itemSource. `entrySize` is the width of a key entry in bytes.
// kNoMemory, kNullFileNeedsLength, kIsiWriteFailed (each after its message), or what the sort and
// merge returned.
Result BuildIndex(RunContext& run, std::uint32_t keyLength, std::uint32_t entrySize);

}  // namespace tavindex
