#include "isitool/walk.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "isitool/text.h"

namespace tavindex {

namespace {

constexpr std::uint32_t kMaxDepth = kMaxPathLength + 1;

// Why no sector can be had at an address; empty when one can.
std::string AddressFault(const IsiFile& file, const SectorTable& table, std::uint32_t address) {
  if (!IsSectorAddress(file.reader, address)) {
    const bool border = SectorOffset(file.reader, address) % kSectorSize == 0;
    return Format("address %u is %s", address,
                  border ? "not one of a node or list sector in the file" : "on no sector border");
  }
  const std::uint32_t sector = SectorOf(file, address);
  const SectorKind kind = table.At(sector).kind;
  if (kind == SectorKind::kUnreached) return {};
  return Format("leads to sector %u, which is reached as a %s already", sector,
                kind == SectorKind::kList ? "list sector" : "node");
}

// The number of the first entry that is not below `key`; count + 1 when all are.
std::uint32_t FirstNotBelow(const IsiFile& file, const Node& node,
                            std::span<const std::uint8_t> key) {
  for (std::uint32_t index = 1; !key.empty() && index <= node.count; ++index) {
    const EntryView entry = EntryOf(file, node.bytes.data(), index);
    if (std::memcmp(entry.key.data(), key.data(), key.size()) >= 0) return index;
  }
  return key.empty() ? 1 : node.count + 1;
}

// What a node points to before an entry, or behind the last one.
std::uint32_t PointerAt(const IsiFile& file, const Node& node, std::uint32_t index) {
  if (index <= node.count) return EntryOf(file, node.bytes.data(), index).child;
  return node::LastChild(node.bytes.data(), file.reader.order);
}

bool ReadNodeAt(IsiFile& file, std::uint32_t address, Node& node) {
  if (ReadNode(file.reader, address) != 0) return false;
  node.bytes = file.reader.node;
  node.sector = SectorOf(file, address);
  node.level = LevelOf(file, node.bytes.data());
  node.count = std::min(node::EntryCount(node.bytes.data()), file.reader.capacity);
  return true;
}

// A node on the way, and where it was left.
struct Step {
  Node node;
  std::uint32_t index = 1;  // of the next entry
  bool entered = false;     // what stands before that entry was walked
};

class TreeWalk {
 public:
  TreeWalk(IsiFile& file, SectorTable& table, WalkVisitor& visitor,
           std::span<const std::uint8_t> from)
      : file_(file), table_(table), visitor_(visitor), from_(from) {}

  void Run() {
    way_.reserve(kMaxDepth);
    Enter(file_.Header().rootNode, nullptr);
    while (!way_.empty()) {
      if (!Move(way_.back())) return;
    }
  }

 private:
  // Goes on from a step; false when the visitor has seen enough.
  bool Move(Step& step) {
    if (!step.entered) {
      step.entered = true;
      GoBelow(step);
      return true;
    }
    if (step.index > step.node.count) {
      way_.pop_back();
      return true;
    }
    const std::uint32_t index = step.index++;
    step.entered = false;
    return visitor_.OnEntry(step.node, index);
  }

  void GoBelow(const Step& step) {
    const std::uint32_t child = PointerAt(file_, step.node, step.index);
    if (child == 0) return;
    const std::string fault = AddressFault(file_, table_, child);
    if (!fault.empty()) return PointerFault(step, fault);
    if (way_.size() == kMaxDepth) return PointerFault(step, "leads deeper than 48 nodes");
    Enter(child, &step);
  }

  void PointerFault(const Step& step, const std::string& what) {
    const std::string who = step.index > step.node.count ? std::string("last child")
                                                         : Format("child of entry %u", step.index);
    visitor_.OnFault(step.node.sector, who + ": " + what);
  }

  void Enter(std::uint32_t address, const Step* parent) {
    Step step;
    Node& node = step.node;
    if (!ReadNodeAt(file_, address, node)) {
      return visitor_.OnFault(SectorOf(file_, address), "cannot be read");
    }
    node.onEdge = parent == nullptr || (parent->node.onEdge && parent->index > parent->node.count);
    if (parent != nullptr) node.parentLevel = parent->node.level;
    table_.Set(node.sector, {SectorKind::kNode, static_cast<std::uint8_t>(node.level),
                             static_cast<std::uint8_t>(node.count)});
    step.index = FirstNotBelow(file_, node, from_);
    if (node::EntryCount(node.bytes.data()) > node.count) CountFault(node);
    visitor_.OnNode(node);
    way_.push_back(step);
  }

  void CountFault(const Node& node) {
    visitor_.OnFault(node.sector, Format("entry count is %u, more than the %u that fit",
                                         node::EntryCount(node.bytes.data()), node.count));
  }

  IsiFile& file_;
  SectorTable& table_;
  WalkVisitor& visitor_;
  std::span<const std::uint8_t> from_;
  std::vector<Step> way_;
};

bool ReadListSector(IsiFile& file, std::uint32_t address, ListSector& list) {
  if (ReadNode(file.reader, address) != 0) return false;
  list.bytes = file.reader.node;
  list.sector = SectorOf(file, address);
  const std::uint32_t count =
      Load16(list.bytes.data() + list_sector::kListCount, file.reader.order);
  list.count = std::min(count, kListCapacity);
  return true;
}

}  // namespace

void WalkList(IsiFile& file, SectorTable& table, WalkVisitor& visitor) {
  std::uint32_t from = kHeaderSector;
  std::uint32_t address = file.Header().deletedListHead;
  while (address != kNoAddress) {
    const char* who = from == kHeaderSector ? "deleted-record list" : "next list sector";
    std::string fault = AddressFault(file, table, address);
    if (fault.empty() && SectorOf(file, address) == kRootSector) fault = "leads to the root";
    if (!fault.empty()) return visitor.OnFault(from, std::string(who) + ": " + fault);
    ListSector list;
    if (!ReadListSector(file, address, list)) {
      return visitor.OnFault(SectorOf(file, address), "cannot be read");
    }
    table.Set(list.sector, {SectorKind::kList, 0, static_cast<std::uint8_t>(list.count)});
    visitor.OnListSector(list);
    from = list.sector;
    address = Load32(list.bytes.data() + list_sector::kPrevListSector, file.reader.order);
  }
}

void WalkTree(IsiFile& file, SectorTable& table, WalkVisitor& visitor,
              std::span<const std::uint8_t> from) {
  TreeWalk(file, table, visitor, from).Run();
}

std::optional<std::uint32_t> FirstRecordOf(IsiFile& file, std::span<const std::uint8_t> key) {
  std::optional<std::uint32_t> found;
  std::uint32_t address = file.Header().rootNode;
  for (std::uint32_t depth = 0; depth < kMaxDepth && address != 0; ++depth) {
    Node node;
    if (!IsSectorAddress(file.reader, address) || !ReadNodeAt(file, address, node)) break;
    const std::uint32_t index = FirstNotBelow(file, node, key);
    if (index <= node.count) {
      const EntryView entry = EntryOf(file, node.bytes.data(), index);
      if (std::ranges::equal(entry.key, key)) found = entry.lfa;
    }
    address = PointerAt(file, node, index);
  }
  return found;
}

}  // namespace tavindex
