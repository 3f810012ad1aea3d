#include "sort/merge.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <span>
#include <utility>

#include "common/buffered_write.h"
#include "common/console.h"
#include "common/file.h"
#include "sort/loser_tree.h"
#include "sort/merge_way.h"
#include "sort/preload.h"
#include "sort/sort_item.h"
#include "sort/sort_trains.h"

namespace tavindex {

namespace {

constexpr std::time_t kProgressInterval = 1;  // seconds

// The smallest k >= 6 whose square (or cube) reaches trainCount.
std::uint32_t WaysForPasses(std::uint32_t trainCount, std::uint32_t passes) {
  for (std::uint32_t k = kMinWays;; ++k) {
    const std::uint32_t product = passes == 2 ? k * k : k * k * k;
    if (product >= trainCount) return k;
  }
}

std::time_t MonotonicSeconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec;
}

// The state of one merge, from the first pass to the last.
class Merge {
 public:
  Merge(RunContext& run, const MergePlan& plan)
      : run_(run), ways_(plan.ways), final_(plan.firstPassIsFinal), tree_(run.keys.keyLength) {
    const std::uint32_t items = run.sort.sortAreaSize / run.sort.itemSize - 1;
    blkLgt_ = items / ways_ * run.sort.itemSize;
  }

  Result Run() {
    if (const Result result = AllocatePreload(); result != kOk) return result;
    lastProgress_ = MonotonicSeconds();
    for (;;) {
      if (const Result result = RunPass(); result != kOk) return result;
      if (final_) return kOk;
      ShowMessage(run_, "\n");
      final_ = run_.sort.trainCount <= ways_;
    }
  }

 private:
  Result AllocatePreload();
  Result RunPass();
  Result StartPass();
  Result MergeGroup(std::uint32_t firstTrain, std::uint32_t count);
  Result OpenWays(std::uint32_t firstTrain, std::uint32_t count);
  Result MergeOpenWays();
  Result Preload(MergeWay& way);
  Result Deliver(const std::uint8_t* item);
  Result CountDelivered();
  Result Advance(MergeWay& way);
  MergeWay& SmallestHead();
  Result EndGroup(std::uint32_t group, std::int64_t start);

  RunContext& run_;
  const std::uint32_t ways_;
  bool final_;
  std::uint32_t blkLgt_ = 0;  // bytes of one block, whole items
  std::uint32_t inLength_ = kPreloadSize;
  Buffer preload_;
  std::uint32_t passNumber_ = 0;
  std::int64_t outputOffset_ = 0;
  std::time_t lastProgress_ = 0;
  std::array<MergeWay, kMaxWays> way_{};
  std::span<MergeWay> open_;
  LoserTree tree_;
};

Result Merge::AllocatePreload() {
  const std::uint32_t step = run_.data.recordLength * ways_;
  while (!preload_.Allocate(std::size_t{ways_} * inLength_)) {
    const bool exhausted = step == 0 || inLength_ < step;
    inLength_ = exhausted ? 0 : inLength_ - step;
    if (exhausted || inLength_ < run_.data.recordLength) {
      ShowMessage(run_, "\nInternal Error: Unable to allocate merge buffer!\n\r");
      return kWorkReadFailed;
    }
  }
  ShowDebug(run_, "\nDoFancyMerge(0): InLength: %d maxItems:%d\n", static_cast<int>(inLength_),
            static_cast<int>(ways_));
  return kOk;
}

// Exchanges the work files: each pass reads what the one before it wrote.
Result Merge::StartPass() {
  std::swap(run_.files.workFile, run_.files.mergeInput);
  outputOffset_ = 0;
  ++passNumber_;
  if (!TruncateFile(run_.files.workFile, 0) || SeekTo(run_.files.workFile, 0) < 0) {
    return kWorkWriteFailed;
  }
  if (final_) return kOk;
  if (ShowProgressFormatted(run_, "Merge pass %u\r", passNumber_)) return ReportCancel(run_);
  return kOk;
}

Result Merge::RunPass() {
  if (const Result result = StartPass(); result != kOk) return result;
  const std::uint32_t trains = run_.sort.trainCount;
  std::uint32_t groups = 0;
  for (std::uint32_t train = 0; train < trains; ++groups) {
    const std::uint32_t count = std::min(ways_, trains - train);
    const std::int64_t start = outputOffset_;
    if (const Result result = MergeGroup(train, count); result != kOk) return result;
    train += count;
    if (final_) continue;
    if (const Result result = EndGroup(groups, start); result != kOk) return result;
  }
  run_.sort.trainCount = groups;
  return kOk;
}

Result Merge::MergeGroup(std::uint32_t firstTrain, std::uint32_t count) {
  const Result opened = OpenWays(firstTrain, count);
  return opened == kOk ? MergeOpenWays() : opened;
}

Result Merge::OpenWays(std::uint32_t firstTrain, std::uint32_t count) {
  open_ = {way_.data(), count};
  for (std::uint32_t i = 0; i < count; ++i) {
    MergeWay& way = open_[i];
    way.nextOffset = TrainStart(run_, firstTrain + i);
    way.block = run_.sort.sortMemoryBase + std::size_t{i} * blkLgt_;
    way.preload = {preload_.Data() + std::size_t{i} * inLength_, inLength_};
    if (const Result result = ReadWayBlock(run_, way, blkLgt_, kFirstBlock); result != kOk) {
      return result;
    }
    if (const Result result = Preload(way); result != kOk) return result;
  }
  return kOk;
}

Result Merge::Preload(MergeWay& way) {
  if (!final_ || !run_.control.sortMode) return kOk;
  return PreLoadBuffer(run_, run_.files.inputFd, way) == kOk ? kOk : kWorkReadFailed;
}

// The plain selection: a look at every head.
MergeWay& Merge::SmallestHead() {
  MergeWay* smallest = open_.data();
  for (MergeWay& way : open_.subspan(1)) {
    if (HeadBefore(way, *smallest, run_.keys.keyLength)) smallest = &way;
  }
  return *smallest;
}

// When every head is an end marker the smallest is one, and the group is done.
Result Merge::MergeOpenWays() {
  const bool useTree = run_.sort.loserTree;
  if (useTree) tree_.Build(open_);
  for (;;) {
    MergeWay& way = useTree ? tree_.Winner() : SmallestHead();
    if (item::IsEndMarker(way.current)) return kOk;
    if (const Result result = Deliver(way.current); result != kOk) return result;
    if (const Result result = Advance(way); result != kOk) return result;
    if (useTree) tree_.Replay();
  }
}

Result Merge::Deliver(const std::uint8_t* item) {
  if (final_) {
    const Result result = run_.sort.itemConsumer(run_, item);
    return result == kOk ? CountDelivered() : result;
  }
  const std::uint32_t itemSize = run_.sort.itemSize;
  if (!BufferedWrite(run_, run_.files.workFile, {item, itemSize})) return kWorkWriteFailed;
  outputOffset_ += itemSize;
  return kOk;
}

Result Merge::CountDelivered() {
  if (--run_.sort.mergeCountdown != 0) return kOk;
  run_.sort.mergeCountdown = kMergeCountdownStart;
  run_.scan.recordCount += kMergeCountdownStart;
  if (!run_.options.showRecordProgress) return kOk;
  const std::time_t now = MonotonicSeconds();
  if (now - lastProgress_ <= kProgressInterval) return kOk;
  lastProgress_ = now;
  const bool cancelled = ShowProgressFormatted(run_, "%lu records\r",
                                               static_cast<unsigned long>(run_.scan.recordCount));
  return cancelled ? ReportCancel(run_) : kOk;
}

Result Merge::Advance(MergeWay& way) {
  if (--way.itemsLeft > 0) {
    way.current += run_.sort.itemSize;
    return kOk;
  }
  const Result result = ReadWayBlock(run_, way, blkLgt_, kRefill);
  return result == kOk ? Preload(way) : result;
}

// Ends the group in the output and records where it began. The table's entry is free: a group
// takes at least one train from it.
Result Merge::EndGroup(std::uint32_t group, std::int64_t start) {
  if (!WriteEndItem(run_) || !FlushWrite(run_, run_.files.workFile)) return kWorkWriteFailed;
  SetTrainStart(run_, group, start);
  outputOffset_ += run_.sort.itemSize;
  return kOk;
}

}  // namespace

MergePlan PlanMerge(const RunContext& run, std::uint32_t trainCount) {
  if (trainCount <= kMaxOnePassTrains && trainCount <= run.sort.maxItems - 1) {
    return {.ways = trainCount, .firstPassIsFinal = true};
  }
  const std::uint32_t passes = trainCount <= kMaxTwoPassTrains ? 2 : 3;
  const std::uint32_t mostWays = run.sort.sortAreaSize / run.sort.itemSize - 1;
  return {.ways = std::min(WaysForPasses(trainCount, passes), mostWays), .firstPassIsFinal = false};
}

Result DoFancyMerge(RunContext& run) {
  Merge merge(run, PlanMerge(run, run.sort.trainCount));
  return merge.Run();
}

}  // namespace tavindex
