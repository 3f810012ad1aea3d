// Scanning, sorting and merging: the way of a record's key from the data file to the tree.
//
//   1. CreateSubList (record_scanner.h) reads records and fills the sort area with one item each.
//   2. SortSubList (sort_area.h) sorts the area; WriteSortTrain appends it to the first work file
//      as a train. A train that begins where the last one ended continues it.
//   3. When the input is exhausted, DoFancyMerge (merge.h) merges the trains, through both work
//      files if there are many, and hands every item in final order to the item consumer.
//   4. WriteTagRecord (tag_record.h) is that consumer in an index build: it notes irregular
//      record lengths and gives the key to the tree builder.
// SortTrains (sort_trains.h) runs the steps. The key map that step 1 walks is compiled by
// key_map.h and conditions.h.
//
// An item is keyLength + 10 bytes, in the sort area and in the work files alike:
//
//     offset  size
//          0     8   lfa: byte offset of the record in the data file
//          8     2   recLength: the record's bytes in the data file, end-of-record included
//         10         key: keyLength bytes
//
// An item whose lfa is all ones ends a sort area or a train. Items are not aligned.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "common/bytes.h"
#include "common/run_context.h"

namespace tavindex {

namespace item {

inline constexpr std::size_t kLfa = 0;
inline constexpr std::size_t kRecLength = 8;
inline constexpr std::size_t kKey = 10;
static_assert(kKey == kItemTailSize);

inline constexpr std::uint64_t kEndLfa = UINT64_MAX;

inline std::uint64_t Lfa(const std::uint8_t* at) { return LoadLe64(at + kLfa); }
inline std::uint16_t RecLength(const std::uint8_t* at) { return LoadLe16(at + kRecLength); }
inline bool IsEndMarker(const std::uint8_t* at) { return Lfa(at) == kEndLfa; }

inline void SetPlace(std::uint8_t* at, std::uint64_t lfa, std::uint16_t recLength) {
  StoreLe64(at + kLfa, lfa);
  StoreLe16(at + kRecLength, recLength);
}

// Two key bytes of 0xFF (or one, in a key of one byte) put the marker behind ordinary keys; what
// makes an item an end marker is its lfa alone.
inline void WriteEndMarker(std::uint8_t* at, std::uint32_t itemSize) {
  const std::uint32_t ones = std::min<std::uint32_t>(itemSize, kKey + 2);
  std::memset(at, 0xFF, ones);
  std::memset(at + ones, 0, itemSize - ones);
}

}  // namespace item

// Orders two items by their keys, which `a` and `b` point to: the key bytes as unsigned bytes,
// then ascending lfa. Returns -1 or 1; two records never compare equal.
inline int CompareItems(const std::uint8_t* a, const std::uint8_t* b, std::uint32_t keyLength) {
  const int keys = std::memcmp(a, b, keyLength);
  if (keys != 0) return keys < 0 ? -1 : 1;
  return item::Lfa(a - item::kKey) <= item::Lfa(b - item::kKey) ? -1 : 1;
}

}  // namespace tavindex
