#include "tree_maker.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <random>
#include <utility>

namespace tavindex::test {
namespace {

using namespace layout;

constexpr unsigned kDeepest = 49;  // a walk keeps 48 ancestors
constexpr int kNothing = -1;

struct LogicalNode {
  std::vector<std::size_t> entries;  // numbers of entries in tree order
  std::vector<int> children;         // beside each entry; kNothing for none
  int lastChild = kNothing;
  unsigned level = 0;
  std::size_t sector = 0;
};

unsigned MarkBytes(std::uint8_t flags) {
  if ((flags & kFlagTwoByteMark) != 0) return 2;
  return flags > 63 ? 1 : 0;
}

// The tree as nodes and entry numbers, before any byte is laid.
class Shaper {
 public:
  Shaper(const TreePlan& plan, std::mt19937& random)
      : plan_(plan), random_(random), capacity_(NodeCapacity(plan.keyLength)) {
    most_ = plan.entriesPerNode == 0 ? capacity_ : plan.entriesPerNode;
  }

  // Node 0 is the root.
  std::vector<LogicalNode> Run() {
    Grow(0, plan_.entries, 1);
    SetLevels(0);
    return std::move(nodes_);
  }
  unsigned Depth() const { return depth_; }

 private:
  std::size_t Below(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_);
  }

  // A node over the entries [low, high); gives its number.
  int Grow(std::size_t low, std::size_t high, unsigned depth) {
    depth_ = std::max(depth_, depth);
    const int number = static_cast<int>(nodes_.size());
    nodes_.emplace_back();
    if (plan_.shape == Shape::kEmptyNodes && depth < 20 && Below(3) == 0) {
      const int below = high > low ? Grow(low, high, depth + 1) : kNothing;
      nodes_[static_cast<std::size_t>(number)].lastChild = below;
      return number;
    }
    FillNode(number, Separators(low, high, depth), low, high, depth);
    return number;
  }

  // Which entries of the range stand in the node itself.
  std::vector<std::size_t> Separators(std::size_t low, std::size_t high, unsigned depth) {
    const std::size_t count = high - low;
    if (plan_.shape == Shape::kRightSkew) return Range(low, SkewShare(count, depth));
    if (plan_.shape == Shape::kLeftSkew) {
      const std::size_t share = SkewShare(count, depth);
      return Range(high - share, share);
    }
    const bool random = plan_.shape != Shape::kBalanced && depth < 20;
    if (random && count > 1) return Some(low, high);
    return Evenly(low, high);
  }

  static std::vector<std::size_t> Range(std::size_t first, std::size_t count) {
    std::vector<std::size_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), first);
    return numbers;
  }

  // As few as possible, so that the levels last until the end.
  std::size_t SkewShare(std::size_t count, unsigned depth) const {
    if (depth == kDeepest || count == 0) return count;
    const std::size_t levels = kDeepest - depth;
    const std::size_t rest = count > capacity_ ? count - capacity_ : 0;
    return std::max<std::size_t>(1, (rest + levels - 1) / levels);
  }

  std::vector<std::size_t> Some(std::size_t low, std::size_t high) {
    std::vector<std::size_t> all = Range(low, high - low);
    std::shuffle(all.begin(), all.end(), random_);
    all.resize(1 + Below(std::min(all.size(), capacity_)));
    std::sort(all.begin(), all.end());
    return all;
  }

  std::vector<std::size_t> Evenly(std::size_t low, std::size_t high) const {
    const std::size_t count = high - low;
    if (count <= most_) return Range(low, count);
    std::size_t below = most_;  // what a child of full nodes can hold
    while ((most_ + 1) * below + most_ < count) below = (most_ + 1) * below + most_;
    const std::size_t used = count / (below + 1);
    std::vector<std::size_t> numbers;
    for (std::size_t i = 1; i <= used; ++i) numbers.push_back(low + i * count / (used + 1));
    return numbers;
  }

  void FillNode(int number, const std::vector<std::size_t>& entries, std::size_t low,
                std::size_t high, unsigned depth) {
    std::vector<int> children;
    std::size_t from = low;
    for (const std::size_t entry : entries) {
      children.push_back(Child(from, entry, depth));
      from = entry + 1;
    }
    const int last = Child(from, high, depth);
    LogicalNode& node = nodes_[static_cast<std::size_t>(number)];
    node.entries = entries;
    node.children = std::move(children);
    node.lastChild = last;
  }

  int Child(std::size_t low, std::size_t high, unsigned depth) {
    const bool emptyLeaf = plan_.shape == Shape::kEmptyNodes && depth < 6 && Below(8) == 0;
    return high > low || emptyLeaf ? Grow(low, high, depth + 1) : kNothing;
  }

  unsigned SetLevels(std::size_t number) {
    unsigned level = 0;
    std::vector<int> below = nodes_[number].children;
    below.push_back(nodes_[number].lastChild);
    for (const int child : below) {
      if (child != kNothing)
        level = std::max(level, SetLevels(static_cast<std::size_t>(child)) + 1);
    }
    return nodes_[number].level = level;
  }

  const TreePlan& plan_;
  std::mt19937& random_;
  std::size_t capacity_;
  std::size_t most_ = 0;
  std::vector<LogicalNode> nodes_;
  unsigned depth_ = 0;
};

class Maker {
 public:
  explicit Maker(const TreePlan& plan) : random_(plan.seed) {
    tree_.plan = plan;
    recordLength_ = std::max(plan.keyLength, 10U);
    stride_ = recordLength_ + MarkBytes(plan.fileFlags);
    numbered_ = plan.recordNumbers && (plan.fileFlags & (kFlagVariable | kFlagCompressed)) == 0;
  }

  MadeTree Run() {
    DrawEntries();
    Shaper shaper(tree_.plan, random_);
    nodes_ = shaper.Run();
    tree_.depth = shaper.Depth();
    AssignSectors();
    WriteHeader();
    for (const LogicalNode& node : nodes_) WriteNode(node);
    WriteList();
    return std::move(tree_);
  }

 private:
  std::uint32_t RecordAddress(std::size_t record) const {
    return static_cast<std::uint32_t>(numbered_ ? record : record * stride_);
  }
  std::uint32_t SectorAddress(std::size_t sector) const {
    return static_cast<std::uint32_t>(numbered_ ? sector : sector * kSectorSize);
  }

  // Few different bytes, so that there are duplicates; the two ends of the byte range among them.
  std::string DrawKey() {
    static constexpr char kBytes[] = {'\0', '0', 'A', 'a', '\x7F', '\x80', '\xFE', '\xFF'};
    std::string key(tree_.plan.keyLength, '\0');
    for (char& c : key) c = kBytes[random_() % sizeof kBytes];
    return key;
  }

  void DrawEntries() {
    const std::size_t records = tree_.plan.entries + tree_.plan.deleted;
    std::vector<std::uint32_t> places(records);
    for (std::size_t i = 0; i < records; ++i) places[i] = RecordAddress(i);
    std::shuffle(places.begin(), places.end(), random_);
    tree_.deleted.assign(places.begin() + static_cast<std::ptrdiff_t>(tree_.plan.entries),
                         places.end());
    std::sort(tree_.deleted.begin(), tree_.deleted.end());
    for (std::size_t i = 0; i < tree_.plan.entries; ++i) {
      // In record-number mode the length says nothing about the position.
      const auto length = static_cast<std::uint16_t>(stride_ - random_() % 3);
      tree_.walk.push_back({places[i], 0, length, DrawKey()});
    }
    NumberDuplicates();
  }

  // In the old tree duplicates stand in the order in which they came, with gaps in their numbers.
  void NumberDuplicates() {
    std::vector<ModelEntry>& walk = tree_.walk;
    std::stable_sort(walk.begin(), walk.end(),
                     [](const ModelEntry& a, const ModelEntry& b) { return a.key < b.key; });
    for (std::size_t i = 1; i < walk.size(); ++i) {
      if (walk[i].key == walk[i - 1].key) {
        walk[i].dupSeq = static_cast<std::uint16_t>(walk[i - 1].dupSeq + 1 + i % 3);
      }
    }
    tree_.compacted = walk;
    std::vector<ModelEntry>& sorted = tree_.compacted;
    std::sort(sorted.begin(), sorted.end(), [](const ModelEntry& a, const ModelEntry& b) {
      return std::pair(a.key, a.lfa) < std::pair(b.key, b.lfa);
    });
    for (std::size_t i = 0; i < sorted.size(); ++i) {
      const bool repeated = i > 0 && sorted[i].key == sorted[i - 1].key;
      sorted[i].dupSeq = static_cast<std::uint16_t>(repeated ? sorted[i - 1].dupSeq + 1 : 0);
    }
  }

  // Root at 2; everything else in any order, freed sectors between.
  void AssignSectors() {
    const std::size_t lists = (tree_.deleted.size() + kListCapacity - 1) / kListCapacity;
    const std::size_t count = nodes_.size() - 1 + lists + tree_.plan.freedSectors;
    std::vector<std::size_t> places(count);
    std::iota(places.begin(), places.end(), kFirstFreeSector);
    std::shuffle(places.begin(), places.end(), random_);
    tree_.image.assign((kFirstFreeSector + count) * kSectorSize, std::byte{0});
    Litter();
    nodes_[0].sector = kRootSector;
    for (std::size_t i = 1; i < nodes_.size(); ++i) nodes_[i].sector = Take(places);
    for (std::size_t i = 0; i < lists; ++i) tree_.listSectors.push_back(Take(places));
    if (lists > 0 && tree_.plan.headAt1536) {
      tree_.listSectors[0] = kOpenListSector;
    } else if (!tree_.plan.headAt1536 && nodes_.size() > 1) {
      nodes_[1].sector = kOpenListSector;
    }
  }

  static std::size_t Take(std::vector<std::size_t>& places) {
    const std::size_t place = places.back();
    places.pop_back();
    return place;
  }

  // Every sector looks like a leaf with entries: nothing in it may be taken for one.
  void Litter() {
    for (std::size_t at = kHeaderSize; at < tree_.image.size(); ++at) {
      Store8(tree_.image, at, static_cast<unsigned>(random_()));
    }
    for (std::size_t at = kHeaderSize; at < tree_.image.size(); at += kSectorSize) {
      Store8(tree_.image, at + kEntryCount, 1);
      Store32(tree_.image, at + kLastChild, 0, tree_.plan.order);
    }
  }

  MutableBytes Sector(std::size_t sector) {
    return MutableBytes(tree_.image).subspan(sector * kSectorSize, kSectorSize);
  }

  std::uint32_t AddressOf(int node) const {
    return node == kNothing ? 0 : SectorAddress(nodes_[static_cast<std::size_t>(node)].sector);
  }

  void WriteNode(const LogicalNode& node) {
    const MutableBytes out = Sector(node.sector);
    const ByteOrder order = tree_.plan.order;
    for (std::size_t i = 0; i < node.entries.size(); ++i) {
      const ModelEntry& entry = tree_.walk[node.entries[i]];
      const std::size_t at = i * EntrySize(tree_.plan.keyLength);
      Store32(out, at + kEntryLfa, entry.lfa, order);
      Store32(out, at + kEntryChild, AddressOf(node.children[i]), order);
      Store16(out, at + kEntryDupSeq, entry.dupSeq, order);
      Store16(out, at + kEntryRecLength, entry.recLength, order);
      PutText(out, at + kEntryKey, entry.key);
    }
    Store8(out, kEntryCount, static_cast<unsigned>(node.entries.size()));
    for (std::size_t at = kZeroAfterCount; at < kLevel; ++at) Store8(out, at, 0);
    Store16(out, kLevel, node.level, order);
    Store32(out, kLastChild, AddressOf(node.lastChild), order);
  }

  static void PutText(MutableBytes out, std::size_t at, const std::string& text) {
    for (const char c : text) Store8(out, at++, static_cast<std::uint8_t>(c));
  }

  // The newest sector, partly filled, is the head; the others behind it are full.
  void WriteList() {
    std::size_t end = tree_.deleted.size();
    for (std::size_t i = 0; i < tree_.listSectors.size(); ++i) {
      const std::size_t part = end % kListCapacity;
      const std::size_t count = i == 0 && part != 0 ? part : kListCapacity;
      const MutableBytes out = Sector(tree_.listSectors[i]);
      for (std::size_t n = 0; n < count; ++n) {
        Store32(out, n * 4, tree_.deleted[end - count + n], tree_.plan.order);
      }
      end -= count;
      const bool oldest = i + 1 == tree_.listSectors.size();
      Store32(out, kPrevListSector, oldest ? kNoAddress : SectorAddress(tree_.listSectors[i + 1]),
              tree_.plan.order);
      Store16(out, kListCount, static_cast<unsigned>(count), tree_.plan.order);
      Store8(out, kListMarks, kListMark1);
      Store8(out, kListMarks + 1, kListMark2);
    }
  }

  void WriteHeader() {
    const TreePlan& plan = tree_.plan;
    const MutableBytes out = MutableBytes(tree_.image).first(kHeaderSize);
    const ByteOrder order = plan.order;
    const bool little = order == ByteOrder::kLittle;
    const std::size_t records = plan.entries + plan.deleted;
    PutText(out, kSignature, "KISI");
    Store8(out, kVersion, little ? kVersionLow : kVersionHigh);
    Store8(out, kVersionCheck, little ? kVersionHigh : kVersionLow);
    Store8(out, kFileFlags, plan.fileFlags);
    Store8(out, kAddrFlags, plan.recordNumbers ? kAddrRecordNumbers : 0);
    Store16(out, kRecordLength, recordLength_, order);
    Store16(out, kKeyLength, plan.keyLength, order);
    Store32(out, kDataEnd, RecordAddress(records), order);
    Store32(out, kDeletedListHead,
            tree_.listSectors.empty() ? kNoAddress : SectorAddress(tree_.listSectors[0]), order);
    Store32(out, kRootNode, SectorAddress(kRootSector), order);
    Store32(out, kReserved24, kNoAddress, order);
    Store32(out, kSpinCounter, plan.spinCounter, order);
    Store32(out, kRecordsIndexed, static_cast<std::uint32_t>(plan.entries), order);
    Store32(out, kDeletedCount, static_cast<std::uint32_t>(plan.deleted), order);
    Store16(out, kKeyTable + 2, plan.keyLength, order);
    PutText(out, kDataFileName, plan.dataFileName);
    PutText(out, kCommandLine, plan.commandLine);
  }

  std::mt19937 random_;
  MadeTree tree_;
  std::vector<LogicalNode> nodes_;
  unsigned recordLength_;
  unsigned stride_;
  bool numbered_;
};

bool DropsList(std::uint8_t flags) {
  return (flags & (kFlagVariable | kFlagCompressed | kFlagIrregular)) != 0;
}

class PlainReader {
 public:
  explicit PlainReader(Bytes image) : image_(image) {}

  std::optional<std::vector<ModelEntry>> Run() {
    if (image_.size() < kSmallestFile) return std::nullopt;
    const bool little = Load8(image_, kVersion) != kVersionHigh;
    order_ = little ? ByteOrder::kLittle : ByteOrder::kBig;
    const std::uint8_t flags = Load8(image_, kFileFlags);
    numbered_ = (Load8(image_, kAddrFlags) & kAddrRecordNumbers) != 0 &&
                (flags & (kFlagVariable | kFlagCompressed)) == 0;
    keyLength_ = Load16(image_, kKeyLength, order_);
    if (keyLength_ < 1 || keyLength_ > kMaxKeyLength) return std::nullopt;
    if (!Visit(Load32(image_, kRootNode, order_), 0)) return std::nullopt;
    return std::move(entries_);
  }

 private:
  bool Visit(std::uint32_t address, unsigned depth) {
    const std::uint64_t at = numbered_ ? std::uint64_t{address} * kSectorSize : address;
    if (at % kSectorSize != 0 || at + kSectorSize > image_.size() || depth > 60) return false;
    if (++visits_ > image_.size() / kSectorSize) return false;
    const Bytes node = image_.subspan(at, kSectorSize);
    const std::size_t count = Load8(node, kEntryCount);
    if (count > NodeCapacity(keyLength_)) return false;
    for (std::size_t i = 0; i < count; ++i) {
      const Bytes entry = node.subspan(i * EntrySize(keyLength_), EntrySize(keyLength_));
      if (!VisitUnlessZero(Load32(entry, kEntryChild, order_), depth)) return false;
      Take(entry);
    }
    return VisitUnlessZero(Load32(node, kLastChild, order_), depth);
  }

  bool VisitUnlessZero(std::uint32_t address, unsigned depth) {
    return address == 0 || Visit(address, depth + 1);
  }

  void Take(Bytes entry) {
    const char* key = reinterpret_cast<const char*>(entry.data() + kEntryKey);
    entries_.push_back({Load32(entry, kEntryLfa, order_), Load16(entry, kEntryDupSeq, order_),
                        Load16(entry, kEntryRecLength, order_), std::string(key, keyLength_)});
  }

  Bytes image_;
  ByteOrder order_ = ByteOrder::kLittle;
  bool numbered_ = false;
  unsigned keyLength_ = 0;
  std::uint64_t visits_ = 0;
  std::vector<ModelEntry> entries_;
};

// The list part from 1536 on: the chain in its order, or one sector that no reader looks at.
void PlaceList(const MadeTree& tree, bool numbered, std::vector<std::byte>& out) {
  const auto at = [](std::size_t sector) {
    return static_cast<std::ptrdiff_t>(sector * kSectorSize);
  };
  if (DropsList(tree.plan.fileFlags) && !tree.listSectors.empty()) {
    std::fill(out.begin() + at(kOpenListSector), out.begin() + at(kFirstFreeSector), std::byte{0});
    return;
  }
  std::vector<std::size_t> sources = tree.listSectors;
  if (sources.empty()) sources.push_back(kOpenListSector);
  for (std::size_t i = 0; i < sources.size(); ++i) {
    const std::size_t target = kOpenListSector + i;
    std::copy_n(tree.image.begin() + at(sources[i]), kSectorSize, out.begin() + at(target));
    if (tree.listSectors.empty()) return;
    const auto next =
        static_cast<std::uint32_t>(numbered ? target + 1 : (target + 1) * kSectorSize);
    Store32(out, target * kSectorSize + kPrevListSector,
            i + 1 == sources.size() ? kNoAddress : next, tree.plan.order);
  }
}

void AddVariants(std::vector<TreePlan>& plans, const TreePlan& base) {
  for (const ByteOrder order : {ByteOrder::kLittle, ByteOrder::kBig}) {
    for (const bool numbers : {false, true}) {
      TreePlan plan = base;
      plan.order = order;
      plan.recordNumbers = numbers;
      plan.seed = static_cast<unsigned>(plans.size() + 1);
      plan.name += order == ByteOrder::kBig ? "_Big" : "_Little";
      plan.name += numbers ? "_Numbers" : "_Offsets";
      plans.push_back(plan);
    }
  }
}

}  // namespace

MadeTree MakeTree(const TreePlan& plan) { return Maker(plan).Run(); }

std::vector<TreePlan> AllPlans() {
  const std::vector<TreePlan> bases = {
      {.name = "NoEntries", .deleted = 3},
      {.name = "OneEntry", .keyLength = 1, .entries = 1},
      {.name = "OneLeaf", .entries = 31, .deleted = 126},
      {.name = "Full", .entries = 700, .deleted = 127},
      {.name = "HalfEmpty",
       .entries = 900,
       .entriesPerNode = 15,
       .deleted = 400,
       .freedSectors = 20,
       .spinCounter = 1},
      {.name = "OnePerNode", .keyLength = 150, .entries = 127, .entriesPerNode = 1},
      {.name = "Uneven",
       .shape = Shape::kUneven,
       .keyLength = 7,
       .entries = 1500,
       .deleted = 253,
       .freedSectors = 9,
       .headAt1536 = false,
       .spinCounter = 77},
      {.name = "UnevenWithoutList",
       .shape = Shape::kUneven,
       .keyLength = 2,
       .entries = 800,
       .freedSectors = 5,
       .headAt1536 = false,
       .fileFlags = 0xC0},
      {.name = "RightSkew", .shape = Shape::kRightSkew, .entries = 79, .deleted = 1},
      {.name = "LeftSkew", .shape = Shape::kLeftSkew, .keyLength = 20, .entries = 63},
      {.name = "EmptyNodes",
       .shape = Shape::kEmptyNodes,
       .entries = 600,
       .deleted = 252,
       .freedSectors = 3},
      {.name = "Irregular",
       .shape = Shape::kUneven,
       .entries = 300,
       .deleted = 130,
       .fileFlags = 0xA0},
      {.name = "IrregularWithoutList", .entries = 40, .fileFlags = 0xA0},
      {.name = "Variable", .entries = 100, .deleted = 2, .fileFlags = 0xA2},
      {.name = "Compressed", .entries = 100, .fileFlags = 0xAA},
      {.name = "Binary", .entries = 100, .deleted = 5, .fileFlags = 0x10},
  };
  std::vector<TreePlan> plans;
  for (const TreePlan& base : bases) AddVariants(plans, base);
  return plans;
}

std::vector<std::byte> ExpectedCompaction(const MadeTree& tree, const std::string& commandLine) {
  const TreePlan& plan = tree.plan;
  const bool kept = !DropsList(plan.fileFlags);
  const bool numbered =
      plan.recordNumbers && (plan.fileFlags & (kFlagVariable | kFlagCompressed)) == 0;
  IndexModel model;
  model.entries = tree.compacted;
  if (kept) model.deleted = tree.deleted;
  model.keyLength = plan.keyLength;
  model.recordLength = Load16(tree.image, kRecordLength, plan.order);
  model.stride = model.recordLength + MarkBytes(plan.fileFlags);
  model.recordNumbers = numbered;
  model.dataEnd = Load32(tree.image, kDataEnd, plan.order);
  model.recordsIndexed = plan.entries;
  model.fileFlags = plan.fileFlags;
  BuildRequest request;
  request.keys = {{1, plan.keyLength}};
  const HeaderRequest header = {plan.dataFileName, commandLine, 0, plan.order};
  std::vector<std::byte> out = ExpectedIsi(model, request, header);
  PlaceList(tree, numbered, out);
  Store8(out, kAddrFlags, Load8(tree.image, kAddrFlags));
  Store32(out, kSpinCounter, plan.spinCounter == 0 ? 1 : 0, plan.order);
  return out;
}

std::optional<std::vector<ModelEntry>> PlainWalk(std::span<const std::byte> image) {
  return PlainReader(image).Run();
}

std::string TextOf(const std::vector<std::byte>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::vector<std::byte> BytesOf(const std::string& text) {
  const auto* first = reinterpret_cast<const std::byte*>(text.data());
  return {first, first + text.size()};
}

}  // namespace tavindex::test
