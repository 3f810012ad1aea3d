#include "sort/sort_area.h"

#include <span>
#include <utility>

#include "sort/sort_item.h"

namespace tavindex {

namespace {

// Orders references by the items they refer to.
class ItemOrder {
 public:
  explicit ItemOrder(const RunContext& run)
      : keys_(run.sort.sortMemoryBase + item::kKey), keyLength_(run.keys.keyLength) {}

  bool Before(std::uint32_t a, std::uint32_t b) const {
    return CompareItems(keys_ + a, keys_ + b, keyLength_) < 0;
  }

 private:
  const std::uint8_t* keys_;
  std::uint32_t keyLength_;
};

void ShellSort(std::span<std::uint32_t> refs, const ItemOrder& order) {
  for (std::size_t gap = refs.size() / 2; gap > 0; gap /= 2) {
    for (std::size_t i = gap; i < refs.size(); ++i) {
      const std::uint32_t moving = refs[i];
      std::size_t place = i;
      for (; place >= gap && order.Before(moving, refs[place - gap]); place -= gap) {
        refs[place] = refs[place - gap];
      }
      refs[place] = moving;
    }
  }
}

// Moves what sorts before the middle reference to its left; gives the place where it ends up.
std::size_t Partition(std::span<std::uint32_t> refs, const ItemOrder& order) {
  std::swap(refs.front(), refs[(refs.size() - 1) / 2]);
  const std::uint32_t pivot = refs.front();
  std::size_t store = 0;
  for (std::size_t k = 1; k < refs.size(); ++k) {
    if (order.Before(refs[k], pivot)) std::swap(refs[++store], refs[k]);
  }
  std::swap(refs.front(), refs[store]);
  return store;
}

// Recurses into the smaller side only, so that the stack stays small on any input.
void QuickSort(std::span<std::uint32_t> refs, const ItemOrder& order) {
  while (refs.size() >= 2) {
    const std::size_t store = Partition(refs, order);
    std::span<std::uint32_t> left = refs.first(store);
    std::span<std::uint32_t> right = refs.subspan(store + 1);
    if (left.size() > right.size()) std::swap(left, right);
    QuickSort(left, order);
    refs = right;
  }
}

// References the items up to the end marker or the area's end; gives their number.
std::uint32_t ReferenceItems(RunContext& run, std::uint32_t* refs) {
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
  const ItemOrder order(run);
  if (run.control.sortMethod == kShellSort) ShellSort(items, order);
  if (run.control.sortMethod == kQuickSort) QuickSort(items, order);
}

}  // namespace tavindex
