#include "isi/sector_cache.h"

#include <algorithm>

#include "common/file.h"

namespace tavindex {

namespace {

constexpr std::int64_t kBlock = kCachedBlockSize;
static_assert(kCachedBlockSize % kSectorSize == 0);

// Makes `block` that with `number`. One that cannot be read is left empty.
void Load(SectorCache::Block& block, int fd, std::int64_t number) {
  const std::int64_t count = ReadAt(fd, number * kBlock, block.bytes);
  block.number = number;
  block.size = static_cast<std::size_t>(std::max<std::int64_t>(count, 0));
}

}  // namespace

void Forget(SectorCache& cache) {
  for (SectorCache::Block& block : cache.blocks) block.number = -1;
}

std::int64_t ReadSector(SectorCache& cache, int fd, std::int64_t offset,
                        std::span<std::uint8_t, kSectorSize> sector) {
  const std::int64_t number = offset / kBlock;
  SectorCache::Block& block = cache.blocks[static_cast<std::size_t>(number) % kCachedBlocks];
  if (block.number != number) Load(block, fd, number);
  const auto at = static_cast<std::size_t>(offset % kBlock);
  // A fault elsewhere in the block is no reason to give up this sector.
  if (at + kSectorSize > block.size) return ReadAt(fd, offset, sector);
  std::copy_n(block.bytes.begin() + static_cast<std::ptrdiff_t>(at), kSectorSize, sector.begin());
  return kSectorSize;
}

}  // namespace tavindex
