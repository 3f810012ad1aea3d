#include "sort/sort_area.h"

#include <span>

#include "sort/prefix_sort.h"
#include "sort/sort_item.h"

namespace tavindex {

namespace {

// References the items up to the end marker or the area's end; gives their number.
std::uint32_t ReferenceItems(const RunContext& run, std::uint32_t* refs) {
  const SortState& sort = run.sort;
  std::uint32_t offset = 0;
  for (std::uint32_t n = 0; n < sort.maxItems; ++n, offset += sort.itemSize) {
    refs[n] = offset;
    if (item::IsEndMarker(sort.sortMemoryBase + offset)) return n;
  }
  return sort.maxItems;
}

}  // namespace

std::uint32_t* ItemReferences(RunContext& run) {
  const std::size_t items = std::size_t{run.sort.itemSize} * run.sort.maxItems;
  const std::size_t aligned = (items + 7) & ~std::size_t{7};
  return reinterpret_cast<std::uint32_t*>(run.sort.sortMemoryBase + aligned);
}

void SortSubList(RunContext& run) {
  std::uint32_t* refs = ItemReferences(run);
  const std::span<std::uint32_t> items{refs, ReferenceItems(run, refs)};
  if (run.control.sortMethod > kQuickSort) return;
  if (run.sort.prefixSort && PrefixSort(run, items)) return;
  const std::uint8_t* keys = run.sort.sortMemoryBase + item::kKey;
  const std::uint32_t keyLength = run.keys.keyLength;
  const auto before = [keys, keyLength](std::uint32_t a, std::uint32_t b) {
    return CompareItems(keys + a, keys + b, keyLength) < 0;
  };
  SortWithMethod(items, before, run.control.sortMethod);
}

}  // namespace tavindex
