#include <gtest/gtest.h>

#include <string>

#include "isitool/map_picture.h"
#include "tool_run.h"
#include "tree_maker.h"

namespace tavindex::test {
namespace {

TEST(Eighths, OnlyNothingIsEmptyAndOnlyAllIsFull) {
  EXPECT_EQ(Eighths({.sectors = 1, .used = 0, .room = 31}), 0U);
  EXPECT_EQ(Eighths({.sectors = 1, .used = 1, .room = 31}), 1U);
  EXPECT_EQ(Eighths({.sectors = 1, .used = 16, .room = 31}), 4U);
  EXPECT_EQ(Eighths({.sectors = 1, .used = 30, .room = 31}), 7U);
  EXPECT_EQ(Eighths({.sectors = 1, .used = 31, .room = 31}), 8U);
  EXPECT_EQ(Eighths({.sectors = 2, .used = 0, .room = 0}), 8U) << "a header holds no places";
}

class Map : public ToolTest {
 protected:
  static std::string FirstLine(const std::string& text) { return text.substr(0, text.find('\n')); }
};

TEST_F(Map, Tiny) {
  WriteTiny();
  const ToolResult run = Isitool({"map", "tiny.ISI"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out,
            "   0  HHrdlll\n"
            "\n"
            "  H   header                        2\n"
            "  Rr  root                          1  6.4 % full\n"
            "  Ll  leaf                          3  5.3 % full\n"
            "  Dd  deleted-record list           1  0.7 % full\n");
}

TEST_F(Map, TinyForPrograms) {
  WriteTiny();
  EXPECT_EQ(Json(Isitool({"map", "--json", "tiny.ISI"}).out, "d"),
            "[{'file': 'tiny.ISI', 'sectorCount': 7, 'nodeCapacity': 31, 'listCapacity': 126, "
            "'sectors': [{'sector': 2, 'kind': 'node', 'level': 1, 'used': 2}, "
            "{'sector': 3, 'kind': 'list', 'used': 1}, "
            "{'sector': 4, 'kind': 'node', 'level': 0, 'used': 2}, "
            "{'sector': 5, 'kind': 'node', 'level': 0, 'used': 2}, "
            "{'sector': 6, 'kind': 'node', 'level': 0, 'used': 1}], 'unreached': []}]");
}

TEST_F(Map, EmptyIndex) {
  WriteBytes("old.ISI", MakeTree({.name = "empty", .freedSectors = 3}).image);
  EXPECT_EQ(FirstLine(Isitool({"map", "old.ISI"}).out), "   0  HHr_...");
  EXPECT_EQ(Json(Isitool({"map", "--json", "old.ISI"}).out, "d[0]['unreached']"),
            "[{'first': 3, 'last': 6}]");
}

// 26 keys of 4 bytes fill a node of 31 places by more than half.
TEST_F(Map, CapitalsAreAtLeastHalfFull) {
  WriteBytes("old.ISI", MakeTree({.name = "one", .entries = 26}).image);
  EXPECT_EQ(FirstLine(Isitool({"map", "old.ISI"}).out), "   0  HHR_");
}

TEST_F(Map, LinesAreAsWideAsTheScreen) {
  // Leaves, their parents and a root: 40 sectors and more.
  WriteBytes("old.ISI", MakeTree({.name = "wide", .entries = 900, .entriesPerNode = 20}).image);
  environment.Set("COLUMNS", "24");  // 4 for the number, 2 blanks, 16 signs
  const std::string narrow = Isitool({"map", "old.ISI"}).out;
  EXPECT_EQ(FirstLine(narrow).size(), 6U + 16U);
  EXPECT_EQ(narrow.find("\n  16  "), 22U);
  environment.Set("COLUMNS", "3");
  EXPECT_EQ(FirstLine(Isitool({"map", "old.ISI"}).out).size(), 6U + 8U);
  environment.Set("COLUMNS", "rubbish");
  EXPECT_GT(FirstLine(Isitool({"map", "old.ISI"}).out).size(), 6U + 16U);
}

TEST_F(Map, DefaultIsSixtyFourSigns) {
  WriteBytes("old.ISI", MakeTree({.name = "wide", .entries = 2000, .entriesPerNode = 10}).image);
  EXPECT_EQ(FirstLine(Isitool({"map", "old.ISI"}).out).size(), 6U + 64U);
}

TEST_F(Map, Colors) {
  WriteTiny();
  const std::string colored = Isitool({"map", "--color=always", "tiny.ISI"}).out;
  // A root of 6 % in its colour: the lowest block.
  EXPECT_NE(colored.find("\x1B[38;5;221;48;5;94m\xE2\x96\x81"), std::string::npos);
  EXPECT_NE(colored.find("\x1B[0m\n"), std::string::npos);
  EXPECT_EQ(Isitool({"map", "--color=never", "tiny.ISI"}).out.find('\x1B'), std::string::npos);
  EXPECT_EQ(Isitool({"map", "--color=auto", "tiny.ISI"}).out.find('\x1B'), std::string::npos)
      << "the output is a file";
  environment.Set("NO_COLOR", "1");
  EXPECT_EQ(Isitool({"map", "--color=always", "tiny.ISI"}).out, colored) << "asked for";
}

// 8194 sectors in 64 lines of 64 signs: 4 sectors each.
TEST_F(Map, LargeFilesAreDrawnToScale) {
  std::vector<std::byte> image = MakeTree({.name = "empty"}).image;
  image.resize(8194 * 512);
  WriteBytes("old.ISI", image);
  const std::string out = Isitool({"map", "old.ISI"}).out;
  EXPECT_EQ(FirstLine(out), "   0  H" + std::string(63, '.'));
  EXPECT_NE(out.find("\n 256  ...."), std::string::npos);
  EXPECT_NE(out.find("  .   nothing refers to it       8190\n"), std::string::npos) << out;
  EXPECT_NE(out.find("  one sign for 4 sectors\n"), std::string::npos);
}

// A sparse file may claim more sectors than any address can name.
TEST_F(Map, SparseFileOfManyTerabytes) {
  WriteBytes("old.ISI", MakeTree({.recordNumbers = true, .entries = 40, .deleted = 3}).image);
  std::error_code refused;
  std::filesystem::resize_file("old.ISI", std::uintmax_t{1} << 42, refused);
  if (refused) std::filesystem::resize_file("old.ISI", std::uintmax_t{1} << 33);
  ::alarm(30);
  EXPECT_EQ(Isitool({"map", "old.ISI"}).status, 0);
  EXPECT_EQ(Isitool({"map", "--svg", "old.ISI"}).status, 0);
  EXPECT_EQ(Isitool({"map", "--json", "old.ISI"}).status, 0);
  EXPECT_EQ(Isitool({"stat", "old.ISI"}).status, 0);
  EXPECT_EQ(Isitool({"check", "--no-data", "old.ISI"}).status, 0);
  ::alarm(0);
}

class SvgMap : public ToolTest {
 protected:
  // What python3 prints for an expression over the parsed document `r`.
  std::string Xml(const std::string& document, const std::string& expression) {
    scratch.Write("map.svg", document);
    return Json("", "(lambda r: " + expression +
                        ")(__import__('xml.etree.ElementTree').etree.ElementTree"
                        ".parse('map.svg').getroot())");
  }
};

TEST_F(SvgMap, ADocumentWithATooltipForEachSector) {
  WriteTiny();
  const ToolResult run = Isitool({"map", "--svg", "tiny.ISI"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(Xml(run.out, "r.tag"), "{http://www.w3.org/2000/svg}svg");
  EXPECT_EQ(Xml(run.out, "[t.text for t in r.iter('{http://www.w3.org/2000/svg}title')]"),
            "['Map of tiny.ISI', 'sector 0: header', 'sector 1: header', "
            "'sector 2: root, 2 of 31 places', "
            "'sector 3: deleted-record list, 1 of 126 places', 'sector 4: leaf, 2 of 31 places', "
            "'sector 5: leaf, 2 of 31 places', 'sector 6: leaf, 1 of 31 places']");
}

TEST_F(SvgMap, NamesAreEscaped) {
  const std::string name = "a<&>\x01\xFFz.ISI";
  WriteBytes(name, TinyImage());
  EXPECT_EQ(Xml(Isitool({"map", "--svg", name}).out, "r[0].text"), "Map of a<&>\\x01\\xFFz.ISI");
}

// Its end stays; a character of several bytes is not cut.
TEST_F(SvgMap, LongNamesAreCutInFront) {
  const std::string end = std::string(55, 'n') + ".ISI";  // 59 bytes
  const std::string name = std::string(20, 'a') + "é" + end;
  WriteBytes(name, TinyImage());
  EXPECT_EQ(Xml(Isitool({"map", "--svg", name}).out, "r[0].text"), "Map of …" + end);
}

TEST_F(SvgMap, EveryTreeGivesADocument) {
  for (const TreePlan& plan : AllPlans()) {
    WriteBytes("old.ISI", MakeTree(plan).image);
    const ToolResult run = Here({"map", "--svg", "old.ISI"});
    EXPECT_EQ(run.status, 0) << plan.name;
    const std::size_t sectors = scratch.Read("old.ISI").size() / 512;
    std::size_t cells = 0;
    for (std::size_t at = 0; (at = run.out.find("<g><title>", at)) != std::string::npos; ++at) {
      ++cells;
    }
    EXPECT_EQ(cells, sectors) << plan.name;
  }
}

}  // namespace
}  // namespace tavindex::test
