// A file as a row of cells, each one sector or, in a large file, several neighbours: what the text
// and the SVG map are painted from.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "isitool/isi_file.h"
#include "isitool/survey.h"

namespace tavindex {

enum class Paint : std::uint8_t {
  kHeader,
  kRoot,
  kLeaf,
  kLevel1,
  kLevel2,
  kLevel3,
  kHigher,
  kList,
  kSlot,  // the place at 1536, when nothing refers to it
  kUnreached,
};
inline constexpr std::size_t kPaints = 10;

// Neighbouring sectors, or all sectors, of one paint. `used` of `room` places are taken.
struct Painted {
  std::uint64_t sectors = 0;
  std::uint64_t used = 0;
  std::uint64_t room = 0;
};

struct Cell {
  std::uint64_t first = 0;          // sector
  std::uint64_t sectors = 0;        // that the cell stands for
  Paint paint = Paint::kUnreached;  // of most of them
  std::uint32_t level = 0;          // the highest of a node
  Painted painted{};                // those of the paint
};

struct Picture {
  std::uint64_t scale = 1;  // sectors of a cell; the last one may have fewer
  std::vector<Cell> cells;
  std::array<Painted, kPaints> totals{};
};

// At most `mostCells` cells.
Picture MakePicture(const IsiFile& file, const Survey& survey, std::uint64_t mostCells);

// "leaf", "deleted-record list", ...
const char* PaintName(Paint paint);

// What a cell is, in words: "sector 9: leaf, 23 of 31 places".
std::string DescribeCell(const Cell& cell);

// How full, in eighths: 0 only when nothing is there, 8 only when all is taken. Sectors that hold
// no places are full.
std::uint32_t Eighths(const Painted& painted);

}  // namespace tavindex
