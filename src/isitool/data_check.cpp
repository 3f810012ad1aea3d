#include "isitool/data_check.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <vector>

#include "common/file.h"
#include "isitool/record_scan.h"
#include "isitool/text.h"
#include "isitool/walk.h"

namespace tavindex {

namespace {

class DataCheck {
 public:
  DataCheck(IsiFile& file, const StructureCheck& structure, FaultList& faults, Progress& progress)
      : file_(file), structure_(structure), faults_(faults), progress_(progress) {}

  // The records and the entries go side by side: both are in the order of the data file.
  void Run(RecordScan& scan) {
    ScannedRecord record;
    while (scan.Next(record)) {
      progress_.Step(record.position);
      TakeRecord(record, scan.DropsDuplicates());
    }
    if (!scan.Complete()) {
      return faults_.DataFault(Format("data file: %s, from byte %llu on",
                                      scan.WhyIncomplete().c_str(), AsLong(scan.DataEnd())));
    }
    while (next_ < Entries().size()) Leftover(Entries()[next_++]);
    CheckEnd(scan.DataEnd());
    CheckDeleted(scan.Deleted());
  }

 private:
  const std::vector<EntryPlace>& Entries() const { return structure_.Entries(); }

  static unsigned long long AsLong(std::uint64_t number) { return number; }

  std::uint64_t Divisor() const { return file_.reader.recordNumberMode ? file_.reader.stride : 1; }

  void TakeRecord(const ScannedRecord& record, bool mayBeDropped) {
    const auto lfa = static_cast<std::uint32_t>(record.position / Divisor());
    const bool numbered = record.position % Divisor() == 0;
    while (next_ < Entries().size() && Entries()[next_].lfa < lfa) Leftover(Entries()[next_++]);
    if (!numbered || next_ == Entries().size() || Entries()[next_].lfa != lfa) {
      return Missing(record, mayBeDropped);
    }
    // All entries of the record; more than one was told by the structure check.
    for (; next_ < Entries().size() && Entries()[next_].lfa == lfa; ++next_) {
      Compare(Entries()[next_], record);
    }
  }

  // A build that leaves duplicates out keeps the first record of a key.
  void Missing(const ScannedRecord& record, bool mayBeDropped) {
    const auto kept = mayBeDropped ? FirstRecordOf(file_, record.key) : std::nullopt;
    if (kept && RecordOffset(file_, *kept) < record.position) return;
    faults_.DataFault(Format("the record at %llu is not in the index", AsLong(record.position)));
  }

  void Leftover(const EntryPlace& place) {
    faults_.Fault(place.sector, Format("entry %u: no record to index begins at %llu", place.index,
                                       AsLong(RecordOffset(file_, place.lfa))));
  }

  void Compare(const EntryPlace& place, const ScannedRecord& record) {
    std::array<std::uint8_t, kSectorSize> sector{};
    const std::int64_t at = std::int64_t{place.sector} * kSectorSize;
    if (ReadAt(file_.reader.fd, at, sector) != std::ssize(sector)) {
      return faults_.Fault(place.sector, "cannot be read again");
    }
    const EntryView entry = EntryOf(file_, sector.data(), place.index);
    if (entry.recLength != record.recLength) {
      faults_.Fault(place.sector,
                    Format("entry %u: length %u, but the record at %llu has %u", place.index,
                           entry.recLength, AsLong(record.position), record.recLength));
    }
    if (std::ranges::equal(entry.key, record.key)) return;
    faults_.Fault(place.sector,
                  Format("entry %u: key '%s', but the record at %llu has '%s'", place.index,
                         Visible(AsText(entry.key)).c_str(), AsLong(record.position),
                         Visible(AsText(record.key)).c_str()));
  }

  void CheckEnd(std::uint64_t end) {
    const auto stored = static_cast<std::uint32_t>(end / Divisor());
    if (stored == file_.Header().dataEnd) return;
    faults_.Fault(kHeaderSector, Format("the data ends at %u, but in the data file at %u",
                                        file_.Header().dataEnd, stored));
  }

  // A compaction drops the list of records that are not of one length, and a build of such records
  // makes none.
  void CheckDeleted(std::vector<std::uint32_t> found) {
    constexpr unsigned kMayLackList = kVariableLength | kSpaceCompression | kIrregularRecords;
    const std::vector<std::uint32_t>& listed = structure_.Deleted();
    if (listed.empty() && (file_.Header().fileFlags & kMayLackList) != 0) return;
    std::ranges::sort(found);
    std::vector<std::uint32_t> unlisted;
    std::ranges::set_difference(found, listed, std::back_inserter(unlisted));
    std::vector<std::uint32_t> alive;
    std::ranges::set_difference(listed, found, std::back_inserter(alive));
    for (const std::uint32_t lfa : unlisted) {
      faults_.DataFault(Format("the deleted record at %llu is not in the list",
                               AsLong(RecordOffset(file_, lfa))));
    }
    for (const std::uint32_t lfa : alive) {
      faults_.DataFault(Format("the list holds a record at %llu, which is not deleted",
                               AsLong(RecordOffset(file_, lfa))));
    }
  }

  IsiFile& file_;
  const StructureCheck& structure_;
  FaultList& faults_;
  Progress& progress_;
  std::size_t next_ = 0;  // the first entry whose record was not scanned yet
};

}  // namespace

bool CheckData(IsiFile& file, const StructureCheck& structure, const DataFile& data,
               FaultList& faults, Progress& progress, std::string& why) {
  RecordScan scan;
  if (!scan.Open(file, data.fd, why)) return false;
  progress.Begin("records", static_cast<std::uint64_t>(data.status.st_size));
  DataCheck(file, structure, faults, progress).Run(scan);
  progress.Clear();
  return true;
}

}  // namespace tavindex
