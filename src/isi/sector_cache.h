// Sectors of an ISI that is being read, kept in blocks. A walk in key order goes from leaf to leaf,
// and between two leaves back to their parent: both mostly stand in blocks that are here already.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "isi/isi_format.h"

namespace tavindex {

inline constexpr std::size_t kCachedBlockSize = 16384;  // bytes
inline constexpr std::size_t kCachedBlocks = 8;

struct SectorCache {
  struct Block {
    std::int64_t number = -1;  // of the file's blocks; -1: none
    std::size_t size = 0;      // bytes: the file may end inside the block
    std::array<std::uint8_t, kCachedBlockSize> bytes;
  };
  std::array<Block, kCachedBlocks> blocks;  // each block of the file has one place
};

// Empties the cache.
void Forget(SectorCache& cache);

// Reads the sector at `offset`, a multiple of kSectorSize, of `fd`. Gives the bytes read, fewer
// than a sector at the file's end, or -1. What the cache holds is not read again.
std::int64_t ReadSector(SectorCache& cache, int fd, std::int64_t offset,
                        std::span<std::uint8_t, kSectorSize> sector);

}  // namespace tavindex
