// The walks over a file that may be damaged: over the deleted-record list, and over the key tree in
// key order. What is wrong is told and left out, and the walk goes on with what is left. No sector
// is entered twice, and no way is longer than the 48 ancestors that the programs which use an ISI
// can keep, so that a walk ends on any bytes and needs little memory.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "isitool/isi_file.h"
#include "isitool/sector_table.h"

namespace tavindex {

struct Node {
  std::array<std::uint8_t, kSectorSize> bytes{};
  std::uint32_t sector = 0;
  std::uint32_t level = 0;
  std::uint32_t count = 0;  // entries, never more than fit
  // The parent's level, and whether the node is the root or hangs on a chain of last children from
  // it: the levels on that edge of the tree can be skipped.
  std::uint32_t parentLevel = 0;
  bool onEdge = false;

  bool IsRoot() const { return sector == kRootSector; }
};

struct ListSector {
  std::array<std::uint8_t, kSectorSize> bytes{};
  std::uint32_t sector = 0;
  std::uint32_t count = 0;  // addresses, never more than fit
};

// Receives what the walks meet.
class WalkVisitor {
 public:
  WalkVisitor() = default;
  WalkVisitor(const WalkVisitor&) = delete;
  WalkVisitor& operator=(const WalkVisitor&) = delete;
  virtual ~WalkVisitor() = default;

  // A node, before anything below it.
  virtual void OnNode(const Node& /*node*/) {}

  // An entry, in key order; `index` counts from 1. False ends the walk.
  virtual bool OnEntry(const Node& /*node*/, std::uint32_t /*index*/) { return true; }

  virtual void OnListSector(const ListSector& /*list*/) {}

  // Something that no sound file holds, in this sector (0: the header).
  virtual void OnFault(std::uint32_t sector, std::string_view what) = 0;
};

// Both need a file without a `fault`. `table` must have the file's size; what is reached is
// entered.

void WalkList(IsiFile& file, SectorTable& table, WalkVisitor& visitor);

// From the first entry that is not below `from` (compared over the length of `from`); an empty one
// takes every entry.
void WalkTree(IsiFile& file, SectorTable& table, WalkVisitor& visitor,
              std::span<const std::uint8_t> from = {});

// Goes straight down to the first entry with this key, of `keyLength` bytes; gives its `lfa`.
// Nothing when there is no such entry, or none that can be reached.
std::optional<std::uint32_t> FirstRecordOf(IsiFile& file, std::span<const std::uint8_t> key);

}  // namespace tavindex
