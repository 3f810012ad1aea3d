#include "isi/tree_builder.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/buffered_write.h"
#include "common/console.h"
#include "common/file.h"
#include "isi/duplicates.h"
#include "isi/record_address.h"

namespace tavindex {

namespace {

bool IsRepeatedKey(const RunContext& run, const KeyItem& item) {
  return run.isi.anyEntry &&
         std::memcmp(item.key, run.isi.previousEntry.data() + entry::kKey, run.keys.keyLength) == 0;
}

Result FailWrite(RunContext& run, int error) {
  errno = error;
  ReportSegmentWriteFailure(run);
  return kNodeWriteFailed;
}

void AppendEntry(RunContext& run, const KeyItem& item, std::uint32_t child, std::uint16_t dupSeq) {
  IsiState& isi = run.isi;
  std::uint8_t* sector = LevelNode(run, isi.currentLevel);
  const std::uint32_t count = node::EntryCount(sector);
  std::uint8_t* at = sector + std::size_t{count} * isi.entrySize;
  Store32(at + entry::kLfa, RecordAddress(run, item.position), isi.byteOrder);
  Store32(at + entry::kChild, child, isi.byteOrder);
  Store16(at + entry::kDupSeq, dupSeq, isi.byteOrder);
  Store16(at + entry::kRecLength, item.recLength, isi.byteOrder);
  std::memcpy(at + entry::kKey, item.key, run.keys.keyLength);
  node::SetEntryCount(sector, count + 1);
  std::memcpy(isi.previousEntry.data(), at, isi.entrySize);
  isi.anyEntry = true;
}

// Puts the key into the node of currentLevel, which has room.
Result PlaceKey(RunContext& run, const KeyItem& item, std::uint32_t child) {
  IsiState& isi = run.isi;
  if (!IsRepeatedKey(run, item)) {
    AppendEntry(run, item, child, 0);
    return kOk;
  }
  if (const Result result = ReportDuplicate(run, item); result != kOk) return result;
  if (run.options.ignoreDups) {
    ++isi.ignoredDupCount;
    return kOk;
  }
  ++isi.dupCount;
  const std::uint16_t previous = Load16(isi.previousEntry.data() + entry::kDupSeq, isi.byteOrder);
  AppendEntry(run, item, child, static_cast<std::uint16_t>(previous + 1));
  return kOk;
}

// Writes the full node of currentLevel, whose last child is `child`, and moves up a level; `child`
// becomes the written node's address.
Result ClimbFromFullNode(RunContext& run, std::uint32_t& child) {
  IsiState& isi = run.isi;
  node::SetLastChild(LevelNode(run, isi.currentLevel), child, isi.byteOrder);
  if (const Result result = WriteLevelNode(run, child); result != kOk) return result;
  ++isi.currentLevel;
  if (isi.currentLevel == kTreeLevels) return ReportTreeLimit(run);
  isi.topLevel = std::max(isi.topLevel, isi.currentLevel);
  return kOk;
}

Result WriteOpenLevels(RunContext& run, std::uint32_t& lastWritten) {
  IsiState& isi = run.isi;
  for (std::uint32_t level = 0; level < isi.topLevel; ++level) {
    std::uint8_t* sector = LevelNode(run, level);
    node::SetLastChild(sector, lastWritten, isi.byteOrder);
    if (node::EntryCount(sector) == 0) continue;
    isi.currentLevel = level;
    if (WriteLevelNode(run, lastWritten) != kOk) return kIsiWriteFailed;
  }
  return kOk;
}

}  // namespace

std::uint8_t* LevelNode(RunContext& run, std::uint32_t level) {
  return run.isi.sectors.Data() + std::size_t{level} * kSectorSize;
}

std::uint32_t AddressStep(const RunContext& run) {
  return run.isi.recordNumberMode ? 1 : kSectorSize;
}

std::uint32_t AddressOf(const RunContext& run, std::uint32_t byteOffset) {
  return run.isi.recordNumberMode ? byteOffset / kSectorSize : byteOffset;
}

std::uint64_t TreeCapacity(const RunContext& run) {
  std::uint64_t capacity = std::uint64_t{run.isi.maxEntries} + 1;
  for (std::uint32_t squarings = 0; squarings < 4; ++squarings) capacity *= capacity;
  static_assert(kTreeLevels == 1U << 4);
  return capacity - 1;
}

Result ReportSegmentWriteFailure(RunContext& run) {
  run.files.workFile = run.files.outputFd;
  ShowFormatted(run, "\nUnable to write segment of index file. Errno=%d\n", errno);
  return kIsiWriteFailed;
}

Result StartTree(RunContext& run, std::uint32_t keyLength, std::uint32_t entrySize) {
  IsiState& isi = run.isi;
  run.keys.keyLength = keyLength;
  isi.entrySize = entrySize;
  isi.topLevel = 0;
  isi.currentLevel = 0;
  isi.anyEntry = false;
  isi.deletedListHead = kNoAddress;
  isi.listCount = 0;
  isi.maxEntries = run.options.fillPercent * (node::kEntryBytes / entrySize) / 100;
  isi.nextNodeAddr = AddressOf(run, kOpenListOffset);
  if (!isi.sectors.AllocateZeroed((kTreeLevels + 1) * std::size_t{kSectorSize})) {
    ShowMessage(run, "ISI buffer allocation failed.\n");
    return kNoMemory;
  }
  for (std::uint16_t level = 0; level < kTreeLevels; ++level) {
    node::SetLevel(LevelNode(run, level), level, isi.byteOrder);
  }
  return kOk;
}

Result WriteLevelNode(RunContext& run, std::uint32_t& address) {
  IsiState& isi = run.isi;
  const std::uint64_t next = isi.nextNodeAddr + AddressStep(run);
  if (next > UINT32_MAX) return FailWrite(run, EFBIG);
  std::uint8_t* sector = LevelNode(run, isi.currentLevel);
  if (!BufferedWrite(run, run.files.outputFd, {sector, kSectorSize})) return FailWrite(run, errno);
  isi.nextNodeAddr = next;
  address = static_cast<std::uint32_t>(next);
  node::SetEntryCount(sector, 0);
  return kOk;
}

Result InsertKey(RunContext& run, const KeyItem& item) {
  IsiState& isi = run.isi;
  std::uint32_t child = 0;
  isi.currentLevel = 0;
  while (node::EntryCount(LevelNode(run, isi.currentLevel)) >= isi.maxEntries) {
    if (isi.currentLevel == 0 && run.options.ignoreDups && IsRepeatedKey(run, item)) {
      ++isi.ignoredDupCount;
      return ReportDuplicate(run, item);
    }
    if (const Result result = ClimbFromFullNode(run, child); result != kOk) return result;
  }
  return PlaceKey(run, item, child);
}

Result FinishTree(RunContext& run) {
  const IsiState& isi = run.isi;
  std::uint32_t lastWritten = 0;
  if (const Result result = WriteOpenLevels(run, lastWritten); result != kOk) return result;
  std::uint8_t* root = LevelNode(run, isi.topLevel);
  node::SetLastChild(root, lastWritten, isi.byteOrder);
  const int fd = run.files.outputFd;
  if (!FlushWrite(run, fd) || SeekTo(fd, kRootOffset) < 0 || !WriteAll(fd, {root, kSectorSize})) {
    return ReportSegmentWriteFailure(run);
  }
  return kOk;
}

}  // namespace tavindex
