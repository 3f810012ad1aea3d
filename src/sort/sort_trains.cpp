#include "sort/sort_trains.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "common/buffered_write.h"
#include "common/bytes.h"
#include "common/console.h"
#include "isi/tree_builder.h"
#include "sort/merge.h"
#include "sort/record_scanner.h"
#include "sort/sort_area.h"
#include "sort/sort_item.h"

namespace tavindex {

namespace {

constexpr std::uint64_t kMaxRecords = std::uint64_t{1} << 32;
constexpr std::uint32_t kMinShares = 3;

// Separates the new train from the last one, unless it continues it.
bool OpenTrain(RunContext& run, const std::uint8_t* first) {
  SortState& sort = run.sort;
  const std::uint8_t* last = sort.lastTrainItem.data();
  if (item::IsEndMarker(last)) {
    AppendTrainStart(run, sort.workFilePos);
    return true;
  }
  if (CompareItems(last + item::kKey, first + item::kKey, run.keys.keyLength) < 0) {
    --sort.trainCount;  // a joined train counts as part of the one before it
    return true;
  }
  if (!WriteEndItem(run)) return false;
  sort.workFilePos += sort.itemSize;
  AppendTrainStart(run, sort.workFilePos);
  return true;
}

bool WriteItems(RunContext& run) {
  const SortState& sort = run.sort;
  const std::uint32_t* refs = ItemReferences(run);
  const std::uint8_t* lastWritten = nullptr;
  for (std::uint32_t i = 0; i + 1 < sort.maxItems; ++i) {
    const std::uint8_t* at = sort.sortMemoryBase + refs[i];
    if (!BufferedWrite(run, run.files.workFile, {at, sort.itemSize})) return false;
    if (item::IsEndMarker(at)) break;
    lastWritten = at;
  }
  if (!FlushWrite(run, run.files.workFile)) return false;
  if (lastWritten != nullptr) {
    std::memcpy(run.sort.lastTrainItem.data(), lastWritten, sort.itemSize);
  }
  return true;
}

bool EndsTheRun(Result scanned) {
  return scanned != kOk && scanned != kInputExhausted && scanned != kRecordLengthDiffers &&
         scanned != kRecordOverDeclared;
}

// One area: scanned, and written as a train unless it holds everything there is.
Result ScanArea(RunContext& run, Result& scanned) {
  scanned = CreateSubList(run);
  if (EndsTheRun(scanned)) return scanned;
  if (run.control.indexMode && run.scan.recordCount > kMaxRecords) {
    ShowMessage(run, "\nToo many records to index\n");
    return kLimitExceeded;
  }
  const bool onlyArea = scanned != kOk && run.sort.trainCount == 0;
  if (!onlyArea) return CompleteTrain(run);
  SortSubList(run);
  return kOk;
}

// Everything up to the merge: all trains on the work file, the last end marker behind them.
Result WriteTrains(RunContext& run) {
  SortState& sort = run.sort;
  for (Result scanned = kOk; scanned == kOk;) {
    if (const Result result = ScanArea(run, scanned); result != kOk) return result;
  }
  run.scan.recordCount = 0;
  if (sort.trainCount == 0) {
    if (const Result result = WriteSortTrain(run); result != kOk) return result;
    sort.trainCount = 1;
  } else {
    ShowMessage(run, "\n");
  }
  if (!WriteEndItem(run) || !FlushWrite(run, run.files.workFile)) return kWorkWriteFailed;
  return kOk;
}

void ShowIndexCounts(RunContext& run) {
  const unsigned long long records = run.scan.recordCount;
  ShowFormatted(run, "%llu records, %lu deleted entries\n", records,
                static_cast<unsigned long>(run.scan.deletedCount));
  const std::uint64_t capacity = TreeCapacity(run);
  const std::uint64_t limit = capacity * 95 / 100;
  if (records <= limit) return;
  ShowFormatted(run,
                "Record count of (%llu) is more than 95 percent of %llu records allowed for this "
                "ISI file!\n",
                records, static_cast<unsigned long long>(capacity));
}

void ShowCounts(RunContext& run) {
  if (run.control.indexMode) return ShowIndexCounts(run);
  ShowFormatted(run, "%llu records\n", static_cast<unsigned long long>(run.scan.recordCount));
}

}  // namespace

bool SizeSortArea(RunContext& run, std::uint32_t keyLength) {
  SortState& sort = run.sort;
  sort.itemSize = keyLength + kItemTailSize;
  const std::uint32_t share = sort.itemSize + std::uint32_t{sizeof(std::uint32_t)};
  const std::uint32_t shares = sort.sortAreaSize / share;
  sort.maxItems = shares == 0 ? 0 : shares - 1;
  return shares >= kMinShares;
}

void AppendTrainStart(RunContext& run, std::int64_t offset) {
  SetTrainStart(run, run.sort.trainsOpened++, offset);
}

std::int64_t TrainStart(const RunContext& run, std::uint32_t train) {
  return static_cast<std::int64_t>(LoadLe64(run.sort.trainTable.Data() + std::size_t{train} * 8));
}

void SetTrainStart(RunContext& run, std::uint32_t train, std::int64_t offset) {
  StoreLe64(run.sort.trainTable.Data() + std::size_t{train} * 8,
            static_cast<std::uint64_t>(offset));
}

bool WriteEndItem(RunContext& run) {
  std::array<std::uint8_t, kSpareAreaSize> marker;
  item::WriteEndMarker(marker.data(), run.sort.itemSize);
  return BufferedWrite(run, run.files.workFile, {marker.data(), run.sort.itemSize});
}

Result WriteSortTrain(RunContext& run) {
  SortState& sort = run.sort;
  if (!OpenTrain(run, sort.sortMemoryBase + *ItemReferences(run))) return kWorkWriteFailed;
  // The size of a full train: only the last can be shorter, and nothing follows it.
  const std::int64_t items = sort.maxItems - 1;
  sort.workFilePos += items * sort.itemSize;
  return WriteItems(run) ? kOk : kWorkWriteFailed;
}

Result CompleteTrain(RunContext& run) {
  SortState& sort = run.sort;
  SortSubList(run);
  if (const Result result = WriteSortTrain(run); result != kOk) return result;
  ++sort.trainCount;
  if (sort.trainCount >= static_cast<std::uint32_t>(run.control.maxSortTrains)) {
    ShowMessage(run, "\nToo many sort trains\n");
    return kLimitExceeded;
  }
  if (ShowProgressFormatted(run, "Sort train %u\r", sort.trainCount)) return ReportCancel(run);
  return kOk;
}

Result SortTrains(RunContext& run) {
  if (run.control.sortMode) run.scan.primaryKey.fill(0);
  run.sort.trainCount = 0;
  if (const Result result = WriteTrains(run); result != kOk) return result;
  if (const Result result = DoFancyMerge(run); result != kOk) return result;
  run.scan.recordCount += kMergeCountdownStart - run.sort.mergeCountdown;
  ShowCounts(run);
  return kOk;
}

}  // namespace tavindex
