#include "compact/old_list.h"

#include <array>

#include "common/console.h"
#include "common/file.h"
#include "isi/tree_builder.h"

namespace tavindex {

namespace {

using Sector = std::array<std::uint8_t, kSectorSize>;

bool ReadListSector(const TreeReader& reader, std::uint32_t address, Sector& sector) {
  return ReadAt(reader.fd, SectorOffset(reader, address), sector) ==
         static_cast<std::int64_t>(kSectorSize);
}

std::uint32_t PreviousOf(const TreeReader& reader, const Sector& sector) {
  return Load32(sector.data() + list_sector::kPrevListSector, reader.order);
}

bool DropsList(const IsiHeader& header) {
  return (header.fileFlags & (kVariableLength | kSpaceCompression | kIrregularRecords)) != 0;
}

Result WriteSector(RunContext& run, const Sector& sector) {
  return WriteAll(run.files.outputFd, sector) ? kOk : ReportSegmentWriteFailure(run);
}

// Copies the chain to `position` of the output, linked for its final place from 1536 on.
Result CopyChain(RunContext& run, const TreeReader& reader, const OldList& list,
                 std::int64_t position) {
  std::uint32_t address = reader.header.deletedListHead;
  std::uint32_t next = AddressOf(run, kOpenListOffset);
  for (std::uint32_t copied = 1; copied <= list.sectors; ++copied) {
    Sector sector;
    if (!ReadListSector(reader, address, sector)) return kNotAnIsi;
    address = PreviousOf(reader, sector);
    next += AddressStep(run);
    Store32(sector.data() + list_sector::kPrevListSector,
            copied == list.sectors ? kNoAddress : next, reader.order);
    if (SeekTo(run.files.outputFd, position) < 0) return ReportSegmentWriteFailure(run);
    if (const Result result = WriteSector(run, sector); result != kOk) return result;
    position += kSectorSize;
  }
  return kOk;
}

// Moves the sectors that stand at `from` down to 1536, one at a time.
Result MoveChainDown(RunContext& run, const OldList& list, std::int64_t from) {
  const int fd = run.files.outputFd;
  for (std::uint32_t moved = 0; moved < list.sectors; ++moved) {
    const std::int64_t offset = std::int64_t{moved} * kSectorSize;
    Sector sector;
    if (ReadAt(fd, from + offset, sector) != static_cast<std::int64_t>(kSectorSize)) {
      return kWorkReadFailed;
    }
    if (SeekTo(fd, kOpenListOffset + offset) < 0) return ReportSegmentWriteFailure(run);
    if (const Result result = WriteSector(run, sector); result != kOk) return result;
  }
  return kOk;
}

Result WriteChain(RunContext& run, const TreeReader& reader, const OldList& list) {
  run.isi.deletedListHead = AddressOf(run, kOpenListOffset);
  run.isi.nextNodeAddr =
      run.isi.deletedListHead + std::uint64_t{list.sectors - 1} * AddressStep(run);
  if (!run.options.compactInPlace) return CopyChain(run, reader, list, kOpenListOffset);
  // Behind everything, on a sector border: the file may end in the middle of one.
  const std::int64_t end = FileSize(run.files.outputFd);
  if (end < 0) return kWorkReadFailed;
  const std::int64_t from = (end + kSectorSize - 1) / kSectorSize * kSectorSize;
  const Result copied = CopyChain(run, reader, list, from);
  return copied == kOk ? MoveChainDown(run, list, from) : copied;
}

// The slot at 1536 is written in any case, so that the first node stands at 2048.
Result WriteUnusedSlot(RunContext& run, const TreeReader& reader, ListFate fate) {
  run.isi.deletedListHead = kNoAddress;
  Sector sector{};
  if (fate == ListFate::kNone) {
    std::copy_n(reader.front.begin() + kOpenListOffset, kSectorSize, sector.begin());
  } else {
    ShowMessage(run, "Deleted Data Record sectors purged from ISI!");
  }
  return WriteSector(run, sector);
}

}  // namespace

Result InspectList(const TreeReader& reader, OldList& list) {
  list = OldList{};
  std::uint32_t address = reader.header.deletedListHead;
  if (DropsList(reader.header)) {
    list.fate = address == kNoAddress ? ListFate::kNone : ListFate::kDropped;
    return kOk;
  }
  while (address != kNoAddress) {
    if (++list.sectors > reader.sectors) return kBadDeletedCount;
    Sector sector;
    if (!IsSectorAddress(reader, address) || !ReadListSector(reader, address, sector)) {
      return kNotAnIsi;
    }
    const std::uint32_t count = Load16(sector.data() + list_sector::kListCount, reader.order);
    if (count > kListCapacity) return kBadDeletedCount;
    list.deletedCount += count;
    list.fate = ListFate::kKept;
    address = PreviousOf(reader, sector);
  }
  return kOk;
}

Result WriteListPart(RunContext& run, const TreeReader& reader, const OldList& list) {
  if (list.fate == ListFate::kKept) return WriteChain(run, reader, list);
  return WriteUnusedSlot(run, reader, list.fate);
}

}  // namespace tavindex
