#include "isitool/map_picture.h"

#include <algorithm>

#include "isitool/text.h"

namespace tavindex {

namespace {

constexpr const char* kNames[kPaints] = {"header",
                                         "root",
                                         "leaf",
                                         "level 1",
                                         "level 2",
                                         "level 3",
                                         "higher level",
                                         "deleted-record list",
                                         "unused place at 1536",
                                         "nothing refers to it"};

Paint PaintOfLevel(std::uint32_t level) {
  constexpr Paint kByLevel[] = {Paint::kLeaf, Paint::kLevel1, Paint::kLevel2, Paint::kLevel3};
  return level < std::size(kByLevel) ? kByLevel[level] : Paint::kHigher;
}

Paint PaintOf(std::uint64_t sector, SectorUse use) {
  if (sector < kRootSector) return Paint::kHeader;
  if (sector == kRootSector) return Paint::kRoot;
  if (use.kind == SectorKind::kList) return Paint::kList;
  if (use.kind == SectorKind::kNode) return PaintOfLevel(use.level);
  return sector == kOpenListSector ? Paint::kSlot : Paint::kUnreached;
}

void AddTo(Painted& total, const Painted& part) {
  total.sectors += part.sectors;
  total.used += part.used;
  total.room += part.room;
}

// Collects the sectors of one cell after the other.
class CellPainter {
 public:
  CellPainter(const IsiFile& file, const Survey& survey) : file_(file), survey_(survey) {}

  Cell PaintCell(std::uint64_t first, std::uint64_t sectors) {
    Cell cell{.first = first, .sectors = sectors};
    std::array<Painted, kPaints> shares{};
    const std::uint64_t end = first + sectors;
    for (std::uint64_t at = first; at < end;) at += Take(at, end, cell, shares);
    for (std::size_t i = 0; i < kPaints; ++i) AddTo(totals_[i], shares[i]);
    const auto most = std::ranges::max_element(shares, {}, &Painted::sectors);
    cell.paint = static_cast<Paint>(most - shares.begin());
    cell.painted = *most;
    return cell;
  }

  const std::array<Painted, kPaints>& Totals() const { return totals_; }

 private:
  // Takes one sector, or a run that nothing refers to; gives how many.
  std::uint64_t Take(std::uint64_t sector, std::uint64_t end, Cell& cell,
                     std::array<Painted, kPaints>& shares) const {
    const SectorUse use = survey_.table.At(sector);
    const Paint paint = PaintOf(sector, use);
    Painted& share = shares[static_cast<std::size_t>(paint)];
    if (paint == Paint::kUnreached) {
      const std::uint64_t run = survey_.table.NextReached(sector, end) - sector;
      share.sectors += run;
      return run;
    }
    ++share.sectors;
    if (use.kind == SectorKind::kUnreached) return 1;
    const bool list = use.kind == SectorKind::kList;
    share.used += use.count;
    share.room += list ? kListCapacity : file_.reader.capacity;
    cell.level = std::max<std::uint32_t>(cell.level, use.level);
    return 1;
  }

  const IsiFile& file_;
  const Survey& survey_;
  std::array<Painted, kPaints> totals_{};
};

}  // namespace

Picture MakePicture(const IsiFile& file, const Survey& survey, std::uint64_t mostCells) {
  Picture picture;
  const std::uint64_t sectors = file.reader.sectors;
  while ((sectors + picture.scale - 1) / picture.scale > mostCells) picture.scale *= 2;
  CellPainter painter(file, survey);
  for (std::uint64_t first = 0; first < sectors; first += picture.scale) {
    const std::uint64_t count = std::min(picture.scale, sectors - first);
    picture.cells.push_back(painter.PaintCell(first, count));
  }
  picture.totals = painter.Totals();
  return picture;
}

const char* PaintName(Paint paint) { return kNames[static_cast<std::size_t>(paint)]; }

std::uint32_t Eighths(const Painted& painted) {
  if (painted.room == 0) return 8;
  if (painted.used == 0) return 0;
  return std::max<std::uint32_t>(1, static_cast<std::uint32_t>(painted.used * 8 / painted.room));
}

std::string DescribeCell(const Cell& cell) {
  std::string text = cell.sectors > 1 ? "sectors " : "sector ";
  text += std::to_string(cell.first);
  if (cell.sectors > 1) text.append("-").append(std::to_string(cell.first + cell.sectors - 1));
  text += cell.painted.sectors < cell.sectors ? ": mostly " : ": ";
  text += PaintName(cell.paint);
  if (cell.painted.room == 0) return text;
  return text + Format(", %llu of %llu places", static_cast<unsigned long long>(cell.painted.used),
                       static_cast<unsigned long long>(cell.painted.room));
}

}  // namespace tavindex
