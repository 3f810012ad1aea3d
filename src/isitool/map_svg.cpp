#include "isitool/map_svg.h"

#include <algorithm>
#include <string>
#include <vector>

#include "isitool/map_picture.h"
#include "isitool/text.h"

namespace tavindex {

namespace {

// Pixels. A cell is a square with its fill standing in it from below.
constexpr std::uint64_t kPitch = 13;
constexpr std::uint64_t kCellSize = 11;
constexpr std::uint64_t kMargin = 24;
constexpr std::uint64_t kTitleHeight = 62;
constexpr std::uint64_t kGridTop = kMargin + kTitleHeight;
constexpr std::uint64_t kDigitWidth = 7;
constexpr std::uint64_t kLegendRow = 22;
constexpr std::uint64_t kLegendColumn = 360;
constexpr std::uint64_t kLeastWidth = 2 * kMargin + 2 * kLegendColumn;
constexpr std::uint64_t kColumns = 64;  // cells of a line
constexpr std::uint64_t kMostLines = 64;

// The class of each paint, in the order of Paint.
constexpr const char* kClasses[kPaints] = {"he", "ro", "le", "l1", "l2",
                                           "l3", "hi", "li", "sl", "un"};

// The base of a cell is a pale tint of its colour, so that an empty node is still seen for what it
// is.
constexpr const char* kStyle =
    "<style>\n"
    "text{font-family:system-ui,'DejaVu Sans',sans-serif;font-size:12px;fill:#5b6472}\n"
    ".title{font-size:17px;font-weight:600;fill:#1c2330}\n"
    ".num{font-family:ui-monospace,'DejaVu Sans Mono',monospace;font-size:11px;"
    "font-variant-numeric:tabular-nums}\n"
    ".name{fill:#1c2330}\n"
    ".page{fill:#fbfbf9}\n"
    ".he{fill:#8a93a3}.ro{fill:#d99a1c}.le{fill:#3f9e6e}.l1{fill:#3a7fc4}.l2{fill:#7a5fc9}\n"
    ".l3{fill:#b353ae}.hi{fill:#8c3b6b}.li{fill:#d8604c}.sl{fill:#b9bfc9}.un{fill:#b9bfc9}\n"
    ".base{opacity:.24}.sl.base{opacity:.5}.un.base{opacity:.7;fill:none;stroke:#b9bfc9}\n"
    "@media (prefers-color-scheme:dark){\n"
    "text{fill:#9aa4b2}.title,.name{fill:#eef1f5}.page{fill:#15181d}\n"
    ".he{fill:#9aa4b2}.ro{fill:#f0b94a}.le{fill:#5cc48e}.l1{fill:#63a6ea}.l2{fill:#a48bf0}\n"
    ".l3{fill:#d97fd4}.hi{fill:#d678a9}.li{fill:#f08573}.sl{fill:#59616d}.un{fill:#59616d}\n"
    ".un.base{stroke:#59616d}\n"
    "}\n"
    "</style>\n";

std::string XmlText(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '<') {
      escaped += "&lt;";
    } else if (c == '&') {
      escaped += "&amp;";
    } else if (c == '>') {
      escaped += "&gt;";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string NumberText(std::uint64_t number) { return std::to_string(number); }

// Characters that a title may have; a longer name keeps its end, where names differ.
std::string ShortName(const std::string& path) {
  constexpr std::size_t kMostCharacters = 60;
  const std::string name = path.substr(path.rfind('/') + 1);
  if (name.size() <= kMostCharacters) return Visible(name);
  std::size_t from = name.size() - kMostCharacters;
  while ((static_cast<unsigned char>(name[from]) & 0xC0) == 0x80) ++from;
  return "…" + Visible(std::string_view(name).substr(from));
}

class SvgMap {
 public:
  SvgMap(const Tool& tool, const IsiFile& file, const Survey& survey)
      : tool_(tool),
        file_(file),
        survey_(survey),
        picture_(MakePicture(file, survey, kColumns * kMostLines)),
        columns_(std::min<std::uint64_t>(kColumns, picture_.cells.size())),
        left_(kMargin +
              std::max<std::uint64_t>(4, NumberText(file.reader.sectors).size()) * kDigitWidth +
              8) {
    for (std::size_t i = 0; i < kPaints; ++i) {
      if (picture_.totals[i].sectors > 0) present_.push_back(static_cast<Paint>(i));
    }
  }

  void Draw() {
    DrawOpening();
    DrawTitle();
    DrawLineNumbers();
    DrawColumnNumbers();
    for (std::size_t at = 0; at < picture_.cells.size(); ++at) DrawCell(at);
    DrawLegend();
    Print(tool_, "</svg>\n");
  }

 private:
  std::uint64_t Lines() const { return (picture_.cells.size() + columns_ - 1) / columns_; }
  std::uint64_t LegendTop() const { return kGridTop + Lines() * kPitch + 28; }
  std::uint64_t LegendLines() const { return (present_.size() + 1) / 2; }
  std::uint64_t Height() const { return LegendTop() + LegendLines() * kLegendRow + kMargin - 8; }
  std::uint64_t Width() const { return std::max(kLeastWidth, left_ + columns_ * kPitch + kMargin); }

  void DrawOpening() {
    const std::string width = NumberText(Width());
    const std::string height = NumberText(Height());
    Print(tool_, "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + width + "\" height=\"" +
                     height + "\" viewBox=\"0 0 " + width + " " + height + "\" role=\"img\">\n");
    Print(tool_, "<title>Map of " + XmlText(ShortName(file_.path)) + "</title>\n");
    Print(tool_, kStyle);
    Print(tool_, "<rect class=\"page\" width=\"" + width + "\" height=\"" + height + "\"/>\n");
  }

  void DrawText(std::uint64_t x, std::uint64_t y, const std::string& attributes,
                const std::string& text) {
    Print(tool_, "<text x=\"" + NumberText(x) + "\" y=\"" + NumberText(y) + "\"" + attributes +
                     ">" + XmlText(text) + "</text>\n");
  }

  void DrawTitle() {
    DrawText(kMargin, kMargin + 14, " class=\"title\"", ShortName(file_.path));
    const std::uint64_t room = survey_.nodes * file_.reader.capacity;
    std::string text = Count(file_.reader.sectors, "sector") + ", " +
                       Count(survey_.entries, "entry") + " in " + Count(survey_.nodes, "node") +
                       ", " + Percent(survey_.entries, room) + " full";
    if (picture_.scale > 1) text += "; a cell stands for " + Count(picture_.scale, "sector");
    DrawText(kMargin, kMargin + 33, "", text);
  }

  // The number of the first sector of a line; of every fourth one where there are many.
  void DrawLineNumbers() {
    const std::uint64_t step = Lines() > 12 ? 4 : 1;
    for (std::uint64_t line = 0; line < Lines(); line += step) {
      DrawText(left_ - 8, kGridTop + line * kPitch + 10, " class=\"num\" text-anchor=\"end\"",
               NumberText(line * columns_ * picture_.scale));
    }
  }

  void DrawColumnNumbers() {
    constexpr std::uint64_t kStep = 16;
    for (std::uint64_t column = kStep; column < columns_; column += kStep) {
      DrawText(left_ + column * kPitch, kGridTop - 6, " class=\"num\"",
               std::string("+").append(NumberText(column * picture_.scale)));
    }
  }

  void DrawBox(std::uint64_t x, std::uint64_t y, std::uint64_t height, const char* name,
               const char* also) {
    Print(tool_, Format("<rect class=\"%s%s\" x=\"%llu\" y=\"%llu\" width=\"%llu\" height=\"%llu\" "
                        "rx=\"2\"/>",
                        name, also, static_cast<unsigned long long>(x),
                        static_cast<unsigned long long>(y + kCellSize - height),
                        static_cast<unsigned long long>(kCellSize),
                        static_cast<unsigned long long>(height)));
  }

  // The base, and the fill in it as high as the sector is full.
  void DrawSquare(std::uint64_t x, std::uint64_t y, Paint paint, const Painted& painted) {
    const char* name = kClasses[static_cast<std::size_t>(paint)];
    DrawBox(x, y, kCellSize, name, " base");
    if (paint == Paint::kSlot || paint == Paint::kUnreached) return;
    const std::uint64_t height = painted.room == 0
                                     ? kCellSize
                                     : (painted.used * kCellSize + painted.room - 1) / painted.room;
    if (height > 0) DrawBox(x, y, height, name, "");
  }

  void DrawCell(std::size_t at) {
    const Cell& cell = picture_.cells[at];
    Print(tool_, "<g><title>" + XmlText(DescribeCell(cell)) + "</title>");
    DrawSquare(left_ + at % columns_ * kPitch, kGridTop + at / columns_ * kPitch, cell.paint,
               cell.painted);
    Print(tool_, "</g>\n");
  }

  void DrawLegend() {
    for (std::size_t i = 0; i < present_.size(); ++i) {
      const std::uint64_t x = kMargin + i % 2 * kLegendColumn;
      const std::uint64_t y = LegendTop() + i / 2 * kLegendRow;
      const Painted& total = picture_.totals[static_cast<std::size_t>(present_[i])];
      DrawSquare(x, y, present_[i], total);
      DrawText(x + 20, y + 10, " class=\"name\"", PaintName(present_[i]));
      std::string text = Count(total.sectors, "sector");
      if (total.room > 0) text += ", " + Percent(total.used, total.room) + " full";
      DrawText(x + 160, y + 10, "", text);
    }
  }

  const Tool& tool_;
  const IsiFile& file_;
  const Survey& survey_;
  Picture picture_;
  std::uint64_t columns_;
  std::uint64_t left_;  // of the grid
  std::vector<Paint> present_;
};

}  // namespace

void DrawSvgMap(const Tool& tool, const IsiFile& file, const Survey& survey) {
  SvgMap(tool, file, survey).Draw();
}

}  // namespace tavindex
