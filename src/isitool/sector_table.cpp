#include "isitool/sector_table.h"

#include <algorithm>

namespace tavindex {

namespace {

// Addresses have 32 bits: no sector behind these can be reached.
constexpr std::uint64_t kMostSectors = std::uint64_t{1} << 32;

}  // namespace

SectorTable::SectorTable(std::uint64_t sectors)
    : sectors_(sectors), pages_(std::min(sectors, kMostSectors) / kPageSize + 1) {}

SectorUse SectorTable::At(std::uint64_t sector) const {
  const std::uint64_t page = sector / kPageSize;
  if (page >= pages_.size() || pages_[page] == nullptr) return {};
  return (*pages_[page])[sector % kPageSize];
}

void SectorTable::Set(std::uint64_t sector, SectorUse use) {
  std::unique_ptr<Page>& page = pages_[sector / kPageSize];
  if (page == nullptr) page = std::make_unique<Page>();
  (*page)[sector % kPageSize] = use;
}

std::uint64_t SectorTable::NextReached(std::uint64_t sector, std::uint64_t end) const {
  while (sector < end) {
    const std::uint64_t page = sector / kPageSize;
    if (page >= pages_.size()) break;
    if (pages_[page] == nullptr) {
      sector = (page + 1) * kPageSize;
    } else if ((*pages_[page])[sector % kPageSize].kind != SectorKind::kUnreached) {
      return sector;
    } else {
      ++sector;
    }
  }
  return end;
}

}  // namespace tavindex
