#include "isitool/map_text.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "common/decimal.h"
#include "isitool/map_picture.h"
#include "isitool/text.h"

namespace tavindex {

namespace {

constexpr std::uint64_t kDefaultCells = 64;  // of a line
constexpr std::uint64_t kMostLines = 64;
constexpr std::uint64_t kCellGroup = 8;  // a line is a multiple of so many

// 256-colour numbers of what is filled and what is not. Both are set, so that the map looks the
// same on a dark and on a light terminal.
struct Colors {
  int filled;
  int empty;
};

constexpr Colors kColors[kPaints] = {
    {247, 242},  // header
    {221, 94},   // root
    {114, 22},   // leaf
    {75, 24},    // level 1
    {141, 54},   // level 2
    {212, 89},   // level 3
    {219, 53},   // higher
    {209, 88},   // list
    {240, 237},  // place at 1536
    {244, 235},  // nothing refers to it
};

constexpr const char* kBlocks[] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};

bool WantsColor(const Tool& tool) {
  if (tool.options.color != ColorWhen::kAuto) return tool.options.color == ColorWhen::kAlways;
  const char* noColor = std::getenv("NO_COLOR");
  const bool refused = noColor != nullptr && *noColor != '\0';
  return !refused && ::isatty(::fileno(tool.out)) != 0;
}

// Columns of the output, 0 when nobody knows.
std::uint64_t OutputColumns(const Tool& tool) {
  if (const char* columns = std::getenv("COLUMNS"); columns != nullptr) {
    if (const std::uint32_t value = ReadDecimal(columns).value; value > 0) return value;
  }
  struct winsize size {};
  const bool known = ::ioctl(::fileno(tool.out), TIOCGWINSZ, &size) == 0;
  return known ? size.ws_col : 0;
}

std::uint64_t LabelWidth(const IsiFile& file) {
  return std::max<std::uint64_t>(4, std::to_string(file.reader.sectors).size());
}

std::uint64_t CellsOfLine(const Tool& tool, const IsiFile& file) {
  constexpr std::uint64_t kMostCells = 512;
  const std::uint64_t columns = OutputColumns(tool);
  if (columns == 0) return kDefaultCells;
  const std::uint64_t label = LabelWidth(file) + 2;
  const std::uint64_t cells = columns > label ? columns - label : 0;
  return std::clamp(cells / kCellGroup * kCellGroup, kCellGroup, kMostCells);
}

char LevelDigit(std::uint32_t level) { return level <= 9 ? static_cast<char>('0' + level) : '+'; }

// A capital is at least half full.
char Letter(const Cell& cell) {
  const bool full = Eighths(cell.painted) >= 4;
  switch (cell.paint) {
    case Paint::kHeader:
      return 'H';
    case Paint::kRoot:
      return full ? 'R' : 'r';
    case Paint::kLeaf:
      return full ? 'L' : 'l';
    case Paint::kList:
      return full ? 'D' : 'd';
    case Paint::kSlot:
      return '_';
    case Paint::kUnreached:
      return '.';
    default:
      return LevelDigit(cell.level);
  }
}

std::string ColoredBlock(const Cell& cell) {
  const Colors& colors = kColors[static_cast<std::size_t>(cell.paint)];
  const bool empty = cell.paint == Paint::kSlot || cell.paint == Paint::kUnreached;
  return Format("\x1B[38;5;%d;48;5;%dm", colors.filled, colors.empty) +
         (empty ? "·" : kBlocks[Eighths(cell.painted)]);
}

// A cell as one character of the terminal; `color` tells how.
std::string CellText(const Cell& cell, bool color) {
  return color ? ColoredBlock(cell) : std::string(1, Letter(cell));
}

void DrawLines(const Tool& tool, const IsiFile& file, const Picture& picture,
               std::uint64_t cellsOfLine, bool color) {
  const int width = static_cast<int>(LabelWidth(file));
  for (std::size_t at = 0; at < picture.cells.size(); ++at) {
    const Cell& cell = picture.cells[at];
    if (at % cellsOfLine == 0) {
      Print(tool, Format("%*llu  ", width, static_cast<unsigned long long>(cell.first)));
    }
    Print(tool, CellText(cell, color));
    const bool last = at + 1 == picture.cells.size() || (at + 1) % cellsOfLine == 0;
    if (last) Print(tool, color ? "\x1B[0m\n" : "\n");
  }
}

// The sign that stands for a paint; the two of one that can be full or not.
std::string LegendSign(Paint paint, bool color) {
  Cell cell{.paint = paint};
  cell.level = paint == Paint::kHigher ? 4 : static_cast<std::uint32_t>(paint) - 2;
  cell.painted = {.sectors = 1, .used = 1, .room = 1};
  if (color) return ColoredBlock(cell) + "\x1B[0m ";
  std::string sign(1, Letter(cell));
  cell.painted.used = 0;
  const char other = Letter(cell);
  return sign + (other == sign[0] ? ' ' : other);
}

void DrawLegend(const Tool& tool, const Picture& picture, bool color) {
  Print(tool, "\n");
  for (std::size_t i = 0; i < kPaints; ++i) {
    const Painted& total = picture.totals[i];
    if (total.sectors == 0) continue;
    const auto paint = static_cast<Paint>(i);
    Print(tool, "  " + LegendSign(paint, color) + Format("  %-21s", PaintName(paint)));
    Print(tool, Format("%10s", std::to_string(total.sectors).c_str()));
    if (total.room > 0) Print(tool, "  " + Percent(total.used, total.room) + " full");
    Print(tool, "\n");
  }
  if (picture.scale > 1) {
    Print(tool,
          Format("  one sign for %llu sectors\n", static_cast<unsigned long long>(picture.scale)));
  }
}

}  // namespace

void DrawTextMap(const Tool& tool, const IsiFile& file, const Survey& survey) {
  const std::uint64_t cells = CellsOfLine(tool, file);
  const bool color = WantsColor(tool);
  const Picture picture = MakePicture(file, survey, cells * kMostLines);
  DrawLines(tool, file, picture, cells, color);
  DrawLegend(tool, picture, color);
}

}  // namespace tavindex
