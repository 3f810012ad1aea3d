// Walks an ISI image and proves its structure.
//
// The shape that a bottom-up build gives, and a compaction too:
//
//   - A node is written when it is full and a further key comes; that key moves up and separates
//     it from the next node. So below every entry of level L stands a node of level L - 1, and so
//     it does behind the last entry of every node that was written during the build.
//   - At the end each level may hold a begun node, or none. These stand on the right spine (the
//     root, its last child, that one's last child, ...), where a last child may lie more than one
//     level down, and is missing when all levels below are empty.
//
// A node is followed only to a lower level and no sector is entered twice, so the walk ends on any
// bytes.

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "header_check.h"
#include "isi_checker.h"

namespace tavindex::test {
namespace {

using namespace layout;

// What a sector was reached as.
enum class Use : std::uint8_t { kNothing, kHeader, kNode, kList };

class StructureCheck {
 public:
  StructureCheck(Bytes isi, const StructureOptions& options, IsiContents* contents)
      : isi_(isi), options_(options), keepEntries_(contents != nullptr) {}

  Report Run(IsiContents* contents) {
    if (ReadHeader()) {
      uses_.assign(isi_.size() / kSectorSize, Use::kNothing);
      uses_[0] = uses_[1] = Use::kHeader;
      uses_[kRootSector] = Use::kNode;
      CheckDeletedList();
      CheckTree();
      CheckAllReached();
    }
    if (contents != nullptr) *contents = std::move(contents_);
    return std::move(report_);
  }

 private:
  void Fault(const std::string& text) { report_.AddFault(text); }
  void FaultAt(std::size_t sector, const std::string& text) {
    Fault("sector at " + std::to_string(sector * kSectorSize) + ": " + text);
  }

  bool ReadHeader() {
    if (isi_.size() % kSectorSize != 0) Fault("file size is no multiple of 512");
    if (isi_.size() < kSmallestFile) {
      Fault("file is shorter than 2048 bytes");
      return false;
    }
    if (!RecogniseHeader(isi_, contents_, report_)) return false;
    DecodeHeader(isi_, contents_);
    CheckHeader(isi_, contents_, options_, report_);
    // Without a key length no entry can be told from the next.
    return contents_.keyLength >= 1 && contents_.keyLength <= kMaxKeyLength;
  }

  // Takes the sector at `address` for one use; nothing when it cannot be had.
  std::optional<std::size_t> Claim(std::uint32_t address, Use use, const std::string& who) {
    std::size_t sector = address;
    if (!contents_.RecordNumbers()) {
      if (address % kSectorSize != 0) {
        Fault(who + " is no sector address: " + std::to_string(address));
        return std::nullopt;
      }
      sector = address / kSectorSize;
    }
    const std::size_t lowest = use == Use::kList ? kOpenListSector : kFirstFreeSector;
    if (sector < lowest || sector >= uses_.size()) {
      Fault(who + " lies outside the sectors: " + std::to_string(address));
      return std::nullopt;
    }
    if (uses_[sector] != Use::kNothing) {
      Fault(who + " leads to a sector reached before: " + std::to_string(address));
      return std::nullopt;
    }
    uses_[sector] = use;
    return sector;
  }

  Bytes Sector(std::size_t sector) const { return isi_.subspan(sector * kSectorSize, kSectorSize); }

  // ---- Deleted records ----

  void CheckDeletedList() {
    const std::uint32_t head = contents_.deletedListHead;
    if ((head == kNoAddress) != (contents_.deletedCount == 0)) {
      Fault("header: deletedListHead and deletedCount disagree");
    }
    constexpr unsigned kNoList = kFlagVariable | kFlagCompressed;
    if (head != kNoAddress && (contents_.fileFlags & kNoList) != 0) {
      Fault("header: deleted records of a variable-length data file");
    }
    CollectListSectors(head);
    CheckDeletedAddresses();
    if (options_.builderShape && !listSectors_.empty()) CheckListShape();
  }

  void CollectListSectors(std::uint32_t head) {
    std::string who = "header: deletedListHead";
    for (std::uint32_t address = head; address != kNoAddress;) {
      const std::optional<std::size_t> sector = Claim(address, Use::kList, who);
      if (!sector) return;
      listSectors_.push_back(*sector);
      const Bytes list = Sector(*sector);
      who = "list sector at " + std::to_string(*sector * kSectorSize) + ": prevListSector";
      if (Load8(list, kListMarks) != kListMark1 || Load8(list, kListMarks + 1) != kListMark2) {
        FaultAt(*sector, "list marks are missing");
      }
      if (ListCount(*sector) > kListCapacity) FaultAt(*sector, "listCount is above 126");
      address = Load32(list, kPrevListSector, contents_.order);
    }
  }

  std::size_t ListCount(std::size_t sector) const {
    return Load16(Sector(sector), kListCount, contents_.order);
  }

  // The head is the newest sector, so file order begins at the chain's other end.
  void CheckDeletedAddresses() {
    for (auto sector = listSectors_.rbegin(); sector != listSectors_.rend(); ++sector) {
      const std::size_t count = std::min(ListCount(*sector), kListCapacity);
      for (std::size_t i = 0; i < count; ++i) {
        TakeDeleted(*sector, Load32(Sector(*sector), i * 4, contents_.order));
      }
    }
    report_.listSectors = listSectors_.size();
    report_.deletedRecords = contents_.deleted.size();
    if (contents_.deleted.size() != contents_.deletedCount) {
      Fault("header: deletedCount is " + std::to_string(contents_.deletedCount) +
            ", the list has " + std::to_string(contents_.deleted.size()));
    }
  }

  void TakeDeleted(std::size_t sector, std::uint32_t address) {
    if (!contents_.deleted.empty() && address <= contents_.deleted.back()) {
      FaultAt(sector, "deleted addresses are not in file order");
    }
    if (BeyondData(address, 1)) FaultAt(sector, "deleted address lies behind dataEnd");
    contents_.deleted.push_back(address);
  }

  // All but the head are full, the head stands at 1536 and is never empty.
  void CheckListShape() {
    if (listSectors_.front() != kOpenListSector) {
      FaultAt(listSectors_.front(), "the open list sector is not at 1536");
    }
    if (ListCount(listSectors_.front()) == 0) FaultAt(listSectors_.front(), "empty list sector");
    for (std::size_t i = 1; i < listSectors_.size(); ++i) {
      if (ListCount(listSectors_[i]) != kListCapacity) {
        FaultAt(listSectors_[i], "list sector behind the head is not full");
      }
    }
  }

  bool BeyondData(std::uint32_t lfa, std::uint32_t length) const {
    if (contents_.RecordNumbers()) {
      // A short last record has a number, but does not count as a whole one in dataEnd.
      const bool irregular = (contents_.fileFlags & kFlagIrregular) != 0;
      return lfa >= contents_.dataEnd && !(irregular && lfa == contents_.dataEnd);
    }
    return std::uint64_t{lfa} + length > DataEnd();
  }

  // A last record without its mark may end past 4 GiB, where dataEnd wraps to 0 or 1. So many bytes
  // hold no more than so many records, which tells such an end from a small file's.
  std::uint64_t DataEnd() const {
    const std::uint64_t records = std::uint64_t{contents_.recordsIndexed} + contents_.deletedCount;
    const bool wrapped = contents_.dataEnd < 2 && records > contents_.dataEnd;
    return contents_.dataEnd + (wrapped ? std::uint64_t{1} << 32 : 0);
  }

  // ---- The tree ----

  void CheckTree() {
    entrySize_ = EntrySize(contents_.keyLength);
    maxEntries_ = NodeCapacity(contents_.keyLength);
    if (options_.builderShape) {
      maxEntries_ = FilledEntries(contents_.keyLength, options_.fillPercent);
    }
    const unsigned level = Level(kRootSector);
    report_.levels = level + 1;
    if (level >= kMaxLevels) return FaultAt(kRootSector, "level is above 15");
    if (level == 0 && Load8(Sector(kRootSector), kEntryCount) == 0) {
      CheckEmptyRoot();
    } else {
      VisitNode(kRootSector, true);
    }
    CheckEntryCount();
  }

  void CheckEmptyRoot() {
    report_.nodes = 1;
    CheckNodeBytes(kRootSector);
    if (LastChild(kRootSector) != 0) FaultAt(kRootSector, "empty root has a last child");
  }

  // recordsIndexed counts duplicates that were dropped, and only a build that allows no
  // duplicates drops any.
  void CheckEntryCount() {
    const bool mayDrop = (contents_.fileFlags & kFlagNoDuplicates) != 0;
    const std::uint64_t indexed = contents_.recordsIndexed;
    if (report_.entries > indexed || (report_.entries < indexed && !mayDrop)) {
      Fault("header: recordsIndexed is " + std::to_string(indexed) + ", the tree has " +
            std::to_string(report_.entries) + " entries");
    }
  }

  unsigned Level(std::size_t sector) const {
    const std::size_t low = contents_.order == ByteOrder::kLittle ? kLevel : kLevel + 1;
    return Load8(Sector(sector), low);
  }
  std::uint32_t LastChild(std::size_t sector) const {
    return Load32(Sector(sector), kLastChild, contents_.order);
  }

  // The node's subtree in key order: child, entry, child, entry, ..., last child.
  void VisitNode(std::size_t sector, bool rightSpine) {
    ++report_.nodes;
    CheckNodeBytes(sector);
    const std::size_t count = CheckedCount(sector, rightSpine);
    for (std::size_t i = 0; i < count; ++i) {
      const Bytes entry = Sector(sector).subspan(i * entrySize_, entrySize_);
      const std::uint32_t child = Load32(entry, kEntryChild, contents_.order);
      VisitChild(sector, child, "entry " + std::to_string(i + 1), false);
      VisitEntry(sector, i, entry);
    }
    VisitChild(sector, LastChild(sector), "last child", rightSpine);
    if (options_.builderShape && sector != kRootSector) CheckCompletionOrder(sector);
  }

  void CheckNodeBytes(std::size_t sector) {
    const Bytes node = Sector(sector);
    for (std::size_t at = kZeroAfterCount; at < kLevel; ++at) {
      if (Load8(node, at) != 0) FaultAt(sector, "byte " + std::to_string(at) + " is not zero");
    }
    const std::size_t high = contents_.order == ByteOrder::kLittle ? kLevel + 1 : kLevel;
    if (Load8(node, high) != 0) FaultAt(sector, "high byte of the level is not zero");
  }

  std::size_t CheckedCount(std::size_t sector, bool rightSpine) {
    const std::size_t capacity = NodeCapacity(contents_.keyLength);
    const std::size_t count = Load8(Sector(sector), kEntryCount);
    if (count == 0) FaultAt(sector, "node without entries");
    if (count > capacity) {
      FaultAt(sector, "entryCount is above the capacity");
    } else if (count > maxEntries_) {
      FaultAt(sector, "entryCount is above the fill percentage");
    } else if (options_.builderShape && !rightSpine && count < maxEntries_) {
      FaultAt(sector, "node inside the tree is not filled");
    }
    return std::min(count, capacity);
  }

  // `open`: this is the last child of a node on the right spine.
  void VisitChild(std::size_t parent, std::uint32_t address, const std::string& who, bool open) {
    const unsigned level = Level(parent);
    if (level == 0) {
      if (address != 0) FaultAt(parent, who + " of a leaf has a child");
      return;
    }
    if (address == 0) {
      if (!open) FaultAt(parent, who + " has no child");
      return;
    }
    const std::string name = "sector at " + std::to_string(parent * kSectorSize) + ": " + who;
    const std::optional<std::size_t> sector = Claim(address, Use::kNode, name);
    if (!sector) return;
    const unsigned below = Level(*sector);
    if (below >= level) return FaultAt(*sector, "level does not fall below its parent's");
    if (below + 1 != level && !open) FaultAt(*sector, "level is not one below its parent's");
    VisitNode(*sector, open);
  }

  void VisitEntry(std::size_t sector, std::size_t index, Bytes entry) {
    const ByteOrder order = contents_.order;
    const std::uint32_t lfa = Load32(entry, kEntryLfa, order);
    const std::uint16_t dupSeq = Load16(entry, kEntryDupSeq, order);
    const std::uint16_t length = Load16(entry, kEntryRecLength, order);
    const Bytes key = entry.subspan(kEntryKey, contents_.keyLength);
    const std::string who = "entry " + std::to_string(index + 1) + ": ";
    if (length == 0) FaultAt(sector, who + "recLength is 0");
    if (BeyondData(lfa, length)) FaultAt(sector, who + "record lies behind dataEnd");
    CheckOrder(sector, who, key, lfa, dupSeq);
    ++report_.entries;
    previousKey_ = key;
    previousLfa_ = lfa;
    previousDupSeq_ = dupSeq;
    if (keepEntries_) {
      const char* text = reinterpret_cast<const char*>(key.data());
      contents_.entries.push_back({lfa, dupSeq, length, std::string(text, key.size())});
    }
  }

  void CheckOrder(std::size_t sector, const std::string& who, Bytes key, std::uint32_t lfa,
                  std::uint16_t dupSeq) {
    const bool first = report_.entries == 0;
    const int order = first ? 1 : CompareKeys(key, previousKey_);
    if (order < 0) FaultAt(sector, who + "key is smaller than the one before");
    if (order == 0 && lfa <= previousLfa_) {
      FaultAt(sector, who + "duplicate does not stand in file order");
    }
    const unsigned expected = order == 0 ? (previousDupSeq_ + 1U) & 0xFFFFU : 0U;
    if (order >= 0 && dupSeq != expected) {
      FaultAt(sector, who + "dupSeq is " + std::to_string(dupSeq) + " instead of " +
                          std::to_string(expected));
    }
  }

  static int CompareKeys(Bytes a, Bytes b) {
    for (std::size_t i = 0; i < a.size(); ++i) {
      if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
    }
    return 0;
  }

  // A node is completed after everything below it.
  void CheckCompletionOrder(std::size_t sector) {
    if (sector <= lastCompleted_) FaultAt(sector, "node stands before a node completed earlier");
    lastCompleted_ = sector;
  }

  void CheckAllReached() {
    for (std::size_t sector = kFirstFreeSector; sector < uses_.size(); ++sector) {
      if (uses_[sector] == Use::kNothing) FaultAt(sector, "reached by nothing");
    }
    if (options_.builderShape) CheckListBeforeNodes();
  }

  // Deleted records are met while the data is read, before the first node is written.
  void CheckListBeforeNodes() {
    const auto firstNode = std::find(uses_.begin() + kOpenListSector, uses_.end(), Use::kNode);
    if (std::find(firstNode, uses_.end(), Use::kList) != uses_.end()) {
      Fault("a list sector stands behind a node");
    }
  }

  Bytes isi_;
  StructureOptions options_;
  bool keepEntries_;
  Report report_;
  IsiContents contents_;
  std::vector<Use> uses_;                 // by sector number
  std::vector<std::size_t> listSectors_;  // head first
  std::size_t entrySize_ = 0;
  std::size_t maxEntries_ = 0;
  Bytes previousKey_;
  std::uint32_t previousLfa_ = 0;
  std::uint16_t previousDupSeq_ = 0;
  std::size_t lastCompleted_ = 0;
};

}  // namespace

Report CheckStructure(std::span<const std::byte> isi, const StructureOptions& options,
                      IsiContents* contents) {
  return StructureCheck(isi, options, contents).Run(contents);
}

}  // namespace tavindex::test
