#include "sort/deleted_records.h"

#include "isi/deleted_list.h"
#include "isi/isi_format.h"
#include "isi/tree_builder.h"
#include "sort/record_scanner.h"
#include "sort_test.h"

namespace tavindex::test {
namespace {

constexpr std::size_t kBlock = 65536;

using Items = std::vector<Item>;
using Addresses = std::vector<std::uint32_t>;

std::string Nuls(std::size_t count) { return std::string(count, '\0'); }

class SkipDeletedRecordsTest : public SortTest {
 protected:
  SkipDeletedRecordsTest() {
    run.files.outputFd =
        OpenFile(scratch.Path("data.isi").c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
  }
  // Scans the whole data with a key of the first column.
  Items Scan(const std::string& data) {
    UseKey(1, 1, 2000);
    run.isi.sectors.Free();
    EXPECT_EQ(StartTree(run, 1, entry::Size(1)), kOk);
    OpenData(data);
    EXPECT_EQ(CreateSubList(run), kInputExhausted);
    return AreaItems();
  }
  // The addresses of the open list sector.
  Addresses Listed() {
    Addresses listed;
    const std::uint8_t* sector = LevelNode(run, kTreeLevels);
    for (std::uint32_t i = 0; i < run.isi.listCount; ++i)
      listed.push_back(LoadLe32(sector + 4 * i));
    return listed;
  }
};

constexpr const char* kVariableLine =
    "\b\nCreateSubList(1): Variable record detected after deleted record!\n";

TEST_F(SkipDeletedRecordsTest, CountsWholeDeletedRecordsOfText) {
  run.data.recordLength = 4;
  run.control.debugMode = true;
  EXPECT_EQ(Scan("abc\n" + Nuls(8) + "def\n" + Nuls(4) + "ghi\n"),
            (Items{{0, 4, "a"}, {12, 4, "d"}, {20, 4, "g"}}));
  EXPECT_EQ(run.scan.deletedCount, 3U);
  EXPECT_EQ(Listed(), (Addresses{4, 8, 16}));
  EXPECT_FALSE(run.data.variableLengthSeen);
  EXPECT_FALSE(run.data.variableAfterDeleted);
  EXPECT_EQ(console.Text(), "");
}

TEST_F(SkipDeletedRecordsTest, CountsThreeForARunOfTwoAndAHalf) {
  run.data.recordLength = 4;
  run.control.debugMode = true;
  EXPECT_EQ(Scan("abc\n" + Nuls(10) + "def\n" + Nuls(1) + "ghi\n").size(), 3U);
  EXPECT_EQ(run.scan.deletedCount, 4U);
  EXPECT_EQ(Listed(), (Addresses{4, 8, 12, 18}));
  EXPECT_TRUE(run.data.variableLengthSeen);
  EXPECT_TRUE(run.data.variableAfterDeleted);
  EXPECT_EQ(console.Text(), kVariableLine);  // once
}

TEST_F(SkipDeletedRecordsTest, NotesIrregularRunsSilentlyOutsideDebugMode) {
  run.data.recordLength = 4;
  Scan("abc\n" + Nuls(5) + "def\n");
  EXPECT_TRUE(run.data.variableAfterDeleted);
  EXPECT_EQ(console.Text(), "");
}

TEST_F(SkipDeletedRecordsTest, CountsARunAtTheStartAndAtTheEnd) {
  run.data.recordLength = 4;
  EXPECT_EQ(Scan(Nuls(4) + "abc\n" + Nuls(6)), (Items{{4, 4, "a"}}));
  EXPECT_EQ(Listed(), (Addresses{0, 8, 12}));
  EXPECT_EQ(run.scan.nextLfa, 14U);
  EXPECT_FALSE(run.data.variableLengthSeen);  // the run did not end, the data did
}

TEST_F(SkipDeletedRecordsTest, CountsTheFirstNulOfARunOfUnknownLength) {
  EXPECT_EQ(Scan(Nuls(7) + "abc\n"), (Items{{7, 4, "a"}}));
  EXPECT_EQ(Listed(), (Addresses{0}));
  EXPECT_FALSE(run.data.variableLengthSeen);
}

TEST_F(SkipDeletedRecordsTest, TakesNulsInsideARecordAsData) {
  run.data.recordLength = 4;
  UseKey(2, 3, 10);
  StartTree(run, 2, entry::Size(2));
  OpenData("a" + Nuls(2) + "\nb\n");
  EXPECT_EQ(CreateSubList(run), kInputExhausted);
  EXPECT_EQ(AreaKeys(), (std::vector<std::string>{Nuls(2), "  "}));
  EXPECT_EQ(run.scan.deletedCount, 0U);
}

TEST_F(SkipDeletedRecordsTest, EndsTheInputAtACtrlZBehindNuls) {
  run.data.recordLength = 4;
  EXPECT_EQ(Scan("abc\n" + Nuls(4) + "\x1Axyz\n"), (Items{{0, 4, "a"}}));
  EXPECT_EQ(run.scan.deletedCount, 1U);
}

TEST_F(SkipDeletedRecordsTest, FollowsARunOfTextAcrossBlocks) {
  run.data.recordLength = 1000;
  const std::string record = std::string(999, 'r') + "\n";
  std::string data;
  for (int i = 0; i < 60; ++i) data += record;
  data += Nuls(70000) + record;
  const Items items = Scan(data);
  ASSERT_EQ(items.size(), 61U);
  EXPECT_EQ(items.back(), (Item{130000, 1000, "r"}));
  EXPECT_EQ(run.scan.deletedCount, 70U);
  EXPECT_EQ(Listed().front(), 60000U);
  EXPECT_EQ(Listed().back(), 129000U);
  EXPECT_FALSE(run.data.variableLengthSeen);
}

TEST_F(SkipDeletedRecordsTest, SkipsNulsOfVariableRecordsUncounted) {
  UseVariable();
  EXPECT_EQ(Scan("ab\n" + Nuls(5) + "c\n"), (Items{{0, 3, "a"}, {8, 2, "c"}}));
  EXPECT_EQ(run.scan.deletedCount, 0U);
  EXPECT_EQ(run.isi.listCount, 0U);
  EXPECT_FALSE(run.data.variableLengthSeen);
}

TEST_F(SkipDeletedRecordsTest, CountsBinaryBlocksOfNuls) {
  UseBinary(4);
  EXPECT_EQ(Scan("abcd" + Nuls(8) + "efgh"), (Items{{0, 4, "a"}, {12, 4, "e"}}));
  EXPECT_EQ(Listed(), (Addresses{4, 8}));
  EXPECT_EQ(run.scan.deletedCount, 2U);
}

TEST_F(SkipDeletedRecordsTest, CountsABinaryBlockAtTheEndOfTheData) {
  UseBinary(4);
  EXPECT_EQ(Scan("abcd" + Nuls(4)), (Items{{0, 4, "a"}}));
  EXPECT_EQ(Listed(), (Addresses{4}));
  EXPECT_EQ(run.scan.nextLfa, 8U);
}

TEST_F(SkipDeletedRecordsTest, TakesAPartialRunOfNulsAsABinaryRecord) {
  UseBinary(4);
  EXPECT_EQ(Scan(Nuls(4) + Nuls(3) + "x" + "abcd"), (Items{{4, 4, Nuls(1)}, {8, 4, "a"}}));
  EXPECT_EQ(Listed(), (Addresses{0}));
}

TEST_F(SkipDeletedRecordsTest, GoesBackToABinaryRecordInTheBlockBefore) {
  UseBinary(100);
  std::string data;
  for (int i = 0; i < 655; ++i) data += std::string(100, 'r');
  // 65500: NULs up to 65560, then the record's own bytes; the block ends at 65536.
  data += Nuls(60) + std::string(40, 'x') + std::string(100, 'y');
  UseKey(25, 61, 2000);  // on both sides of the block's end
  StartTree(run, 37, entry::Size(37));
  OpenData(data);
  EXPECT_EQ(CreateSubList(run), kInputExhausted);
  const Items items = AreaItems();
  ASSERT_EQ(items.size(), 657U);
  EXPECT_EQ(items[655], (Item{65500, 100, Nuls(36) + "x"}));
  EXPECT_EQ(items[656], (Item{65600, 100, std::string(37, 'y')}));
  EXPECT_EQ(run.scan.deletedCount, 0U);
}

TEST_F(SkipDeletedRecordsTest, FollowsABinaryRunAcrossBlocks) {
  UseBinary(100);
  const std::string data =
      std::string(100, 'r') + Nuls(100 * 1000) + Nuls(99) + "z" + std::string(100, 's');
  EXPECT_EQ(Scan(data), (Items{{0, 100, "r"}, {100100, 100, Nuls(1)}, {100200, 100, "s"}}));
  EXPECT_EQ(run.scan.deletedCount, 1000U);
  EXPECT_GT(data.size(), kBlock);
}

TEST_F(SkipDeletedRecordsTest, PassesOnTheFailureOfTheList) {
  run.data.recordLength = 2;
  UseKey(1, 1, 10);
  StartTree(run, 1, entry::Size(1));
  OpenData("a\n" + Nuls(2 * 127) + "b\n");
  calls.FailFrom<&SystemCalls::write>(1, ENOSPC);
  EXPECT_EQ(CreateSubList(run), -8);
  EXPECT_EQ(AreaItems(), (Items{{0, 2, "a"}}));
}

TEST_F(SkipDeletedRecordsTest, PassesOnTheFailureOfTheListOfBinaryRecords) {
  UseBinary(2);
  UseKey(1, 1, 10);
  StartTree(run, 1, entry::Size(1));
  OpenData("ab" + Nuls(2 * 127) + "cd");
  calls.FailFrom<&SystemCalls::write>(1, ENOSPC);
  EXPECT_EQ(CreateSubList(run), -8);
  EXPECT_EQ(AreaItems(), (Items{{0, 2, "a"}}));
}

TEST_F(SkipDeletedRecordsTest, FailsWhenTheDataCannotBeReadOn) {
  run.data.recordLength = 1000;
  UseKey(1, 1, 10);
  StartTree(run, 1, entry::Size(1));
  OpenData(Nuls(kBlock + 5));
  calls.FailFrom<&SystemCalls::read>(2, EIO);
  EXPECT_EQ(CreateSubList(run), -4);
  EXPECT_EQ(AreaItems(), Items{});
}

}  // namespace
}  // namespace tavindex::test
