// The file image of a model: what the build writes, in the order in which it writes it.
//
// One buffer a level and one for deleted addresses serve all nodes and list sectors. They are not
// cleared between two uses, so behind the last entry of a node stands what stood there before; the
// image must show that, or byte comparisons would fail where no reader ever looks.

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "header_tables.h"
#include "isi_checker.h"

namespace tavindex::test {
namespace {

using namespace layout;

using Sector = std::array<std::byte, kSectorSize>;

class ImageWriter {
 public:
  ImageWriter(const IndexModel& model, const BuildRequest& request, const HeaderRequest& header)
      : model_(model), request_(request), header_(header), order_(header.order) {
    file_.resize(kSmallestFile);
    entrySize_ = EntrySize(model.keyLength);
    maxEntries_ = FilledEntries(model.keyLength, request.fillPercent);
    for (unsigned level = 0; level < kMaxLevels; ++level) {
      Store16(levels_[level], kLevel, level, order_);
    }
  }

  std::vector<std::byte> Run() {
    for (const std::uint32_t address : model_.deleted) AppendDeleted(address);
    for (const ModelEntry& entry : model_.entries) {
      if (!Insert(entry)) return {};
    }
    WriteOpenNodes();
    WriteOpenList();
    WriteHeader();
    return std::move(file_);
  }

 private:
  std::uint32_t AddressOf(std::size_t offset) const {
    return static_cast<std::uint32_t>(model_.recordNumbers ? offset / kSectorSize : offset);
  }

  std::uint32_t AppendSector(const Sector& sector) {
    const std::size_t offset = file_.size();
    file_.insert(file_.end(), sector.begin(), sector.end());
    return AddressOf(offset);
  }

  void Place(const Sector& sector, std::size_t number) {
    std::copy(sector.begin(), sector.end(),
              file_.begin() + static_cast<std::ptrdiff_t>(number * kSectorSize));
  }

  // ---- Deleted records ----

  // A full list sector is written when the next address arrives, not when it becomes full.
  void AppendDeleted(std::uint32_t address) {
    if (listCount_ == kListCapacity) {
      CompleteList();
      listHead_ = AppendSector(list_);
      listCount_ = 0;
    }
    Store32(list_, listCount_ * 4, address, order_);
    ++listCount_;
  }

  void CompleteList() {
    Store32(list_, kPrevListSector, listHead_, order_);
    Store16(list_, kListCount, static_cast<unsigned>(listCount_), order_);
    Store8(list_, kListMarks, kListMark1);
    Store8(list_, kListMarks + 1, kListMark2);
  }

  void WriteOpenList() {
    if (listCount_ == 0) return;
    CompleteList();
    Place(list_, kOpenListSector);
    listHead_ = AddressOf(kOpenListSector * kSectorSize);
  }

  // ---- Nodes ----

  std::size_t Count(unsigned level) const { return Load8(levels_[level], kEntryCount); }
  void SetCount(unsigned level, std::size_t count) {
    Store8(levels_[level], kEntryCount, static_cast<unsigned>(count));
  }
  void SetLastChild(unsigned level, std::uint32_t address) {
    Store32(levels_[level], kLastChild, address, order_);
  }

  // The key goes into the lowest level with room; every full level on its way is written and
  // becomes the child before it. False when it would need a 17th level.
  bool Insert(const ModelEntry& entry) {
    std::uint32_t child = 0;
    for (unsigned level = 0; level < kMaxLevels; ++level) {
      topLevel_ = std::max(topLevel_, level);
      if (Count(level) < maxEntries_) {
        Append(level, entry, child);
        return true;
      }
      SetLastChild(level, child);
      child = WriteNode(level);
    }
    return false;
  }

  void Append(unsigned level, const ModelEntry& entry, std::uint32_t child) {
    const std::size_t at = Count(level) * entrySize_;
    Sector& node = levels_[level];
    Store32(node, at + kEntryLfa, entry.lfa, order_);
    Store32(node, at + kEntryChild, child, order_);
    Store16(node, at + kEntryDupSeq, entry.dupSeq, order_);
    Store16(node, at + kEntryRecLength, entry.recLength, order_);
    for (std::size_t i = 0; i < entry.key.size(); ++i) {
      Store8(node, at + kEntryKey + i, static_cast<std::uint8_t>(entry.key[i]));
    }
    SetCount(level, Count(level) + 1);
  }

  std::uint32_t WriteNode(unsigned level) {
    const std::uint32_t address = AppendSector(levels_[level]);
    SetCount(level, 0);
    return address;
  }

  // From the leaf up; a level without entries is passed over, and the one above it points past it.
  void WriteOpenNodes() {
    std::uint32_t below = 0;
    for (unsigned level = 0; level < topLevel_; ++level) {
      SetLastChild(level, below);
      if (Count(level) > 0) below = WriteNode(level);
    }
    SetLastChild(topLevel_, below);
    Place(levels_[topLevel_], kRootSector);
  }

  // ---- Header ----

  void WriteHeader() {
    const MutableBytes out = MutableBytes(file_).first(kHeaderSize);
    const bool little = order_ == ByteOrder::kLittle;
    PutText(out, kSignature, "KISI", 4);
    Store8(out, kVersion, little ? kVersionLow : kVersionHigh);
    Store8(out, kVersionCheck, little ? kVersionHigh : kVersionLow);
    Store8(out, kFileFlags, model_.fileFlags);
    Store8(out, kAddrFlags, header_.osType | (model_.recordNumbers ? kAddrRecordNumbers : 0U));
    Store16(out, kRecordLength, model_.recordLength, order_);
    Store16(out, kKeyLength, model_.keyLength, order_);
    Store32(out, kDataEnd, static_cast<std::uint32_t>(model_.dataEnd), order_);
    Store32(out, kDeletedListHead, listHead_, order_);
    Store32(out, kRootNode, AddressOf(kRootSector * kSectorSize), order_);
    Store32(out, kReserved24, kNoAddress, order_);
    Store32(out, kRecordsIndexed, static_cast<std::uint32_t>(model_.recordsIndexed), order_);
    Store32(out, kDeletedCount, static_cast<std::uint32_t>(model_.deleted.size()), order_);
    WriteConditions(out);
    WriteKeyFields(out);
    PutText(out, kDataFileName, header_.dataFileName, kDataFileNameSize);
    // A line that does not fit is not stored at all: half a line would rebuild a wrong index.
    if (header_.commandLine.size() < kCommandLineSize) {
      PutText(out, kCommandLine, header_.commandLine, kCommandLineSize);
    }
  }

  static void PutText(MutableBytes out, std::size_t offset, const std::string& text,
                      std::size_t room) {
    for (std::size_t i = 0; i < std::min(text.size(), room); ++i) {
      Store8(out, offset + i, static_cast<std::uint8_t>(text[i]));
    }
  }

  void WriteConditions(MutableBytes out) const {
    std::size_t at = kConditionTable;
    for (const HeaderCondition& condition : ConditionTableOf(request_)) {
      Store16(out, at, condition.column, order_);
      Store8(out, at + 2, condition.flag);
      Store8(out, at + 3, condition.character);
      at += kSlotSize;
    }
  }

  void WriteKeyFields(MutableBytes out) const {
    std::size_t at = kKeyTable;
    for (const HeaderKeyField& field : KeyTableOf(request_)) {
      Store16(out, at, field.start, order_);
      Store16(out, at + 2, field.length, order_);
      at += kSlotSize;
    }
  }

  const IndexModel& model_;
  const BuildRequest& request_;
  const HeaderRequest& header_;
  const ByteOrder order_;
  std::vector<std::byte> file_;
  std::size_t entrySize_ = 0;
  std::size_t maxEntries_ = 0;
  std::array<Sector, kMaxLevels> levels_{};
  unsigned topLevel_ = 0;
  Sector list_{};
  std::size_t listCount_ = 0;
  std::uint32_t listHead_ = kNoAddress;
};

}  // namespace

std::vector<std::byte> ExpectedIsi(const IndexModel& model, const BuildRequest& request,
                                   const HeaderRequest& header) {
  if (model.result != 0) return {};
  return ImageWriter(model, request, header).Run();
}

}  // namespace tavindex::test
