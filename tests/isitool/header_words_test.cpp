#include "isitool/header_words.h"

#include <gtest/gtest.h>

namespace tavindex::test {
namespace {

IsiHeader HeaderWith(std::string_view line, std::vector<KeyTableEntry> keys) {
  IsiHeader header;
  header.commandLine.Assign(line);
  for (std::size_t i = 0; i < keys.size(); ++i) header.keyTable.at(i) = keys[i];
  return header;
}

TEST(KeyWords, ColumnsCountFromOne) {
  const IsiHeader header = HeaderWith("data -1-10,20", {{0, 10}, {19, 1}});
  EXPECT_EQ(DescribeKey(KeyParts(header)), "columns 1-10, 20");
}

// The table keeps the lowest column; only the command line tells the direction.
TEST(KeyWords, DownwardRangeComesFromTheCommandLine) {
  const std::vector<KeyTableEntry> table = {{20, 10}, {0, 5}};
  EXPECT_EQ(DescribeKey(KeyParts(HeaderWith("data -30-21,1-5", table))), "columns 30-21, 1-5");
  EXPECT_EQ(DescribeKey(KeyParts(HeaderWith("", table))), "columns 21-30, 1-5");
  EXPECT_EQ(DescribeKey(KeyParts(HeaderWith("data -x", table))), "columns 21-30, 1-5");
  EXPECT_EQ(DescribeKey(KeyParts(HeaderWith("data -1", table))), "columns 21-30, 1-5");
}

TEST(KeyWords, NoColumns) { EXPECT_EQ(DescribeKey(KeyParts(HeaderWith("", {}))), "no columns"); }

TEST(ConditionWords, SimpleAndCompound) {
  EXPECT_EQ(DescribeCondition({40, 0x20, 'O'}), "column 40 is 'O'");
  EXPECT_EQ(DescribeCondition({7, 0x10, 0xFF}), "column 7 is not '\\xFF'");
  EXPECT_EQ(DescribeCondition({20, 0x20, 0}), "compound condition up to column 20 is true");
  EXPECT_EQ(DescribeCondition({20, 0x10, 0}), "compound condition up to column 20 is false");
}

TEST(FlagWords, EveryBitOnce) {
  EXPECT_TRUE(FileFlagWords(0).empty());
  EXPECT_EQ(FileFlagWords(0xFF).size(), 8U);
  EXPECT_EQ(FileFlagWords(0x04).front(), "duplicate keys are not allowed");
  EXPECT_EQ(AddrFlagWords(0x01).front(), "record-number mode");
  EXPECT_EQ(AddrFlagWords(0x80).front(), "unknown bits");
  EXPECT_EQ(AddrFlagWords(0x19).size(), 3U);
}

TEST(EorWords, FollowTheFlags) {
  EXPECT_EQ(EorName(0x80), "LF");
  EXPECT_EQ(EorName(0x40), "CR LF");
  EXPECT_EQ(EorName(0xC0), "LF CR");
  EXPECT_EQ(EorName(0x00), "CR");
  EXPECT_EQ(EorName(0x10), "none");
}

}  // namespace
}  // namespace tavindex::test
