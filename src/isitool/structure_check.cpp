#include "isitool/structure_check.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <tuple>

#include "isitool/text.h"

namespace tavindex {

namespace {

constexpr std::size_t kZeroBegin = node::kEntryCount + 1;  // 501 to 505

// The end of the data, unwrapped: a last record without its mark may end past 4 GiB, where 32 bits
// wrap to 0 or 1. So few bytes hold no more than so many records.
std::uint64_t DataEnd(const IsiHeader& header) {
  const std::uint64_t records = std::uint64_t{header.recordsIndexed} + header.deletedCount;
  const bool wrapped = header.dataEnd < 2 && records > header.dataEnd;
  return header.dataEnd + (wrapped ? std::uint64_t{1} << 32 : 0);
}

}  // namespace

StructureCheck::StructureCheck(IsiFile& file, FaultList& faults, Progress& progress)
    : file_(file),
      faults_(faults),
      progress_(progress),
      table_(file.reader.sectors),
      dataEnd_(DataEnd(file.Header())) {}

void StructureCheck::Run() {
  progress_.Begin("nodes", file_.reader.sectors);
  CheckListHeader();
  WalkList(file_, table_, *this);
  WalkTree(file_, table_, *this);
  progress_.Clear();
  CheckCounts();
  CheckUnreached();
  CheckRecordsOnce();
  CheckNotDeleted();
}

void StructureCheck::OnFault(std::uint32_t sector, std::string_view what) {
  faults_.Fault(sector, what);
}

void StructureCheck::OnNode(const Node& node) {
  progress_.Step(++nodes_);
  if (node.IsRoot()) levels_ = node.level + 1;
  CheckNodeBytes(node);
  CheckLevel(node);
  CheckChildren(node);
  if (node.count > 0) return;
  const bool emptyTree = node.IsRoot() && node.level == 0;
  if (!emptyTree) faults_.Remark(node.sector, "node without entries");
}

void StructureCheck::CheckNodeBytes(const Node& node) {
  const std::uint8_t* bytes = node.bytes.data();
  if (std::any_of(bytes + kZeroBegin, bytes + node::kLevel, [](auto b) { return b != 0; })) {
    faults_.Remark(node.sector, "bytes 501 to 505 are not zero");
  }
  if (Load16(bytes + node::kLevel, file_.reader.order) > UINT8_MAX) {
    faults_.Remark(node.sector, "the level has a high byte");
  }
  if (node.sector == kOpenListSector) {
    faults_.Remark(node.sector, "a node stands in the place of the last list sector");
  }
}

void StructureCheck::CheckLevel(const Node& node) {
  if (node.level >= kTreeLevels) {
    faults_.Remark(node.sector, Format("level %u, above 15", node.level));
  }
  if (node.IsRoot()) return;
  if (node.level >= node.parentLevel) {
    faults_.Fault(node.sector,
                  Format("level %u, below a node of level %u", node.level, node.parentLevel));
  } else if (node.level + 1 != node.parentLevel && !node.onEdge) {
    faults_.Remark(node.sector, Format("level %u, directly below a node of level %u", node.level,
                                       node.parentLevel));
  }
}

// A build leaves no entry above the leaves without its child; what hangs behind the last entry of a
// node on the edge may be missing.
void StructureCheck::CheckChildren(const Node& node) {
  if (node.level == 0) return;
  for (std::uint32_t index = 1; index <= node.count; ++index) {
    if (EntryOf(file_, node.bytes.data(), index).child != 0) continue;
    faults_.Remark(node.sector, Format("entry %u has no child", index));
  }
  if (node.onEdge || node::LastChild(node.bytes.data(), file_.reader.order) != 0) return;
  faults_.Remark(node.sector, "no last child");
}

bool StructureCheck::OnEntry(const Node& node, std::uint32_t index) {
  const EntryView entry = EntryOf(file_, node.bytes.data(), index);
  CheckPlace(node, index, entry);
  CheckOrder(node, index, entry);
  entries_.push_back({entry.lfa, node.sector, static_cast<std::uint8_t>(index)});
  std::memcpy(lastKey_.data(), entry.key.data(), entry.key.size());
  lastLfa_ = entry.lfa;
  lastDupSeq_ = entry.dupSeq;
  return true;
}

void StructureCheck::CheckPlace(const Node& node, std::uint32_t index, const EntryView& entry) {
  if (entry.recLength == 0) {
    faults_.Fault(node.sector, Format("entry %u: the record's length is 0", index));
  }
  if (!BeyondData(entry.lfa, entry.recLength)) return;
  faults_.Fault(node.sector,
                Format("entry %u: the record at %u does not lie before the end of the data", index,
                       entry.lfa));
}

bool StructureCheck::BeyondData(std::uint32_t lfa, std::uint32_t length) const {
  const IsiHeader& header = file_.Header();
  if (!file_.reader.recordNumberMode) return std::uint64_t{lfa} + length > dataEnd_;
  // A short last record has a number, but is no whole one that the data's end would count.
  const bool irregular = (header.fileFlags & kIrregularRecords) != 0;
  return lfa >= header.dataEnd && !(irregular && lfa == header.dataEnd);
}

void StructureCheck::CheckOrder(const Node& node, std::uint32_t index, const EntryView& entry) {
  const bool first = entries_.empty();
  const int order = first ? 1 : std::memcmp(entry.key.data(), lastKey_.data(), entry.key.size());
  if (order < 0) {
    faults_.Fault(node.sector, Format("entry %u: its key is lower than the one before it", index));
  } else if (order == 0) {
    CheckDuplicate(node.sector, index, entry);
  } else if (entry.dupSeq != 0) {
    faults_.Remark(node.sector,
                   Format("entry %u: the first of its key has dupSeq %u", index, entry.dupSeq));
  }
}

// The numbers of a key's records ascend; behind 65535 they begin at 0 again.
void StructureCheck::CheckDuplicate(std::uint32_t sector, std::uint32_t index,
                                    const EntryView& entry) {
  const auto expected = static_cast<std::uint16_t>(lastDupSeq_ + 1);
  if (entry.dupSeq < expected || (expected == 0 && entry.dupSeq != 0)) {
    faults_.Fault(sector,
                  Format("entry %u: dupSeq %u follows %u", index, entry.dupSeq, lastDupSeq_));
  } else if (entry.dupSeq != expected) {
    faults_.Remark(sector,
                   Format("entry %u: dupSeq %u follows %u", index, entry.dupSeq, lastDupSeq_));
  }
  if (entry.lfa > lastLfa_) return;
  faults_.Remark(sector, Format("entry %u: not in the order of the records of its key", index));
}

void StructureCheck::CheckListHeader() {
  const IsiHeader& header = file_.Header();
  const bool hasList = header.deletedListHead != kNoAddress;
  if (hasList != (header.deletedCount != 0)) {
    faults_.Fault(kHeaderSector, Format("%s, but %s deleted-record list",
                                        Count(header.deletedCount, "deleted record").c_str(),
                                        hasList ? "there is a" : "there is no"));
  }
  if (hasList && (header.fileFlags & (kVariableLength | kSpaceCompression)) != 0) {
    faults_.Remark(kHeaderSector, "a deleted-record list, but records of variable length");
  }
}

void StructureCheck::OnListSector(const ListSector& list) {
  ++listSectors_;
  const std::uint8_t* bytes = list.bytes.data();
  if (std::memcmp(bytes + list_sector::kMark, list_sector::kMarkBytes, 2) != 0) {
    faults_.Fault(list.sector, "the marks of a list sector are missing");
  }
  const std::uint32_t count = Load16(bytes + list_sector::kListCount, file_.reader.order);
  if (count > list.count) {
    faults_.Fault(list.sector,
                  Format("%u addresses, more than the %u that fit", count, list.count));
  }
  bool ordered = true;
  for (std::uint32_t i = list.count; i-- > 0;) {
    const std::uint32_t address = Load32(bytes + std::size_t{i} * 4, file_.reader.order);
    if (BeyondData(address, 1)) {
      faults_.Fault(list.sector, Format("the deleted record at %u does not lie before the end of "
                                        "the data",
                                        address));
    }
    ordered = ordered && address < nextDeleted_;
    nextDeleted_ = address;
    deleted_.push_back(address);
  }
  if (!ordered) faults_.Remark(list.sector, "not in the order of the data file");
}

// Duplicates that a build left out were indexed all the same, and only one that allows none leaves
// any out.
void StructureCheck::CheckCounts() {
  const IsiHeader& header = file_.Header();
  if (deleted_.size() != header.deletedCount) {
    faults_.Fault(kHeaderSector,
                  Format("%s, the list holds %zu",
                         Count(header.deletedCount, "deleted record").c_str(), deleted_.size()));
  }
  const bool mayDrop = (header.fileFlags & kNoDuplicates) != 0;
  const std::uint64_t indexed = header.recordsIndexed;
  if (entries_.size() == indexed || (entries_.size() < indexed && mayDrop)) return;
  faults_.Fault(kHeaderSector, Format("%s indexed, the tree holds %zu",
                                      Count(indexed, "record").c_str(), entries_.size()));
}

void StructureCheck::CheckUnreached() {
  const std::uint64_t end = table_.Sectors();
  for (std::uint64_t from = kFirstFreeSector; from < end;) {
    const std::uint64_t to = table_.NextReached(from);
    if (to > from) {
      const std::uint64_t more = to - from - 1;
      faults_.Remark(
          from, more == 0 ? std::string("nothing refers to it")
                          : "nothing refers to it and the " + Count(more, "sector") + " behind it");
    }
    from = to + 1;
  }
}

void StructureCheck::CheckRecordsOnce() {
  std::ranges::sort(entries_, {}, [](const EntryPlace& place) {
    return std::tuple(place.lfa, place.sector, place.index);
  });
  for (std::size_t i = 1; i < entries_.size(); ++i) {
    if (entries_[i].lfa != entries_[i - 1].lfa) continue;
    faults_.Fault(entries_[i].sector,
                  Format("entry %u: the record at %u is indexed in sector %u too",
                         entries_[i].index, entries_[i].lfa, entries_[i - 1].sector));
  }
}

void StructureCheck::CheckNotDeleted() {
  std::ranges::sort(deleted_);
  auto at = deleted_.begin();
  for (const EntryPlace& place : entries_) {
    at = std::lower_bound(at, deleted_.end(), place.lfa);
    if (at == deleted_.end()) return;
    if (*at != place.lfa) continue;
    faults_.Fault(place.sector, Format("entry %u: the record at %u is in the list of deleted ones",
                                       place.index, place.lfa));
  }
}

}  // namespace tavindex
