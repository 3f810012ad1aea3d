#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "isi_layout.h"
#include "tool_run.h"

namespace tavindex::test {
namespace {

class Find : public ToolTest {};

TEST_F(Find, EveryRecordOfAKey) {
  WriteTiny();
  const ToolResult run = Isitool({"find", "tiny.ISI", "FIGS"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out,
            "FIGS  record at 5, 5 bytes, duplicate 0, sector 4 entry 1\n"
            "  FIGS\n"
            "FIGS  record at 20, 5 bytes, duplicate 1, sector 4 entry 2\n"
            "  FIGS\n");
}

TEST_F(Find, KeysOnEveryLevel) {
  WriteTiny();
  for (const std::string key : {"FIGS", "KIWI", "LIME", "PEAR", "PLUM", "SLOE"}) {
    const ToolResult run = Here({"find", "tiny.ISI", key});
    EXPECT_EQ(run.status, 0) << key;
    EXPECT_EQ(run.out.substr(0, 4), key);
    EXPECT_NE(run.out.find("\n  " + key + "\n"), std::string::npos) << run.out;
  }
}

TEST_F(Find, RecordNumbersArePositions) {
  WriteTiny(true, ByteOrder::kBig);
  EXPECT_EQ(Isitool({"find", "tiny.ISI", "PLUM"}).out,
            "PLUM  record at 30, 5 bytes, duplicate 0, sector 2 entry 2\n  PLUM\n");
}

TEST_F(Find, NothingFound) {
  WriteTiny();
  for (const std::string key : {"AAAA", "FIGT", "ZZZZ", "FIG", ""}) {
    const ToolResult run = Isitool({"find", "tiny.ISI", key});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "isitool: tiny.ISI: no such key: " + key + "\n");
  }
}

TEST_F(Find, Prefix) {
  WriteTiny();
  EXPECT_EQ(Isitool({"find", "--prefix", "tiny.ISI", "P"}).out,
            "PEAR  record at 0, 5 bytes, duplicate 0, sector 5 entry 2\n  PEAR\n"
            "PLUM  record at 30, 5 bytes, duplicate 0, sector 2 entry 2\n  PLUM\n");
  EXPECT_EQ(Json(Here({"find", "--prefix", "--json", "tiny.ISI", ""}).out, "len(d)"), "7");
  EXPECT_EQ(Here({"find", "--prefix", "tiny.ISI", "Q"}).status, 1);
}

// As the keys of records that end before the key does.
TEST_F(Find, ShortKeyIsFilledWithBlanks) {
  scratch.Write("short.TXT", "ABCDE\nAB\nABC\n");
  ASSERT_EQ(Tavindex({"short,,l5", "-v,1-4"}), 0) << scratch.Read(".log");
  EXPECT_EQ(Isitool({"find", "short.ISI", "AB"}).out,
            "AB    record at 6, 3 bytes, duplicate 0, sector 2 entry 1\n  AB\n");
}

TEST_F(Find, LongKeyIsMisuse) {
  WriteTiny();
  const ToolResult run = Isitool({"find", "tiny.ISI", "FIGSX"});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "isitool: tiny.ISI: its keys have 4 bytes, fewer than the one given\n");
}

TEST_F(Find, LinesForPrograms) {
  WriteTiny();
  EXPECT_EQ(Json(Isitool({"find", "--json", "tiny.ISI", "SLOE"}).out, "d"),
            "[{'key': 'SLOE', 'keyHex': '534C4F45', 'address': 35, 'length': 5, 'duplicate': 0, "
            "'sector': 6, 'entry': 1, 'level': 0, 'record': 'SLOE\\n', "
            "'recordHex': '534C4F450A'}]");
}

TEST_F(Find, WithoutItsDataFile) {
  WriteTiny();
  std::filesystem::remove(scratch.Path("tiny.TXT"));
  const ToolResult run = Isitool({"find", "tiny.ISI", "SLOE"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "SLOE  record at 35, 5 bytes, duplicate 0, sector 6 entry 1\n");
  EXPECT_EQ(run.err, "isitool: tiny.TXT: No such file or directory\n");
  EXPECT_EQ(Json(Isitool({"find", "--json", "tiny.ISI", "SLOE"}).out, "d[0]['record']"), "None");
}

TEST_F(Find, DataFileByName) {
  WriteTiny();
  scratch.MakeDirectory("far");
  std::filesystem::rename("tiny.TXT", "far/other");
  EXPECT_EQ(Isitool({"find", "--data=far/other", "tiny.ISI", "SLOE"}).out,
            "SLOE  record at 35, 5 bytes, duplicate 0, sector 6 entry 1\n  SLOE\n");
  const ToolResult missing = Isitool({"find", "--data=none", "tiny.ISI", "SLOE"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.out, "");
  EXPECT_EQ(missing.err, "isitool: none: No such file or directory\n");
}

// A relative name in the header is looked for beside the ISI too.
TEST_F(Find, DataFileBesideTheIsi) {
  WriteTiny();
  scratch.MakeDirectory("far");
  std::filesystem::rename("tiny.TXT", "far/tiny.TXT");
  std::filesystem::rename("tiny.ISI", "far/tiny.ISI");
  EXPECT_EQ(Isitool({"find", "far/tiny.ISI", "SLOE"}).out,
            "SLOE  record at 35, 5 bytes, duplicate 0, sector 6 entry 1\n  SLOE\n");
}

TEST_F(Find, DuplicatesSpreadOverTheTree) {
  std::string data;
  for (int i = 0; i < 2000; ++i)
    data += i % 2 == 0 ? "SAME\n" : "A" + std::to_string(100 + i % 900) + "\n";
  scratch.Write("many.TXT", data);
  ASSERT_EQ(Tavindex({"many", "-1-4"}), 0);
  const std::string lines = Here({"find", "--json", "many.ISI", "SAME"}).out;
  EXPECT_EQ(Json(lines,
                 "len(d), [x['duplicate'] for x in d] == list(range(1000)), "
                 "[x['address'] for x in d] == list(range(0, 10000, 10))"),
            "1000 True True");
}

TEST_F(Find, FaultOnTheWay) {
  std::vector<std::byte> image = TinyImage();
  layout::Store32(image, 1024 + 508, 4096, ByteOrder::kLittle);  // behind the file's end
  WriteBytes("tiny.ISI", image);
  scratch.Write("tiny.TXT", kTinyData);
  const ToolResult run = Isitool({"find", "tiny.ISI", "SLOE"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "isitool: tiny.ISI: sector 2: last child: address 4096 is not one of a node or list "
            "sector in the file\n"
            "isitool: tiny.ISI: no such key: SLOE\n");
  EXPECT_EQ(Isitool({"find", "tiny.ISI", "LIME"}).status, 0) << "not on that way";
}

}  // namespace
}  // namespace tavindex::test
