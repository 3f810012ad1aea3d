// The block reader of the data file: blocks of 64 KiB with one byte of look-ahead, so that a
// two-byte end-of-record that straddles two blocks is seen whole.
#pragma once

#include <cstdint>

#include "common/run_context.h"

namespace tavindex {

// Ends a text file, wherever it stands at the start of a record or as the last byte.
inline constexpr std::uint8_t kCtrlZ = 26;

// Reads the next block of `dataFile` (at bufferFilePos) and points scanPtr at its start. Returns
// the bytes now in the buffer, 0 at the end of the data, or kInputReadFailed after four reads that
// gave neither a whole block nor the rest of the file. A Ctrl-Z at the end of a text file is
// dropped: it is an end mark of other systems, never data.
std::int32_t fillInputBuffer(RunContext& run, int dataFile);

// Moves past the byte at scanPtr, reading the next block when it was the last one. kOk,
// kInputExhausted when no byte follows, or kInputReadFailed.
Result AdvanceByte(RunContext& run);

// Refills an emptied buffer; results as AdvanceByte.
Result RefillInput(RunContext& run);

}  // namespace tavindex
