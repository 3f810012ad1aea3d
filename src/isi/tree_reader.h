// Reading an existing ISI: its front (header, root, the list sector at 1536), its nodes, and the
// walk over the tree in key order. Nothing in the file is believed before it is checked: a file
// that is not sound ends the walk, it never leads it astray.
#pragma once

#include <array>
#include <cstdint>

#include "common/buffer.h"
#include "common/bytes.h"
#include "common/run_context.h"
#include "isi/isi_format.h"
#include "isi/sector_cache.h"

namespace tavindex {

inline constexpr std::uint32_t kMaxPathLength = 48;  // ancestors of the current node

enum class WalkStatus : std::int32_t {
  kEntry = 0,        // the current entry is the next one in key order
  kStackFull = -4,   // deeper than any sound tree
  kStackEmpty = -5,  // Pop: the node just finished was the root
  kEnd = -6,         // no entry follows
  kUnsound = -7,     // a node that cannot be read, or that holds what no node can hold
  kNoMarks = -8,     // no room for the marks of the visited nodes
};

// The entry that the walk stands on.
struct TreeEntry {
  std::uint32_t lfa = 0;
  std::uint32_t child = 0;
  std::uint16_t dupSeq = 0;
  std::uint16_t recLength = 0;
  std::array<std::uint8_t, kMaxKeyMapEntries> key{};
};

struct TreeReader {
  int fd = kNoFile;
  std::array<std::uint8_t, kFrontSize> front{};  // header, root, list sector, as in the file
  IsiHeader header;
  ByteOrder order = ByteOrder::kLittle;
  bool recordNumberMode = false;
  std::uint32_t entrySize = 0;  // bytes
  std::uint32_t capacity = 0;   // entries that a node can hold
  std::uint32_t stride = 0;     // bytes of one record in the data file, end-of-record included
  std::uint64_t sectors = 0;    // of the whole file

  SectorCache cache;
  std::array<std::uint8_t, kSectorSize> node{};  // the current node
  std::uint32_t nodeAddr = 0;
  std::uint32_t index = 0;  // of the current entry, from 1; behind the last one for lastChild
  std::array<std::uint32_t, kMaxPathLength> pathStack{};
  std::array<std::uint32_t, kMaxPathLength> pathIndex{};  // where each ancestor was left
  std::uint32_t pathLength = 0;
  Buffer visited;  // a bit for each sector of the file
  bool walkStarted = false;
  bool endReached = false;
  bool inconsistent = false;  // a parent did not point to the child that the walk came from
  TreeEntry entry;
};

// Reads the first 2048 bytes of `fd` and the file's size. False when the file is shorter, or could
// not be read.
bool LoadFront(TreeReader& reader, int fd);

// Checks what stands in `front` and sets the fields that come from the header. kNotAnIsi for a
// field that no sound ISI holds, kBadIsiVersion for another signature or version.
Result CheckFront(TreeReader& reader);

// Both; kNotAnIsi for a short file too.
Result ReadFront(TreeReader& reader, int fd);

// Whether `address` is that of a sector that lies whole in the file.
bool IsSectorAddress(const TreeReader& reader, std::uint32_t address);
std::int64_t SectorOffset(const TreeReader& reader, std::uint32_t address);

// Loads the node at `address` as the current one: root and list sector from memory. Returns 0, or
// the count of bytes short of a sector (kSectorSize after an error).
std::uint32_t ReadNode(TreeReader& reader, std::uint32_t address);

// The stack of the walk: a node's address and the index it was left at.
WalkStatus Push(TreeReader& reader, std::uint32_t address);
WalkStatus Pop(TreeReader& reader, std::uint32_t& address);

// Stands on the smallest entry: kEntry, kEnd for a tree without entries, kStackFull, kUnsound,
// kNoMarks.
WalkStatus FirstEntry(TreeReader& reader);

// Moves to the next entry (the first call gives the one that FirstEntry found) and copies it to
// `entry`. Results as FirstEntry; kEnd again and again behind the end.
WalkStatus NextEntry(TreeReader& reader);

}  // namespace tavindex
