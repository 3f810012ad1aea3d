// The tree builder: makes the key tree of an ISI bottom-up, in one pass, from keys that arrive in
// ascending order. No node is ever read back.
//
// Each level has one open node in memory. A key goes into the leaf; when the leaf is full it is
// written, and the key that did not fit moves up to the parent level, where it separates the
// written leaf from the next one. So every key is stored once, in the level where it ended up.
// The address of a node is known when it is written: nodes and full list sectors follow one
// another in the file from 2048 on.
#pragma once

#include <cstdint>

#include "common/run_context.h"
#include "isi/isi_format.h"

namespace tavindex {

// One key as the sort delivers it.
struct KeyItem {
  std::uint64_t position;   // byte offset of the record in the data file
  std::uint16_t recLength;  // bytes, with end-of-record
  const std::uint8_t* key;  // keyLength bytes, owned by the caller
};

// Sets the builder's state to an empty tree: levels, addresses, maxEntries from the key length
// and the fill percentage. kNoMemory (with its message) when the sectors were refused.
Result StartTree(RunContext& run, std::uint32_t keyLength, std::uint32_t entrySize);

// Adds the next key. kNodeWriteFailed (after its message), or kTreeLevelLimit when the key would
// need a 17th level.
Result InsertKey(RunContext& run, const KeyItem& item);

// Writes the open node of currentLevel behind what was written before, empties it and gives its
// address. kNodeWriteFailed after the message.
Result WriteLevelNode(RunContext& run, std::uint32_t& address);

// Writes the open nodes below the top, then the root at its fixed place, and leaves the file
// position behind the root. kIsiWriteFailed after the message.
Result FinishTree(RunContext& run);

// The open node of a level (0 is the leaf level).
std::uint8_t* LevelNode(RunContext& run, std::uint32_t level);

// The distance of two addresses that stand side by side, and the byte offset of an address.
std::uint32_t AddressStep(const RunContext& run);
std::uint32_t AddressOf(const RunContext& run, std::uint32_t byteOffset);

// How many keys a tree of all levels can hold, computed modulo 2^64.
std::uint64_t TreeCapacity(const RunContext& run);

// Tells that writing the ISI failed, with errno, and makes it the file that the driver names. Gives
// kIsiWriteFailed.
Result ReportSegmentWriteFailure(RunContext& run);

}  // namespace tavindex
