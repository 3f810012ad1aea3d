// The two sort methods, over any kind of reference. No two items compare equal, so the result does
// not depend on the method; references that do compare equal come out in any order.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

namespace tavindex {

// The values of sortMethod. Any other leaves an area unsorted.
inline constexpr std::uint32_t kShellSort = 0;
inline constexpr std::uint32_t kQuickSort = 1;

// Gaps from half the size down to 1, halved after each pass.
template <typename Ref, typename Before>
void ShellSort(std::span<Ref> refs, const Before& before) {
  for (std::size_t gap = refs.size() / 2; gap > 0; gap /= 2) {
    for (std::size_t i = gap; i < refs.size(); ++i) {
      const Ref moving = refs[i];
      std::size_t place = i;
      for (; place >= gap && before(moving, refs[place - gap]); place -= gap) {
        refs[place] = refs[place - gap];
      }
      refs[place] = moving;
    }
  }
}

// Moves what sorts before the middle reference to its left; gives the place where it ends up.
template <typename Ref, typename Before>
std::size_t Partition(std::span<Ref> refs, const Before& before) {
  std::swap(refs.front(), refs[(refs.size() - 1) / 2]);
  const Ref pivot = refs.front();
  std::size_t store = 0;
  for (std::size_t k = 1; k < refs.size(); ++k) {
    if (before(refs[k], pivot)) std::swap(refs[++store], refs[k]);
  }
  std::swap(refs.front(), refs[store]);
  return store;
}

// Recurses into the smaller side only, so that the stack stays small on any input. The middle is a
// bad pivot on keys that rise and then fall: a range that is split more often than its size
// explains is finished by the other method.
template <typename Ref, typename Before>
void QuickSort(std::span<Ref> refs, const Before& before, std::uint32_t splitsLeft) {
  while (refs.size() >= 2) {
    if (splitsLeft-- == 0) return ShellSort(refs, before);
    const std::size_t store = Partition(refs, before);
    std::span<Ref> left = refs.first(store);
    std::span<Ref> right = refs.subspan(store + 1);
    if (left.size() > right.size()) std::swap(left, right);
    QuickSort(left, before, splitsLeft);
    refs = right;
  }
}

// Sorts with one of the two methods.
template <typename Ref, typename Before>
void SortWithMethod(std::span<Ref> refs, const Before& before, std::uint32_t method) {
  if (method == kShellSort) return ShellSort(refs, before);
  const auto splits = 2 * static_cast<std::uint32_t>(std::bit_width(refs.size()));
  if (method == kQuickSort) QuickSort(refs, before, splits);
}

}  // namespace tavindex
