#include "sort/preload.h"

#include <algorithm>

#include "common/console.h"
#include "common/file.h"
#include "sort/sort_item.h"

namespace tavindex {

namespace {

// A stretch is worth reading while it is less than this many times the records it is read for.
constexpr std::uint64_t kMaxSparseness = 200;

struct Stretch {
  std::uint64_t start = 0;
  std::uint64_t end = 0;

  std::uint64_t Length() const { return end - start; }
};

Stretch Cover(const Stretch& stretch, const std::uint8_t* at) {
  const std::uint64_t start = item::Lfa(at);
  return {std::min(stretch.start, start), std::max(stretch.end, start + item::RecLength(at))};
}

Stretch BestStretch(const RunContext& run, const MergeWay& way) {
  const std::uint8_t* at = way.current;
  const std::uint64_t first = item::Lfa(at);
  Stretch covered{first, first + item::RecLength(at)};
  Stretch best = covered;
  std::uint64_t records = item::RecLength(at);
  for (std::uint32_t ahead = 1; ahead < way.itemsLeft; ++ahead) {
    at += run.sort.itemSize;
    if (item::IsEndMarker(at)) break;
    covered = Cover(covered, at);
    if (covered.Length() > way.preload.size()) break;
    records += item::RecLength(at);
    if (covered.Length() < kMaxSparseness * records) best = covered;
  }
  return best;
}

}  // namespace

Result PreLoadBuffer(RunContext& run, int dataFile, MergeWay& way) {
  way.preloadCount = 0;
  if (item::IsEndMarker(way.current)) return kOk;
  const Stretch best = BestStretch(run, way);
  const std::size_t wanted = std::min<std::uint64_t>(best.Length(), way.preload.size());
  way.preloadStart = static_cast<std::int64_t>(best.start);
  const std::int64_t count = ReadAt(dataFile, way.preloadStart, way.preload.first(wanted));
  way.preloadCount = static_cast<std::uint32_t>(std::max<std::int64_t>(count, 0));
  if (way.preloadCount == wanted) return kOk;
  ShowDebug(run, "\nPreLoadBuffer: Invalid buffer size read! %d:%d\n",
            static_cast<int>(kPreloadSize), static_cast<int>(count));
  return kEndingFailed;
}

}  // namespace tavindex
