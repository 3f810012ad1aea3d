#include "isi/deleted_list.h"

#include <cerrno>
#include <cstring>

#include "common/file.h"
#include "isi/isi_format.h"
#include "isi/record_address.h"
#include "isi/tree_builder.h"

namespace tavindex {

namespace {

std::uint8_t* ListSector(RunContext& run) { return LevelNode(run, kTreeLevels); }

// Completes the open sector, which becomes the head of the chain at `address`, and writes it.
bool WriteListSector(RunContext& run, std::uint32_t address) {
  IsiState& isi = run.isi;
  std::uint8_t* sector = ListSector(run);
  Store32(sector + list_sector::kPrevListSector, isi.deletedListHead, isi.byteOrder);
  Store16(sector + list_sector::kListCount, static_cast<std::uint16_t>(isi.listCount),
          isi.byteOrder);
  std::memcpy(sector + list_sector::kMark, list_sector::kMarkBytes, sizeof list_sector::kMarkBytes);
  isi.deletedListHead = address;
  isi.listCount = 0;
  if (WriteAll(run.files.outputFd, {sector, kSectorSize})) return true;
  ReportSegmentWriteFailure(run);
  return false;
}

bool WriteFullSector(RunContext& run) {
  IsiState& isi = run.isi;
  const std::uint64_t next = isi.nextNodeAddr + AddressStep(run);
  if (next > UINT32_MAX) {
    errno = EFBIG;
    ReportSegmentWriteFailure(run);
    return false;
  }
  isi.nextNodeAddr = next;
  return WriteListSector(run, static_cast<std::uint32_t>(next));
}

}  // namespace

Result AddDeletedRecord(RunContext& run) {
  if (run.options.variableRecords) return kOk;
  IsiState& isi = run.isi;
  if (isi.listCount == kListCapacity && !WriteFullSector(run)) return kListWriteFailed;
  Store32(ListSector(run) + isi.listCount * sizeof(std::uint32_t),
          RecordAddress(run, run.scan.nextLfa), isi.byteOrder);
  ++isi.listCount;
  return kOk;
}

Result WriteOpenList(RunContext& run) {
  if (run.isi.listCount == 0) return kOk;
  return WriteListSector(run, AddressOf(run, kOpenListOffset)) ? kOk : kIsiWriteFailed;
}

}  // namespace tavindex
