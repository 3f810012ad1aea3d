#include "compact/compact_operation.h"

#include <algorithm>
#include <cstring>

#include "common/buffered_write.h"
#include "common/console.h"
#include "common/file.h"
#include "compact/backup.h"
#include "compact/indexed_file.h"
#include "compact/old_list.h"
#include "compact/old_tree.h"
#include "compact/stored_line.h"
#include "isi/isi_format.h"
#include "isi/tree_builder.h"
#include "isi/tree_reader.h"
#include "sort/merge.h"
#include "sort/sort_item.h"
#include "sort/sort_trains.h"

namespace tavindex {

namespace {

// One compaction: what was found in the old ISI.
struct Compaction {
  TreeReader reader;
  OldList list;
};

// The merge's item consumer: every entry goes into the new tree.
Result InsertOldEntry(RunContext& run, const std::uint8_t* at) {
  const KeyItem key{
      .position = item::Lfa(at), .recLength = item::RecLength(at), .key = at + item::kKey};
  const Result result = InsertKey(run, key);
  return result == kOk || result == kTreeLevelLimit ? result : kInsertFailed;
}

// Everything the builder and the merge start from, taken from the header.
Result PrepareTree(RunContext& run, const TreeReader& reader) {
  const std::uint32_t keyLength = reader.header.keyLength;
  run.isi.byteOrder = reader.order;
  run.isi.recordNumberMode = reader.recordNumberMode;
  run.data.recordLength = reader.stride;
  run.sort.itemConsumer = InsertOldEntry;
  if (!SizeSortArea(run, keyLength)) {
    ShowMessage(run, "Memory allocation failed.\n");
    return kNoMemory;
  }
  return StartTree(run, keyLength, entry::Size(keyLength));
}

// The new ISI's header holds the line that would build the new ISI.
Result NameNewIsi(const RunContext& run, Compaction& job) {
  StoredLine line = job.reader.header.commandLine;
  if (const Result result = RewriteStoredLine(run.options.buildLine.View(), line); result != kOk) {
    return result;
  }
  std::uint8_t* at = job.reader.front.data() + header::kCommandLine;
  std::memset(at, 0, header::kCommandLineSize);
  std::memcpy(at, line.CStr(), line.Size());
  return kOk;
}

Result CheckBeforeWriting(RunContext& run, Compaction& job) {
  if (const Result result = InspectList(job.reader, job.list); result != kOk) return result;
  if (run.options.compactInPlace) return BackupIsi(run);
  return NameNewIsi(run, job);
}

// The header as it was, with what the compaction changes; the rest of it belongs to others.
void UpdateHeader(const RunContext& run, Compaction& job) {
  TreeReader& reader = job.reader;
  std::uint8_t* at = reader.front.data();
  Store32(at + header::kDeletedListHead, run.isi.deletedListHead, reader.order);
  Store32(at + header::kReserved24, kNoAddress, reader.order);
  Store32(at + header::kSpinCounter, reader.header.spinCounter == 0 ? 1 : 0, reader.order);
  Store32(at + header::kReserved36, 0, reader.order);
  Store32(at + header::kDeletedCount, job.list.deletedCount, reader.order);
}

// Header and old root first, so that the new nodes find their places behind them.
Result WriteFront(RunContext& run, Compaction& job) {
  const int fd = run.files.outputFd;
  const auto front = std::span<const std::uint8_t>(job.reader.front).first<kOpenListOffset>();
  if (SeekTo(fd, 0) < 0 || !WriteAll(fd, front)) return ReportSegmentWriteFailure(run);
  if (const Result result = WriteListPart(run, job.reader, job.list); result != kOk) return result;
  const std::int64_t end =
      kOpenListOffset + std::int64_t{std::max(job.list.sectors, 1U)} * kSectorSize;
  return TruncateFile(fd, end) && SeekTo(fd, end) >= 0 ? kOk : ReportSegmentWriteFailure(run);
}

void ShowCounts(RunContext& run, const OldList& list) {
  ShowFormatted(run, "%llu records, %lu deleted entries\n",
                static_cast<unsigned long long>(run.scan.recordCount),
                static_cast<unsigned long>(list.deletedCount));
}

Result MergeIntoTree(RunContext& run, const OldList& list) {
  run.scan.recordCount = 0;
  run.sort.mergeCountdown = kMergeCountdownStart;
  if (const Result result = DoFancyMerge(run); result != kOk) {
    return run.options.compactInPlace ? kIsiWriteFailed : result;
  }
  run.scan.recordCount += kMergeCountdownStart - run.sort.mergeCountdown;
  ShowCounts(run, list);
  return kOk;
}

Result Finish(RunContext& run, Compaction& job) {
  if (const Result result = FinishTree(run); result != kOk) return result;
  UpdateHeader(run, job);
  const int fd = run.files.outputFd;
  const auto header = std::span<const std::uint8_t>(job.reader.front).first<kHeaderSize>();
  const bool written =
      SeekTo(fd, 0) >= 0 && WriteAll(fd, header) && (!run.options.compactInPlace || SyncFile(fd));
  return written ? kOk : ReportSegmentWriteFailure(run);
}

}  // namespace

Result CompactIsi(RunContext& run) {
  Compaction job;
  Result result = ReadFront(job.reader, run.files.inputFd);
  if (result == kOk) result = OpenIndexedFile(run, job.reader);
  if (result == kOk) result = CheckSpinCounter(run, job.reader);
  if (result == kOk) result = PrepareTree(run, job.reader);
  if (result == kOk) result = WriteOldEntries(run, job.reader);
  if (result == kOk) result = CheckBeforeWriting(run, job);
  if (result == kOk) result = WriteFront(run, job);
  if (result == kOk) result = MergeIntoTree(run, job.list);
  if (result == kOk) result = Finish(run, job);
  return result;
}

}  // namespace tavindex
