// The in-memory sort of one sort area. The items stay where the scanner put them; the array of
// 4-byte item offsets behind them is put in order.
#pragma once

#include <cstdint>

#include "common/run_context.h"
#include "sort/sort_methods.h"

namespace tavindex {

// The offsets from the start of the sort area, maxItems of them, at the next multiple of 8 behind
// maxItems items.
std::uint32_t* ItemReferences(RunContext& run);

// References the items of the area and sorts the references. The end marker's reference, if there
// is a marker, stands behind the sorted ones.
void SortSubList(RunContext& run);

}  // namespace tavindex
