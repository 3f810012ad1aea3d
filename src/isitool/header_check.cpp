#include "isitool/header_check.h"

#include <algorithm>
#include <bitset>
#include <span>
#include <string>

#include "isitool/text.h"

namespace tavindex {

namespace {

constexpr std::uint32_t kLastColumn = 65534;  // from 1
constexpr std::uint8_t kOsTypeBits = 0x18;

using HeaderBytes = std::span<const std::uint8_t>;

HeaderBytes BytesOf(const IsiFile& file) {
  return HeaderBytes(file.reader.front).first(kHeaderSize);
}

bool AllZero(HeaderBytes bytes) {
  return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

void CheckSize(const IsiFile& file, FaultList& faults) {
  if (file.Size() % kSectorSize == 0) return;
  faults.Fault(kHeaderSector, Format("the file has %llu bytes, no multiple of 512: it was cut off",
                                     static_cast<unsigned long long>(file.Size())));
}

void CheckVersion(const IsiFile& file, FaultList& faults) {
  constexpr std::uint8_t kComplement = 0xFF ^ kIsiVersion;
  const std::uint8_t version = file.reader.front[header::kVersion];
  if (version == kIsiVersion || version == kComplement) return;
  faults.Fault(kHeaderSector, Format("unknown version %02X", version));
}

void CheckFlags(const IsiHeader& header, FaultList& faults) {
  const unsigned flags = header.fileFlags;
  const bool variable = (flags & kVariableLength) != 0;
  const bool marked = (flags & (kEorTwoBytes | kEorLineFeedFirst)) != 0;
  if ((flags & kSpaceCompression) != 0 && !variable) {
    faults.Remark(kHeaderSector, "fileFlags: space compression without variable length");
  }
  if (variable && (flags & kIrregularRecords) == 0) {
    faults.Remark(kHeaderSector, "fileFlags: 02 without 20");
  }
  if ((flags & kBinaryData) != 0 && (marked || variable || (flags & kSpaceCompression) != 0)) {
    faults.Remark(kHeaderSector, "fileFlags: binary records with a mark or of variable length");
  }
  if ((header.addrFlags & ~(kRecordNumbers | kOsTypeBits)) != 0) {
    faults.Remark(kHeaderSector, Format("addrFlags: unknown bits in %02X", header.addrFlags));
  }
  if ((header.addrFlags & kOsTypeBits) == kOsTypeBits) {
    faults.Remark(kHeaderSector, "addrFlags: two operating system types");
  }
}

// The bytes between the fields.
void CheckGaps(const IsiFile& file, FaultList& faults) {
  struct Gap {
    std::size_t begin;
    std::size_t end;
  };
  constexpr std::size_t kTableEnd =
      header::kConditionTable + kMaxConditions * header::kTableEntrySize;
  constexpr Gap kGaps[] = {{header::kReserved24 + 4, header::kSpinCounter},
                           {header::kReserved36, header::kRecordsIndexed},
                           {header::kDeletedCount + 4, header::kConditionTable},
                           {kTableEnd, header::kKeyTable}};
  for (const Gap& gap : kGaps) {
    if (AllZero(BytesOf(file).subspan(gap.begin, gap.end - gap.begin))) continue;
    faults.Remark(kHeaderSector, Format("bytes %zu to %zu are not zero", gap.begin, gap.end - 1));
  }
  if (Load32(file.reader.front.data() + header::kReserved24, file.reader.order) != kNoAddress) {
    faults.Remark(kHeaderSector, "bytes 24 to 27 are not FF");
  }
}

void CheckConditions(const IsiFile& file, FaultList& faults) {
  std::size_t used = 0;
  std::uint32_t last = 0;
  for (const HeaderCondition& condition : file.Header().conditionTable) {
    if (condition.column == 0) break;
    ++used;
    const std::string who = Format("condition %zu: ", used);
    if (condition.column > kLastColumn) faults.Fault(kHeaderSector, who + "no such column");
    if (condition.column < last) faults.Fault(kHeaderSector, who + "columns do not ascend");
    if (condition.flags != kTestEqual && condition.flags != kTestNotEqual) {
      faults.Fault(kHeaderSector, who + Format("unknown flag %02X", condition.flags));
    }
    last = condition.column;
  }
  const std::size_t rest = (kMaxConditions - used) * header::kTableEntrySize;
  const std::size_t begin = header::kConditionTable + used * header::kTableEntrySize;
  if (!AllZero(BytesOf(file).subspan(begin, rest))) {
    faults.Remark(kHeaderSector, "conditions: what stands behind the last is not zero");
  }
}

// The columns of the key: each once, and as many as the key has bytes.
class KeyTableCheck {
 public:
  KeyTableCheck(const IsiFile& file, FaultList& faults) : file_(file), faults_(faults) {}

  void Run() {
    for (const KeyTableEntry& entry : file_.Header().keyTable) {
      if (entry.length == 0) break;
      ++used_;
      Take(entry);
    }
    if (used_ == 0) Fault("no columns");
    if (used_ > kMaxKeys) Fault("more than 31 entries");
    if (total_ != file_.Header().keyLength) {
      Fault(Format("%u columns for a key of %u bytes", total_, file_.Header().keyLength));
    }
    const std::size_t begin = header::kKeyTable + used_ * header::kTableEntrySize;
    if (!AllZero(BytesOf(file_).subspan(begin, header::kDataFileName - begin))) {
      faults_.Remark(kHeaderSector, "key table: what stands behind the last entry is not zero");
    }
  }

 private:
  void Fault(const std::string& what) { faults_.Fault(kHeaderSector, "key table: " + what); }

  void Take(const KeyTableEntry& entry) {
    total_ += entry.length;
    if (std::uint32_t{entry.start} + entry.length > kLastColumn) {
      return Fault(Format("entry %zu: no such column", used_));
    }
    bool overlaps = false;
    for (std::uint32_t i = 0; i < entry.length; ++i) {
      overlaps = overlaps || taken_.test(entry.start + i);
      taken_.set(entry.start + i);
    }
    if (overlaps) Fault(Format("entry %zu overlaps one before it", used_));
  }

  const IsiFile& file_;
  FaultList& faults_;
  std::bitset<kLastColumn> taken_;
  std::size_t used_ = 0;
  std::uint32_t total_ = 0;
};

void CheckTexts(const IsiFile& file, FaultList& faults) {
  const std::size_t name = file.Header().dataFileName.Size();
  if (name == 0) faults.Fault(kHeaderSector, "no data file is named");
  const HeaderBytes behind =
      BytesOf(file).subspan(header::kDataFileName + name, header::kDataFileNameSize - name);
  if (!AllZero(behind)) faults.Remark(kHeaderSector, "bytes behind the data file's name");
  const HeaderBytes line = BytesOf(file).subspan(header::kCommandLine, header::kCommandLineSize);
  if (std::ranges::find(line, std::uint8_t{0}) == line.end()) {
    faults.Fault(kHeaderSector, "the stored command line has no end");
  }
}

}  // namespace

void CheckHeaderFields(const IsiFile& file, FaultList& faults) {
  CheckSize(file, faults);
  CheckVersion(file, faults);
  CheckFlags(file.Header(), faults);
  CheckGaps(file, faults);
  CheckConditions(file, faults);
  KeyTableCheck(file, faults).Run();
  CheckTexts(file, faults);
  if (!file.fault.empty()) faults.Fault(kHeaderSector, file.fault);
}

}  // namespace tavindex
