#include "sort/tag_record.h"

#include "isi/isi_format.h"
#include "isi/tree_builder.h"
#include "sort_test.h"

namespace tavindex::test {
namespace {

class WriteTagRecordTest : public SortTest {
 protected:
  WriteTagRecordTest() {
    run.keys.keyLength = 2;
    StartTree(run, 2, entry::Size(2));
    run.files.outputFd =
        OpenFile(scratch.Path("data.isi").c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
  }
  Result Write(std::uint64_t lfa, std::uint32_t length, std::string key = "kk") {
    return WriteTagRecord(run, AsBytes(ItemBytes({lfa, length, key})).data());
  }
  std::uint32_t Entries() { return node::EntryCount(LevelNode(run, 0)); }
};

TEST_F(WriteTagRecordTest, HandsTheItemToTheTree) {
  run.data.recordLength = 9;
  EXPECT_EQ(Write(0x12345678, 9), kOk);
  ASSERT_EQ(Entries(), 1U);
  const std::string expected("\x78\x56\x34\x12\0\0\0\0\0\0\x09\0kk", 14);
  EXPECT_EQ(AsText({LevelNode(run, 0), 14}), expected);
  EXPECT_FALSE(run.data.variableLengthSeen);
}

TEST_F(WriteTagRecordTest, DoesNothingInSortMode) {
  UseSortMode();
  run.data.recordLength = 9;
  EXPECT_EQ(Write(0, 5), kOk);
  EXPECT_EQ(Entries(), 0U);
  EXPECT_FALSE(run.data.shortRecordSeen);
}

TEST_F(WriteTagRecordTest, TakesTheDeclaredLengthWhereNoneIsKnown) {
  run.options.declaredRecordLength = 81;
  EXPECT_EQ(Write(0, 5), kOk);
  EXPECT_EQ(run.data.recordLength, 81U);
  EXPECT_FALSE(run.data.shortRecordSeen);
}

TEST_F(WriteTagRecordTest, TakesAtLeast256ForVariableRecords) {
  run.options.variableRecords = true;
  EXPECT_EQ(Write(0, 255), kOk);
  EXPECT_EQ(run.data.recordLength, 256U);
  run.data.recordLength = 0;
  EXPECT_EQ(Write(300, 256), kOk);
  EXPECT_EQ(run.data.recordLength, 256U);
  run.data.recordLength = 0;
  EXPECT_EQ(Write(900, 257), kOk);
  EXPECT_EQ(run.data.recordLength, 257U);
}

TEST_F(WriteTagRecordTest, TakesTheFirstFixedRecordsLength) {
  EXPECT_EQ(Write(0, 5), kOk);
  EXPECT_EQ(run.data.recordLength, 5U);
}

// The address takes two of the line's three numbers: the maximum shows its high half.
TEST_F(WriteTagRecordTest, ReportsTheFirstShortRecord) {
  run.control.debugMode = true;
  run.data.recordLength = 9;
  run.data.variableAfterDeleted = true;
  EXPECT_EQ(Write(0xABC, 5, "aa"), kOk);
  EXPECT_EQ(Write(0xDEF, 4, "bb"), kOk);
  EXPECT_EQ(console.Text(),
            "\nWriteTagRecord(1):\n1st Short Rec Length:5 at LFA:0x00000ABC Max Allowed "
            "RecordLength:0!\n");
  EXPECT_TRUE(run.data.shortRecordSeen);
  EXPECT_TRUE(run.data.variableLengthSeen);
  EXPECT_FALSE(run.data.variableAfterDeleted);
  EXPECT_FALSE(run.data.longRecordSeen);
}

TEST_F(WriteTagRecordTest, ReportsTheFirstLongRecord) {
  run.control.debugMode = true;
  run.data.recordLength = 9;
  run.isi.recordNumberMode = true;
  run.data.variableAfterDeleted = true;
  EXPECT_EQ(Write(0x700000002, 10, "aa"), kOk);
  EXPECT_EQ(Write(0x800000006, 11, "bb"), kOk);
  EXPECT_EQ(console.Text(),
            "\nWriteTagRecord(2):\n1st Long Rec Length:10 at LFA:0x00000002 Max Allowed "
            "RecordLength:7!\n");
  EXPECT_TRUE(run.data.longRecordSeen);
  EXPECT_TRUE(run.data.variableLengthSeen);
  EXPECT_FALSE(run.data.variableAfterDeleted);
  EXPECT_FALSE(run.data.shortRecordSeen);
}

TEST_F(WriteTagRecordTest, SaysNothingOfALongRecordWhenOneWasSeenBefore) {
  run.control.debugMode = true;
  run.data.recordLength = 9;
  run.data.longRecordSeen = true;
  EXPECT_EQ(Write(2, 10), kOk);
  EXPECT_EQ(console.Text(), "");
  EXPECT_TRUE(run.data.variableLengthSeen);
}

TEST_F(WriteTagRecordTest, NotesLengthsSilentlyOutsideDebugMode) {
  run.data.recordLength = 9;
  EXPECT_EQ(Write(2, 10, "aa"), kOk);
  EXPECT_EQ(Write(12, 3, "bb"), kOk);
  EXPECT_EQ(console.Text(), "");
  EXPECT_TRUE(run.data.shortRecordSeen);
  EXPECT_TRUE(run.data.longRecordSeen);
}

TEST_F(WriteTagRecordTest, PassesOnTheTreeLevelLimit) {
  run.options.fillPercent = 0;
  run.isi.sectors.Free();
  StartTree(run, 2, entry::Size(2));
  EXPECT_EQ(Write(0, 5), -13);
}

TEST_F(WriteTagRecordTest, GivesMinusOneForAnyOtherFailure) {
  calls.FailFrom<&SystemCalls::write>(1, ENOSPC);
  Result result = kOk;
  // Entries of 16 bytes: the buffered writer of 256 KiB takes 512 nodes before it fails.
  for (int i = 0; i < 40000 && result == kOk; ++i) {
    const std::string key{static_cast<char>(i >> 8), static_cast<char>(i)};
    result = Write(static_cast<std::uint64_t>(i) * 5, 5, key);
  }
  EXPECT_EQ(result, -1);
  EXPECT_EQ(console.Text(), "\nUnable to write segment of index file. Errno=28\n");
}

}  // namespace
}  // namespace tavindex::test
