#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "isi_layout.h"
#include "tool_run.h"
#include "tree_maker.h"

namespace tavindex::test {
namespace {

class Dump : public ToolTest {
 protected:
  // The keys that `dump --keys` prints with these options.
  std::string Keys(std::vector<std::string> options) {
    options.insert(options.begin(), {"dump", "--keys", "tiny.ISI"});
    const ToolResult run = Here(options);
    EXPECT_EQ(run.status, 0) << run.err;
    std::string keys = run.out;
    for (char& c : keys) c = c == '\n' ? ' ' : c;
    return keys;
  }
};

TEST_F(Dump, Tiny) {
  WriteTiny();
  const ToolResult run = Isitool({"dump", "tiny.ISI"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out,
            "   address  length    dup  key\n"
            "         5       5      0  FIGS\n"
            "        20       5      1  FIGS\n"
            "        25       5      0  KIWI\n"
            "        15       5      0  LIME\n"
            "         0       5      0  PEAR\n"
            "        30       5      0  PLUM\n"
            "        35       5      0  SLOE\n");
}

TEST_F(Dump, RecordNumbersInABigEndianFile) {
  WriteTiny(true, ByteOrder::kBig);
  const ToolResult run = Isitool({"dump", "tiny.ISI", "--to=KIWI"});
  EXPECT_EQ(run.out,
            "   address  length    dup  key\n"
            "         1       5      0  FIGS\n"
            "         4       5      1  FIGS\n"
            "         5       5      0  KIWI\n");
}

TEST_F(Dump, KeysAndHex) {
  WriteTiny();
  EXPECT_EQ(Isitool({"dump", "--keys", "tiny.ISI"}).out,
            "FIGS\nFIGS\nKIWI\nLIME\nPEAR\nPLUM\nSLOE\n");
  EXPECT_EQ(Isitool({"dump", "--keys", "--hex", "--from=SLOE", "tiny.ISI"}).out, "534C4F45\n");
  EXPECT_EQ(Isitool({"dump", "--hex", "--from=SLOE", "tiny.ISI"}).out,
            "   address  length    dup  key\n"
            "        35       5      0  534C4F45\n");
}

TEST_F(Dump, FromAndToAreInclusive) {
  WriteTiny();
  EXPECT_EQ(Keys({"--from=KIWI"}), "KIWI LIME PEAR PLUM SLOE ");
  EXPECT_EQ(Keys({"--from=KIWJ"}), "LIME PEAR PLUM SLOE ");
  EXPECT_EQ(Keys({"--to=LIME"}), "FIGS FIGS KIWI LIME ");
  EXPECT_EQ(Keys({"--from=FIGS", "--to=FIGS"}), "FIGS FIGS ");
  EXPECT_EQ(Keys({"--from=T"}), "");
  EXPECT_EQ(Keys({"--from=\\xFF"}), "");
  EXPECT_EQ(Keys({"--to=\\x00"}), "");
}

// A shorter key stands for all that begin with it.
TEST_F(Dump, ShortKeys) {
  WriteTiny();
  EXPECT_EQ(Keys({"--from=P", "--to=P"}), "PEAR PLUM ");
  EXPECT_EQ(Keys({"--from=PL"}), "PLUM SLOE ");
  EXPECT_EQ(Keys({"--to=K"}), "FIGS FIGS KIWI ");
}

TEST_F(Dump, LongKeyIsMisuse) {
  WriteTiny();
  const ToolResult run = Isitool({"dump", "--from=KIWIS", "tiny.ISI"});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "isitool: tiny.ISI: its keys have 4 bytes, fewer than the one given\n");
}

TEST_F(Dump, LinesForPrograms) {
  WriteTiny();
  const ToolResult run = Isitool({"dump", "--json", "--from=P", "tiny.ISI"});
  EXPECT_EQ(Json(run.out, "d"),
            "[{'key': 'PEAR', 'keyHex': '50454152', 'address': 0, 'length': 5, 'duplicate': 0, "
            "'sector': 5, 'entry': 2, 'level': 0}, "
            "{'key': 'PLUM', 'keyHex': '504C554D', 'address': 30, 'length': 5, 'duplicate': 0, "
            "'sector': 2, 'entry': 2, 'level': 1}, "
            "{'key': 'SLOE', 'keyHex': '534C4F45', 'address': 35, 'length': 5, 'duplicate': 0, "
            "'sector': 6, 'entry': 1, 'level': 0}]");
  EXPECT_EQ(Json(Isitool({"dump", "--json", "--keys", "--to=F", "tiny.ISI"}).out, "d[1]"),
            "{'key': 'FIGS', 'keyHex': '46494753'}");
}

TEST_F(Dump, EmptyIndex) {
  WriteBytes("old.ISI", MakeTree({.name = "empty"}).image);
  EXPECT_EQ(Isitool({"dump", "old.ISI"}).out, "   address  length    dup  key\n");
  EXPECT_EQ(Isitool({"dump", "--json", "old.ISI"}).out, "");
}

// Every tree that can be, against the walk of its maker: keys of any bytes survive.
TEST_F(Dump, EveryTree) {
  for (const TreePlan& plan : AllPlans()) {
    const ::testing::ScopedTrace trace(__FILE__, __LINE__, plan.name);
    const MadeTree tree = MakeTree(plan);
    WriteBytes("old.ISI", tree.image);
    const ToolResult run = Here({"dump", "--hex", "old.ISI"});
    EXPECT_EQ(run.status, 0) << run.err;
    std::istringstream lines(run.out);
    std::string line;
    std::getline(lines, line);
    for (const ModelEntry& entry : tree.walk) {
      std::uint32_t address = 0;
      unsigned length = 0;
      unsigned dup = 0;
      std::string key;
      lines >> address >> length >> dup >> key;
      std::string digits;
      for (const char c : entry.key) {
        constexpr const char* kDigits = "0123456789ABCDEF";
        const auto byte = static_cast<unsigned char>(c);
        digits += {kDigits[byte >> 4], kDigits[byte & 15]};
      }
      ASSERT_TRUE(lines.good());
      ASSERT_EQ(std::tuple(address, length, dup, key),
                std::tuple(entry.lfa, unsigned{entry.recLength}, unsigned{entry.dupSeq}, digits));
    }
    lines >> line;
    EXPECT_TRUE(lines.eof());
  }
}

// The rest of the tree is printed, and the fault told.
TEST_F(Dump, GoesOnBehindAFault) {
  std::vector<std::byte> image = TinyImage();
  layout::Store32(image, 1024 + 16 + 4, 77, ByteOrder::kLittle);  // the child of PLUM
  WriteBytes("tiny.ISI", image);
  const ToolResult run = Isitool({"dump", "--keys", "tiny.ISI"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "FIGS\nFIGS\nKIWI\nPLUM\nSLOE\n");
  EXPECT_EQ(run.err,
            "isitool: tiny.ISI: sector 2: child of entry 2: address 77 is on no sector border\n");
}

}  // namespace
}  // namespace tavindex::test
