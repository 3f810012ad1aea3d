#include "isi/tree_reader.h"

#include <algorithm>
#include <cstring>

#include "common/file.h"

namespace tavindex {

namespace {

constexpr std::uint32_t kMaxKeyLength = kMaxKeyMapEntries;

std::uint32_t AddressIn(const TreeReader& reader, std::uint32_t byteOffset) {
  return reader.recordNumberMode ? byteOffset / kSectorSize : byteOffset;
}

// Entries of the current node.
std::uint32_t EntryCount(const TreeReader& reader) { return node::EntryCount(reader.node.data()); }

std::uint32_t LastChild(const TreeReader& reader) {
  return node::LastChild(reader.node.data(), reader.order);
}

// The entry with an index from 1.
const std::uint8_t* EntryAt(const TreeReader& reader, std::uint32_t index) {
  return reader.node.data() + std::size_t{index - 1} * reader.entrySize;
}

std::uint32_t ChildAt(const TreeReader& reader, std::uint32_t index) {
  return Load32(EntryAt(reader, index) + entry::kChild, reader.order);
}

// How many sectors of the file an address can reach, however long a file was made.
std::uint64_t MostSectors(const TreeReader& reader) {
  const std::uint64_t reached = (std::uint64_t{1} << 32) / AddressIn(reader, kSectorSize);
  return std::min(reader.sectors, reached);
}

// Marks the sector of an address; false when it was marked before.
bool MarkVisited(TreeReader& reader, std::uint32_t address) {
  const auto sector = static_cast<std::uint64_t>(SectorOffset(reader, address)) / kSectorSize;
  std::uint8_t& marks = reader.visited.Data()[sector / 8];
  const auto mark = static_cast<std::uint8_t>(1U << (sector % 8));
  const bool first = (marks & mark) == 0;
  marks |= mark;
  return first;
}

// Loads a node that the walk comes to for the first time. A node that two pointers lead to is not
// part of a tree: the walk would go round in a circle, or deliver its entries twice.
WalkStatus Visit(TreeReader& reader, std::uint32_t address) {
  if (!IsSectorAddress(reader, address) || !MarkVisited(reader, address)) {
    return WalkStatus::kUnsound;
  }
  const bool sound = ReadNode(reader, address) == 0 && EntryCount(reader) <= reader.capacity;
  return sound ? WalkStatus::kEntry : WalkStatus::kUnsound;
}

// Where the node points at the current index: an entry's child, or behind the last entry the last
// child.
std::uint32_t PointerAtIndex(const TreeReader& reader) {
  return reader.index <= EntryCount(reader) ? ChildAt(reader, reader.index) : LastChild(reader);
}

// Goes back to the parent for as long as the node just finished was its last child; stands on the
// entry whose smaller keys were finished.
WalkStatus Climb(TreeReader& reader) {
  for (;;) {
    const std::uint32_t finished = reader.nodeAddr;
    std::uint32_t parent = 0;
    if (Pop(reader, parent) != WalkStatus::kEntry) return WalkStatus::kEnd;
    if (ReadNode(reader, parent) != 0) return WalkStatus::kUnsound;
    if (reader.index > EntryCount(reader) + 1 || PointerAtIndex(reader) != finished) {
      reader.inconsistent = true;
      return WalkStatus::kUnsound;
    }
    if (reader.index <= EntryCount(reader)) return WalkStatus::kEntry;
  }
}

// Goes down to the smallest entry at or below `address`. A node without entries is passed through
// by its last child; one without that too holds nothing, and the walk goes back up.
WalkStatus Descend(TreeReader& reader, std::uint32_t address) {
  for (;;) {
    const WalkStatus visited = Visit(reader, address);
    if (visited != WalkStatus::kEntry) return visited;
    reader.index = 1;
    address = PointerAtIndex(reader);
    if (address == 0) return EntryCount(reader) == 0 ? Climb(reader) : WalkStatus::kEntry;
    const WalkStatus pushed = Push(reader, reader.nodeAddr);
    if (pushed != WalkStatus::kEntry) return pushed;
  }
}

WalkStatus DescendFromHere(TreeReader& reader, std::uint32_t address) {
  const WalkStatus pushed = Push(reader, reader.nodeAddr);
  return pushed == WalkStatus::kEntry ? Descend(reader, address) : pushed;
}

// Moves on from the current entry: to the next one of the node, or behind the last.
WalkStatus Advance(TreeReader& reader) {
  ++reader.index;
  const std::uint32_t below = PointerAtIndex(reader);
  if (below != 0) return DescendFromHere(reader, below);
  return reader.index <= EntryCount(reader) ? WalkStatus::kEntry : Climb(reader);
}

void CopyEntry(TreeReader& reader) {
  const std::uint8_t* at = EntryAt(reader, reader.index);
  reader.entry.lfa = Load32(at + entry::kLfa, reader.order);
  reader.entry.child = Load32(at + entry::kChild, reader.order);
  reader.entry.dupSeq = Load16(at + entry::kDupSeq, reader.order);
  reader.entry.recLength = Load16(at + entry::kRecLength, reader.order);
  std::memcpy(reader.entry.key.data(), at + entry::kKey, reader.header.keyLength);
}

}  // namespace

Result CheckFront(TreeReader& reader) {
  if (!HasIsiSignature(reader.front)) return kBadIsiVersion;
  reader.order = HeaderByteOrder(reader.front);
  reader.header = DecodeHeader(std::span<const std::uint8_t>(reader.front).first<kHeaderSize>());
  const IsiHeader& header = reader.header;
  const bool fixedLength = (header.fileFlags & (kVariableLength | kSpaceCompression)) == 0;
  reader.recordNumberMode = (header.addrFlags & kRecordNumbers) != 0 && fixedLength;
  reader.stride = header.recordLength + EorBytes(header.fileFlags);
  if (header.keyLength < 1 || header.keyLength > kMaxKeyLength) return kNotAnIsi;
  if (reader.recordNumberMode && header.recordLength == 0) return kNotAnIsi;
  if (header.rootNode != AddressIn(reader, kRootOffset)) return kNotAnIsi;
  reader.entrySize = entry::Size(header.keyLength);
  reader.capacity = node::kEntryBytes / reader.entrySize;
  const bool rootFits = node::EntryCount(reader.front.data() + kRootOffset) <= reader.capacity;
  return rootFits ? kOk : kNotAnIsi;
}

bool LoadFront(TreeReader& reader, int fd) {
  reader.fd = fd;
  Forget(reader.cache);
  if (ReadAt(fd, 0, reader.front) != static_cast<std::int64_t>(kFrontSize)) return false;
  const std::int64_t size = FileSize(fd);
  reader.sectors = static_cast<std::uint64_t>(std::max<std::int64_t>(size, 0)) / kSectorSize;
  return size >= 0;
}

Result ReadFront(TreeReader& reader, int fd) {
  return LoadFront(reader, fd) ? CheckFront(reader) : kNotAnIsi;
}

std::int64_t SectorOffset(const TreeReader& reader, std::uint32_t address) {
  return std::int64_t{address} * (reader.recordNumberMode ? kSectorSize : 1);
}

bool IsSectorAddress(const TreeReader& reader, std::uint32_t address) {
  const std::int64_t offset = SectorOffset(reader, address);
  return offset >= kRootOffset && offset % kSectorSize == 0 &&
         static_cast<std::uint64_t>(offset) / kSectorSize < reader.sectors;
}

std::uint32_t ReadNode(TreeReader& reader, std::uint32_t address) {
  reader.nodeAddr = address;
  for (const std::uint32_t held : {kRootOffset, kOpenListOffset}) {
    if (address != AddressIn(reader, held)) continue;
    std::copy_n(reader.front.begin() + held, kSectorSize, reader.node.begin());
    return 0;
  }
  const std::int64_t offset = SectorOffset(reader, address);
  const std::int64_t count = ReadSector(reader.cache, reader.fd, offset, reader.node);
  return kSectorSize - static_cast<std::uint32_t>(std::max<std::int64_t>(count, 0));
}

WalkStatus Push(TreeReader& reader, std::uint32_t address) {
  if (reader.pathLength == kMaxPathLength) return WalkStatus::kStackFull;
  reader.pathIndex[reader.pathLength] = reader.index;
  reader.pathStack[reader.pathLength++] = address;
  return WalkStatus::kEntry;
}

WalkStatus Pop(TreeReader& reader, std::uint32_t& address) {
  if (reader.pathLength == 0) return WalkStatus::kStackEmpty;
  address = reader.pathStack[--reader.pathLength];
  reader.index = reader.pathIndex[reader.pathLength];
  return WalkStatus::kEntry;
}

WalkStatus FirstEntry(TreeReader& reader) {
  reader.pathLength = 0;
  reader.walkStarted = false;
  reader.endReached = false;
  reader.inconsistent = false;
  if (!reader.visited.AllocateZeroed(MostSectors(reader) / 8 + 1)) return WalkStatus::kNoMarks;
  const WalkStatus status = Descend(reader, reader.header.rootNode);
  reader.endReached = status == WalkStatus::kEnd;
  return status;
}

WalkStatus NextEntry(TreeReader& reader) {
  if (reader.endReached) return WalkStatus::kEnd;
  const WalkStatus status = reader.walkStarted ? Advance(reader) : WalkStatus::kEntry;
  reader.walkStarted = true;
  reader.endReached = status == WalkStatus::kEnd;
  if (status == WalkStatus::kEntry) CopyEntry(reader);
  return status;
}

}  // namespace tavindex
