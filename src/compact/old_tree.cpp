#include "compact/old_tree.h"

#include <cstring>

#include "common/buffered_write.h"
#include "common/console.h"
#include "sort/sort_area.h"
#include "sort/sort_item.h"
#include "sort/sort_trains.h"

namespace tavindex {

namespace {

// Record numbers become positions by the stride that the tree builder divides them by again.
std::uint64_t PositionOf(const TreeReader& reader) {
  return std::uint64_t{reader.entry.lfa} * (reader.recordNumberMode ? reader.stride : 1);
}

void StoreItem(const TreeReader& reader, std::uint8_t* slot) {
  item::SetPlace(slot, PositionOf(reader), reader.entry.recLength);
  std::memcpy(slot + item::kKey, reader.entry.key.data(), reader.header.keyLength);
}

// Fills the sort area from the current entry on; `status` says how the walk stands then.
std::uint32_t FillArea(RunContext& run, TreeReader& reader, WalkStatus& status) {
  std::uint8_t* slot = run.sort.sortMemoryBase;
  std::uint32_t items = 0;
  while (status == WalkStatus::kEntry && items < run.sort.maxItems - 1) {
    status = NextEntry(reader);
    if (status != WalkStatus::kEntry) break;
    StoreItem(reader, slot);
    slot += run.sort.itemSize;
    ++items;
  }
  item::WriteEndMarker(slot, run.sort.itemSize);
  return items;
}

// The last area: a train like any other when there were some before it, else the only one.
Result WriteRest(RunContext& run, std::uint32_t items) {
  SortState& sort = run.sort;
  if (sort.trainCount > 0) {
    const Result result = items > 0 ? CompleteTrain(run) : kOk;
    if (result == kOk) ShowMessage(run, "\n");
    return result;
  }
  SortSubList(run);
  const Result result = WriteSortTrain(run);
  sort.trainCount = 1;
  return result;
}

Result RefuseMemory(RunContext& run) {
  ShowMessage(run, "Memory allocation failed.\n");
  return kNoMemory;
}

}  // namespace

Result WriteOldEntries(RunContext& run, TreeReader& reader) {
  run.sort.trainCount = 0;
  WalkStatus status = FirstEntry(reader);
  for (;;) {
    const std::uint32_t items = FillArea(run, reader, status);
    if (status == WalkStatus::kEntry) {
      if (const Result result = CompleteTrain(run); result != kOk) return result;
      continue;
    }
    if (status == WalkStatus::kNoMarks) return RefuseMemory(run);
    if (status != WalkStatus::kEnd) return kNotAnIsi;
    if (const Result result = WriteRest(run, items); result != kOk) return result;
    break;
  }
  const bool ended = WriteEndItem(run) && FlushWrite(run, run.files.workFile);
  return ended ? kOk : kWorkWriteFailed;
}

}  // namespace tavindex
