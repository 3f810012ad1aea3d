#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "isi_layout.h"
#include "tool_run.h"
#include "tree_maker.h"

namespace tavindex::test {
namespace {

constexpr ByteOrder kLittle = ByteOrder::kLittle;

class Check : public ToolTest {
 protected:
  // Everything that check prints about tiny.ISI besides the summary, without the file's name.
  std::string Faults(const std::vector<std::byte>& image, std::vector<std::string> options = {}) {
    scratch.Write("tiny.TXT", data);
    WriteBytes("tiny.ISI", image);
    options.insert(options.begin(), {"check", "tiny.ISI"});
    const ToolResult run = Here(options);
    EXPECT_EQ(run.err, "");
    const bool faulty = run.out.find(": no faults") == std::string::npos;
    EXPECT_EQ(run.status, faulty ? 1 : 0) << run.out;
    std::string text = run.out.substr(0, run.out.rfind("tiny.ISI: "));
    for (std::size_t at; (at = text.find("tiny.ISI: ")) != std::string::npos;) text.erase(at, 10);
    return text;
  }
  std::string Alone(const std::vector<std::byte>& image) { return Faults(image, {"--no-data"}); }

  std::string data = kTinyData;
};

TEST_F(Check, Tiny) {
  WriteTiny();
  const ToolResult run = Isitool({"check", "--strict", "tiny.ISI"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out,
            "tiny.ISI: 7 records, 1 deleted record, 4 nodes in 2 levels; compared with tiny.TXT: "
            "no faults\n");
}

TEST_F(Check, TinyForPrograms) {
  WriteTiny(true, ByteOrder::kBig);
  EXPECT_EQ(Json(Isitool({"check", "--json", "tiny.ISI"}).out, "d"),
            "[{'file': 'tiny.ISI', 'faults': [], 'faultCount': 0, 'remarkCount': 0, 'entries': 7, "
            "'deleted': 1, 'nodes': 4, 'levels': 2, 'listSectors': 1, 'compared': True, "
            "'dataFile': 'tiny.TXT'}]");
}

TEST_F(Check, FaultsForPrograms) {
  scratch.Write("tiny.TXT", kTinyData);
  std::vector<std::byte> image = TinyImage();
  layout::Store32(image, layout::kRecordsIndexed, 8, kLittle);
  layout::Store16(image, 2048 + 16 + 8, 5, kLittle);
  WriteBytes("tiny.ISI", image);
  const ToolResult run = Isitool({"check", "--json", "--no-data", "tiny.ISI"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(Json(run.out, "d"),
            "[{'file': 'tiny.ISI', 'faults': ["
            "{'sector': 4, 'remark': True, 'text': 'entry 2: dupSeq 5 follows 0'}, "
            "{'sector': 0, 'remark': False, 'text': '8 records indexed, the tree holds 7'}], "
            "'faultCount': 1, 'remarkCount': 1, 'entries': 7, 'deleted': 1, 'nodes': 4, "
            "'levels': 2, 'listSectors': 1, 'compared': False, 'reason': 'not asked for'}]");
}

TEST_F(Check, WhatIsNotComparedIsSaid) {
  WriteTiny();
  EXPECT_NE(Isitool({"check", "--no-data", "tiny.ISI"})
                .out.find("; not compared with the data (not asked for): no faults\n"),
            std::string::npos);
  std::filesystem::remove("tiny.TXT");
  EXPECT_NE(
      Isitool({"check", "tiny.ISI"})
          .out.find(
              "; not compared with the data (tiny.TXT: No such file or directory): no faults\n"),
      std::string::npos);
  const ToolResult run = Isitool({"check", "--data=tiny.TXT", "tiny.ISI"});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "isitool: tiny.TXT: No such file or directory\n");
}

TEST_F(Check, WithoutAStoredLine) {
  std::vector<std::byte> image = TinyImage();
  layout::Store8(image, layout::kCommandLine, 0);
  scratch.Write("tiny.TXT", kTinyData);
  WriteBytes("tiny.ISI", image);
  EXPECT_NE(Isitool({"check", "tiny.ISI"})
                .out.find("; not compared with the data (no command line is stored): no faults"),
            std::string::npos);
}

TEST_F(Check, LineThatBuildsAnotherIndex) {
  for (const std::string line : {"tiny -i", "tiny -r", "tiny -c", "tiny", "tiny -1-4\x01"}) {
    std::vector<std::byte> image = TinyImage();
    for (std::size_t i = 0; i < 20; ++i) {
      layout::Store8(image, layout::kCommandLine + i,
                     i < line.size() ? static_cast<unsigned char>(line[i]) : 0);
    }
    scratch.Write("tiny.TXT", kTinyData);
    WriteBytes("tiny.ISI", image);
    EXPECT_NE(
        Here({"check", "tiny.ISI"})
            .out.find("; not compared with the data (the stored command line builds no index)"),
        std::string::npos)
        << line;
  }
}

// ---- The structure ----

TEST_F(Check, KeyOutOfOrder) {
  std::vector<std::byte> image = TinyImage();
  layout::Store8(image, 2560 + 12, 'A');  // LIME becomes AIME
  EXPECT_EQ(Alone(image), "sector 5: entry 1: its key is lower than the one before it\n");
}

TEST_F(Check, DuplicatesNumbered) {
  std::vector<std::byte> image = TinyImage();
  layout::Store16(image, 2048 + 16 + 8, 0, kLittle);
  EXPECT_EQ(Alone(image), "sector 4: entry 2: dupSeq 0 follows 0\n");
  layout::Store16(image, 2048 + 8, 3, kLittle);
  layout::Store16(image, 2048 + 16 + 8, 9, kLittle);
  EXPECT_EQ(Alone(image),
            "remark: sector 4: entry 1: the first of its key has dupSeq 3\n"
            "remark: sector 4: entry 2: dupSeq 9 follows 3\n");
}

// Behind 65535 a key's records are numbered from 0 again.
TEST_F(Check, DuplicatesBeyondSixteenBits) {
  std::vector<std::byte> image = TinyImage();
  layout::Store16(image, 2048 + 8, 65535, kLittle);
  layout::Store16(image, 2048 + 16 + 8, 0, kLittle);
  EXPECT_EQ(Alone(image), "remark: sector 4: entry 1: the first of its key has dupSeq 65535\n");
  layout::Store16(image, 2048 + 16 + 8, 1, kLittle);
  EXPECT_NE(Alone(image).find("sector 4: entry 2: dupSeq 1 follows 65535\n"), std::string::npos);
}

TEST_F(Check, Levels) {
  std::vector<std::byte> image = TinyImage();
  layout::Store8(image, 2048 + 506, 1);
  EXPECT_EQ(Alone(image),
            "sector 4: level 1, below a node of level 1\n"
            "remark: sector 4: entry 1 has no child\n"
            "remark: sector 4: entry 2 has no child\n"
            "remark: sector 4: no last child\n");
  image = TinyImage();
  layout::Store8(image, 1024 + 506, 2);
  EXPECT_EQ(Alone(image),
            "remark: sector 4: level 0, directly below a node of level 2\n"
            "remark: sector 5: level 0, directly below a node of level 2\n")
      << "levels on the right edge may be skipped";
}

TEST_F(Check, LengthAndPlaceOfRecords) {
  std::vector<std::byte> image = TinyImage();
  layout::Store16(image, 3072 + 10, 0, kLittle);
  EXPECT_EQ(Alone(image), "sector 6: entry 1: the record's length is 0\n");
  layout::Store16(image, 3072 + 10, 6, kLittle);  // 35 + 6 is behind 40
  EXPECT_EQ(Alone(image),
            "sector 6: entry 1: the record at 35 does not lie before the end of the data\n");
}

TEST_F(Check, RecordsInOnePlace) {
  std::vector<std::byte> image = TinyImage();
  layout::Store32(image, 3072, 15, kLittle);  // SLOE leads to LIME's record
  EXPECT_EQ(Alone(image), "sector 6: entry 1: the record at 15 is indexed in sector 5 too\n");
  layout::Store32(image, 3072, 10, kLittle);  // to the deleted one
  EXPECT_EQ(Alone(image), "sector 6: entry 1: the record at 10 is in the list of deleted ones\n");
}

TEST_F(Check, Counts) {
  std::vector<std::byte> image = TinyImage();
  layout::Store32(image, layout::kRecordsIndexed, 6, kLittle);
  EXPECT_EQ(Alone(image), "header: 6 records indexed, the tree holds 7\n");
  layout::Store32(image, layout::kRecordsIndexed, 9, kLittle);
  EXPECT_EQ(Alone(image), "header: 9 records indexed, the tree holds 7\n");
  layout::Store8(image, layout::kFileFlags, 0x84);  // a build that may leave duplicates out
  EXPECT_EQ(Alone(image), "");
}

TEST_F(Check, List) {
  std::vector<std::byte> image = TinyImage();
  layout::Store8(image, 1536 + 510, 0);
  EXPECT_EQ(Alone(image), "sector 3: the marks of a list sector are missing\n");
  image = TinyImage();
  layout::Store32(image, layout::kDeletedCount, 2, kLittle);
  EXPECT_EQ(Alone(image), "header: 2 deleted records, the list holds 1\n");
  image = TinyImage();
  layout::Store32(image, layout::kDeletedListHead, 0xFFFFFFFF, kLittle);
  EXPECT_EQ(Alone(image),
            "header: 1 deleted record, but there is no deleted-record list\n"
            "header: 1 deleted record, the list holds 0\n");
  image = TinyImage();
  layout::Store32(image, 1536, 40, kLittle);
  EXPECT_EQ(Alone(image),
            "sector 3: the deleted record at 40 does not lie before the end of the data\n");
}

TEST_F(Check, SectorsThatNothingRefersTo) {
  std::vector<std::byte> image = TinyImage();
  image.resize(image.size() + 512);
  EXPECT_EQ(Alone(image), "remark: sector 7: nothing refers to it\n");
  image.resize(image.size() + 1024);
  EXPECT_EQ(Alone(image), "remark: sector 7: nothing refers to it and the 2 sectors behind it\n");
  EXPECT_EQ(Faults(image, {"--no-data", "--strict"}),
            "sector 7: nothing refers to it and the 2 sectors behind it\n");
}

TEST_F(Check, CutInASector) {
  std::vector<std::byte> image = TinyImage();
  image.resize(image.size() - 1);
  EXPECT_EQ(Alone(image),
            "header: the file has 3583 bytes, no multiple of 512: it was cut off\n"
            "sector 2: last child: address 3072 is not one of a node or list sector in the file\n"
            "header: 7 records indexed, the tree holds 6\n");
}

TEST_F(Check, HeaderFields) {
  const auto with = [this](std::size_t at, unsigned value) {
    std::vector<std::byte> image = TinyImage();
    layout::Store8(image, at, value);
    return Alone(image);
  };
  EXPECT_EQ(with(layout::kKeyLength, 5).substr(0, 50),
            "header: key table: 4 columns for a key of 5 bytes\n");
  EXPECT_EQ(with(layout::kKeyLength, 0),
            "header: key table: 4 columns for a key of 0 bytes\n"
            "header: the key length is 0\n");
  EXPECT_EQ(with(layout::kRootNode + 1, 6), "header: the root's address is 1536\n");
  EXPECT_EQ(with(1024 + 500, 32), "header: the root holds 32 entries, more than the 31 that fit\n");
  EXPECT_EQ(with(layout::kConditionTable, 3), "header: condition 1: unknown flag 00\n");
  EXPECT_EQ(with(layout::kConditionTable + 5, 1),
            "remark: header: conditions: what stands behind the last is not zero\n");
  EXPECT_EQ(with(40, 1), "remark: header: bytes 36 to 43 are not zero\n");
  EXPECT_EQ(with(layout::kAddrFlags, 0x40), "remark: header: addrFlags: unknown bits in 40\n");
  EXPECT_EQ(with(layout::kFileFlags, 0x82),
            "remark: header: fileFlags: 02 without 20\n"
            "remark: header: a deleted-record list, but records "
            "of variable length\n");
  EXPECT_EQ(with(layout::kFileFlags, 0x88),
            "remark: header: fileFlags: space compression without variable length\n"
            "remark: header: a deleted-record list, but records of variable length\n");
  EXPECT_EQ(with(layout::kDataFileName + 100, 'x'),
            "remark: header: bytes behind the data file's name\n");
}

TEST_F(Check, VersionThatThereIsNot) {
  std::vector<std::byte> image = TinyImage();
  layout::Store8(image, layout::kVersion, 0x99);
  layout::Store8(image, layout::kVersionCheck, 0x66);  // the bytes are each other's complement
  EXPECT_EQ(Alone(image), "header: unknown version 99\n");
}

TEST_F(Check, KeyBehindTheLastColumn) {
  std::vector<std::byte> image = TinyImage();
  layout::Store16(image, layout::kKeyTable, 65534, kLittle);  // and three columns more
  EXPECT_EQ(Alone(image), "header: key table: entry 1: no such column\n");
}

TEST_F(Check, CommandLineWithoutAnEnd) {
  std::vector<std::byte> image = TinyImage();
  for (std::size_t i = 0; i < layout::kCommandLineSize; ++i) {
    layout::Store8(image, layout::kCommandLine + i, 'x');
  }
  EXPECT_EQ(Alone(image), "header: the stored command line has no end\n");
}

TEST_F(Check, AtMostAThousandLines) {
  // Every second key of a large tree out of order: each fault a line, up to 1000.
  MadeTree tree = MakeTree({.name = "large", .keyLength = 4, .entries = 9000});
  for (std::size_t at = 2048; at < tree.image.size(); at += 512) {
    for (std::size_t entry = at; entry + 16 <= at + 500; entry += 16) {
      layout::Store16(tree.image, entry + 10, 0, kLittle);
    }
  }
  WriteBytes("large.ISI", tree.image);
  const ToolResult run = Here({"check", "--no-data", "large.ISI"});
  EXPECT_EQ(run.status, 1);
  std::size_t lines = 0;
  for (const char c : run.out) lines += c == '\n' ? 1U : 0U;
  EXPECT_LE(lines, 2003U);
  EXPECT_NE(run.out.find(" more faults\n"), std::string::npos);
  const std::string json = Here({"check", "--no-data", "--json", "large.ISI"}).out;
  EXPECT_EQ(Json(json,
                 "len([f for f in d[0]['faults'] if not f['remark']]), "
                 "d[0]['faultCount'] > 1000"),
            "1000 True");
}

// Trees that no build makes, but updates do, have no faults, only remarks.
TEST_F(Check, UpdatedTreesAreSound) {
  for (const TreePlan& plan : AllPlans()) {
    const MadeTree tree = MakeTree(plan);
    WriteBytes("old.ISI", tree.image);
    const ToolResult run = Here({"check", "--no-data", "old.ISI"});
    EXPECT_EQ(run.status, 0) << plan.name << "\n" << run.out;
  }
}

// ---- The data ----

TEST_F(Check, KeyOfAnotherRecord) {
  data[35] = 'T';  // SLOE becomes TLOE
  EXPECT_EQ(Faults(TinyImage()),
            "sector 6: entry 1: key 'SLOE', but the record at 35 has 'TLOE'\n");
}

TEST_F(Check, RecordMissing) {
  data += "TEAS\n";
  EXPECT_EQ(Faults(TinyImage()),
            "the record at 40 is not in the index\n"
            "header: the data ends at 40, but in the data file at 45\n");
}

// No record is longer than 65,534 bytes. What lies before it has been compared.
TEST_F(Check, DataThatCannotBeIndexedToItsEnd) {
  data += std::string(70000, 'x');
  EXPECT_EQ(Faults(TinyImage()), "data file: a record is too long, from byte 40 on\n");
  EXPECT_EQ(Json(Here({"check", "--json", "tiny.ISI"}).out, "d[0]['faults']"),
            "[{'sector': None, 'remark': False, "
            "'text': 'data file: a record is too long, from byte 40 on'}]");
}

TEST_F(Check, LineAndFlagsOfDifferentFormats) {
  std::vector<std::byte> image = TinyImage();
  layout::Store8(image, layout::kFileFlags, 0xA2);  // variable length, 20 set as it must be
  scratch.Write("tiny.TXT", data);
  WriteBytes("tiny.ISI", image);
  EXPECT_NE(
      Here({"check", "tiny.ISI"})
          .out.find("; not compared with the data (the stored command line and the flags name "
                    "different record formats)"),
      std::string::npos);
}

TEST_F(Check, EntryLeftOver) {
  data.resize(35);
  EXPECT_EQ(Faults(TinyImage()),
            "sector 6: entry 1: no record to index begins at 35\n"
            "header: the data ends at 40, but in the data file at 35\n");
}

TEST_F(Check, DeletedSince) {
  data.replace(15, 5, 5, '\0');
  EXPECT_EQ(Faults(TinyImage()),
            "sector 5: entry 1: no record to index begins at 15\n"
            "the deleted record at 15 is not in the list\n");
}

TEST_F(Check, WrittenAgainSince) {
  data.replace(10, 5, "PEAS\n");
  EXPECT_EQ(Faults(TinyImage()),
            "the record at 10 is not in the index\n"
            "the list holds a record at 10, which is not deleted\n");
}

TEST_F(Check, LengthOfARecord) {
  std::vector<std::byte> image = TinyImage();
  layout::Store16(image, 2560 + 16 + 10, 4, kLittle);
  EXPECT_EQ(Faults(image), "sector 5: entry 2: length 4, but the record at 0 has 5\n");
}

TEST_F(Check, LineThatMakesOtherKeys) {
  std::vector<std::byte> image = TinyImage();
  layout::Store8(image, layout::kCommandLine + 12, '3');
  scratch.Write("tiny.TXT", kTinyData);
  WriteBytes("tiny.ISI", image);
  EXPECT_NE(Here({"check", "tiny.ISI"})
                .out.find("not compared with the data (the stored command line makes keys of 3 "
                          "bytes, the index has 4)"),
            std::string::npos);
}

// Real files, from the build to the compaction, also with duplicates left out and sectors of
// deleted records that do not fit one.
TEST_F(Check, BuildsAndCompactions) {
  std::string text;
  for (int i = 0; i < 3000; ++i) {
    text +=
        i % 7 == 3 ? std::string(10, '\0') : "k" + std::to_string(10000 + i * 37 % 1000) + "abc\n";
  }
  scratch.Write("data.TXT", text);
  for (const std::string options : {"-1-6", "-m34,1-6", "-n0,1-6", "-n$u,6-1", "-p9=b,1-6,9"}) {
    ASSERT_EQ(Tavindex({"data", options}), 0) << scratch.Read(".log");
    const ToolResult built = Here({"check", "--strict", "data.ISI"});
    EXPECT_EQ(built.status, 0) << options << "\n" << built.out;
    EXPECT_NE(built.out.find("; compared with data.TXT: no faults\n"), std::string::npos);
    ASSERT_EQ(Tavindex({"data", "-c"}), 0) << scratch.Read(".log");
    const ToolResult compacted = Here({"check", "--strict", "data.ISI"});
    EXPECT_EQ(compacted.status, 0) << options << "\n" << compacted.out;
  }
}

TEST_F(Check, EmptyIndex) {
  scratch.Write("none.TXT", "");
  ASSERT_EQ(Tavindex({"none,,l5", "-1-3"}), 0) << scratch.Read(".log");
  const ToolResult run = Isitool({"check", "--strict", "none.ISI"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out,
            "none.ISI: 0 records, 0 deleted records, 1 node in 1 level; compared with none.TXT: no "
            "faults\n");
}

}  // namespace
}  // namespace tavindex::test
