// The sort of one area by cached key prefixes.
//
//   1. An area that is in order already is left as it is.
//   2. Bytes that all keys share are passed over.
//   3. A range that is larger than the prefix table is distributed by the next byte, in place.
//   4. Any other gets its next eight key bytes beside each reference, as a number. The table is
//      distributed by these bytes until its ranges are small; those are sorted with the run's
//      method.
//   5. References with equal prefixes go back to step 2, with the bytes behind them.
// The prefix table has a fixed size, whatever the sort budget.
#pragma once

#include <cstdint>
#include <span>

#include "common/run_context.h"

namespace tavindex {

// References in one range of the prefix table: 16384 of 16 bytes are 256 KiB. Larger tables gain
// nothing: a range of this size fits the second-level cache together with its items.
inline constexpr std::size_t kPrefixTableSize = 16384;

// Sorts item offsets of the sort area by the items. False, with nothing done, when the memory for
// the table was refused.
bool PrefixSort(RunContext& run, std::span<std::uint32_t> refs);

}  // namespace tavindex
