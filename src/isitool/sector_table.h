// What each sector of a file was reached as. Kept in pages that exist only where something was
// reached, so that a file of any length costs memory for its nodes alone.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace tavindex {

enum class SectorKind : std::uint8_t { kUnreached, kNode, kList };

struct SectorUse {
  SectorKind kind = SectorKind::kUnreached;
  std::uint8_t level = 0;  // of a node
  std::uint8_t count = 0;  // entries, or addresses of a list sector
};

class SectorTable {
 public:
  explicit SectorTable(std::uint64_t sectors);

  std::uint64_t Sectors() const { return sectors_; }

  // `sector` is below Sectors() in all of these.
  SectorUse At(std::uint64_t sector) const;
  void Set(std::uint64_t sector, SectorUse use);

  // The first sector from `sector` on, below `end`, that was reached; `end` when there is none.
  std::uint64_t NextReached(std::uint64_t sector, std::uint64_t end) const;
  // The same with the end of the file.
  std::uint64_t NextReached(std::uint64_t sector) const { return NextReached(sector, sectors_); }

 private:
  static constexpr std::uint64_t kPageSize = 4096;
  using Page = std::array<SectorUse, kPageSize>;

  std::uint64_t sectors_;
  std::vector<std::unique_ptr<Page>> pages_;
};

}  // namespace tavindex
