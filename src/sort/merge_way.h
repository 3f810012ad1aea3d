// One way of the merge: the stream of items of one train, read block by block.
#pragma once

#include <cstdint>
#include <span>

#include "common/run_context.h"

namespace tavindex {

inline constexpr std::uint32_t kMaxWays = 30;

// The names of the diagnostics that a block read gives in debug mode.
struct BlockReadNames {
  int failed;
  int retried;
};
inline constexpr BlockReadNames kFirstBlock{.failed = 1, .retried = 2};
inline constexpr BlockReadNames kRefill{.failed = 3, .retried = 4};

inline constexpr std::uint32_t kPreloadSize = 65536;  // bytes of data file kept per way, at most

struct MergeWay {
  std::int64_t nextOffset = 0;  // of the next block in the input work file
  std::uint8_t* block = nullptr;
  std::uint8_t* current = nullptr;  // the head: the way's smallest item not yet taken
  std::uint32_t itemsLeft = 0;      // in the block, the head included
  // Sort mode, final pass: a stretch of the data file with the records of the next items.
  std::span<std::uint8_t> preload;
  std::int64_t preloadStart = 0;
  std::uint32_t preloadCount = 0;
};

// Reads the way's next block of `blkLgt` bytes (whole items) and stands on its first item.
// kWorkReadFailed when four reads gave neither the block nor the rest of the file, or no item.
Result ReadWayBlock(RunContext& run, MergeWay& way, std::uint32_t blkLgt, BlockReadNames names);

}  // namespace tavindex
