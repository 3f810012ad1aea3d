#include <gtest/gtest.h>
#include <sys/stat.h>
#include <utime.h>

#include <string>
#include <vector>

#include "isi_layout.h"
#include "tool_run.h"

namespace tavindex::test {
namespace {

class Info : public ToolTest {
 protected:
  // Both files of 1970-01-02, the data file a second older or newer.
  void SetTimes(int newerData) const {
    constexpr std::time_t kDay = 86400;
    const utimbuf index = {kDay, kDay};
    const utimbuf data = {kDay + newerData, kDay + newerData};
    ASSERT_EQ(::utime("tiny.ISI", &index), 0);
    ASSERT_EQ(::utime("tiny.TXT", &data), 0);
  }
};

TEST_F(Info, Tiny) {
  WriteTiny();
  SetTimes(-1);
  const ToolResult run = Isitool({"info", "tiny.ISI"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out,
            "Index           tiny.ISI\n"
            "                3584 bytes, modified 1970-01-02 00:00:00\n"
            "Data file       tiny.TXT\n"
            "                40 bytes, modified 1970-01-01 23:59:59\n"
            "Age             the index is not older than the data file\n"
            "Records         4 bytes, then LF\n"
            "Key             4 bytes: columns 1-4\n"
            "Conditions      none: every record\n"
            "Command line    tavindex tiny -m07,1-4\n"
            "Byte order      little-endian\n"
            "Addresses       bytes\n"
            "fileFlags  80   end-of-record mark begins with LF\n"
            "addrFlags  00   none\n"
            "Indexed         7 records\n"
            "Deleted         1 record, list at 1536\n"
            "Data ends at    40\n"
            "Root at         1024\n"
            "Change counter  0\n");
}

TEST_F(Info, TinyForPrograms) {
  WriteTiny(true, ByteOrder::kBig);
  SetTimes(1);
  EXPECT_EQ(Json(Isitool({"info", "--json", "tiny.ISI"}).out, "d"),
            "[{'file': 'tiny.ISI', 'size': 3584, 'modified': '1970-01-02T00:00:00Z', "
            "'usable': True, 'dataFile': {'name': 'tiny.TXT', 'found': True, 'path': 'tiny.TXT', "
            "'size': 40, 'modified': '1970-01-02T00:00:01Z', 'newerThanIndex': True}, "
            "'keyLength': 4, 'key': [{'from': 1, 'to': 4}], 'conditions': [], "
            "'commandLine': 'tiny -m07,1-4', 'byteOrder': 'big', 'addresses': 'numbers', "
            "'recordLength': 4, 'endOfRecord': 'LF', 'fileFlags': {'value': 128, 'meaning': "
            "['end-of-record mark begins with LF']}, 'addrFlags': {'value': 1, 'meaning': "
            "['record-number mode']}, 'recordsIndexed': 7, 'deletedCount': 1, "
            "'deletedListHead': 3, 'dataEnd': 8, 'rootNode': 2, 'spinCounter': 0}]");
}

TEST_F(Info, OlderThanItsData) {
  WriteTiny();
  SetTimes(1);
  EXPECT_NE(Isitool({"info", "tiny.ISI"})
                .out.find("Age             the index is older than the data file\n"),
            std::string::npos);
}

TEST_F(Info, DataFileMissing) {
  WriteTiny();
  std::filesystem::remove("tiny.TXT");
  const ToolResult run = Isitool({"info", "tiny.ISI"});
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("Age             not found: No such file or directory\n"),
            std::string::npos);
  EXPECT_EQ(Json(Isitool({"info", "--json", "tiny.ISI"}).out, "d[0]['dataFile']"),
            "{'name': 'tiny.TXT', 'found': False, 'reason': 'No such file or directory'}");
  EXPECT_EQ(Isitool({"info", "--data=none", "tiny.ISI"}).status, 2);
}

TEST_F(Info, ABuildWithEverything) {
  scratch.Write("all.TXT", "Aline-one\r\nBline-two\r\nAline-six\r\n");
  ASSERT_EQ(Tavindex({"all", "-nwo=1p1#B,p=1='A'&9<'x',9-6,2"}), 0) << scratch.Read(".log");
  const std::string out = Isitool({"info", "all.ISI"}).out;
  EXPECT_NE(out.find("Records         9 bytes, then CR LF\n"
                     "Key             5 bytes: columns 9-6, 2\n"
                     "Conditions      column 1 is not 'B'\n"
                     "                compound condition up to column 9 is true\n"
                     "Command line    tavindex all -nwo=1p1#B,p=1='A'&9<'x',9-6,2\n"),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("fileFlags  45   records are added at the end of the data file (option w)\n"
                     "                duplicate keys are not allowed\n"
                     "                end-of-record mark of two bytes\n"
                     "addrFlags  08   operating system type 1 (option o)\n"
                     "Indexed         1 record\n"
                     "Deleted         0 records, no list\n"),
            std::string::npos)
      << out;
  EXPECT_EQ(Json(Isitool({"info", "--json", "all.ISI"}).out,
                 "d[0]['conditions'], d[0]['key'], d[0]['deletedListHead']"),
            "[{'column': 1, 'equal': False, 'compound': False, 'character': 'B'}, "
            "{'column': 9, 'equal': True, 'compound': True}] "
            "[{'from': 9, 'to': 6}, {'from': 2, 'to': 2}] None");
}

// A header that no tree can be read by is shown all the same.
TEST_F(Info, HeaderThatCannotBeUsed) {
  std::vector<std::byte> image = TinyImage();
  layout::Store16(image, layout::kKeyLength, 0, ByteOrder::kLittle);
  WriteBytes("tiny.ISI", image);
  const ToolResult run = Isitool({"info", "tiny.ISI"});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.out.find("\n                cannot be used: the key length is 0\n"),
            std::string::npos);
}

TEST_F(Info, BytesThatAreNoText) {
  std::vector<std::byte> image = TinyImage();
  for (std::size_t i = 0; i < 20; ++i) {
    layout::Store8(image, layout::kDataFileName + i, static_cast<unsigned>(0xF0 + i));
    layout::Store8(image, layout::kCommandLine + i, static_cast<unsigned>(1 + i));
  }
  WriteBytes("tiny.ISI", image);
  const ToolResult run = Isitool({"info", "tiny.ISI"});
  EXPECT_NE(run.out.find("Data file       \\xF0\\xF1"), std::string::npos);
  EXPECT_NE(run.out.find("Command line    tavindex \\x01\\x02"), std::string::npos);
  EXPECT_EQ(Json(Isitool({"info", "--json", "tiny.ISI"}).out,
                 "[ord(c) for c in d[0]['dataFile']['name'][:3] + d[0]['commandLine'][:2]]"),
            "[240, 241, 242, 1, 2]");
}

}  // namespace
}  // namespace tavindex::test
