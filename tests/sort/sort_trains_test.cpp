#include "sort/sort_trains.h"

#include "isi/isi_format.h"
#include "isi/tree_builder.h"
#include "sort/sort_area.h"
#include "sort_test.h"

namespace tavindex::test {
namespace {

using Items = std::vector<Item>;

class TrainsTest : public SortTest {
 protected:
  TrainsTest() {
    OpenWorkFiles();
    run.isi.maxEntries = 31;
  }
  std::vector<std::int64_t> Starts() const {
    std::vector<std::int64_t> starts;
    for (std::uint32_t i = 0; i < run.sort.trainsOpened; ++i) starts.push_back(TrainStart(run, i));
    return starts;
  }
};

// ---- SizeSortArea ----

TEST_F(TrainsTest, SizeSortAreaCountsFourBytesBesideEachItem) {
  run.sort.sortAreaSize = 1048576;
  EXPECT_TRUE(SizeSortArea(run, 6));
  EXPECT_EQ(run.sort.itemSize, 16U);
  EXPECT_EQ(run.sort.maxItems, 52427U);  // 1048576 / 20 - 1
}

TEST_F(TrainsTest, SizeSortAreaNeedsThreeShares) {
  run.sort.sortAreaSize = 56;
  EXPECT_FALSE(SizeSortArea(run, 5));
  run.sort.sortAreaSize = 57;
  EXPECT_TRUE(SizeSortArea(run, 5));
  EXPECT_EQ(run.sort.maxItems, 2U);
}

TEST_F(TrainsTest, SizeSortAreaRefusesAnAreaOfNothing) {
  run.sort.sortAreaSize = 0;
  EXPECT_FALSE(SizeSortArea(run, 5));
  EXPECT_EQ(run.sort.maxItems, 0U);
}

// ---- WriteSortTrain ----

class WriteSortTrainTest : public TrainsTest {
 protected:
  WriteSortTrainTest() {
    run.keys.keyLength = 3;  // items of 13 bytes
    SizeArea(3);
  }
  Result Write(const Items& items) {
    FillArea(items);
    SortSubList(run);
    return WriteSortTrain(run);
  }
};

TEST_F(WriteSortTrainTest, WritesItemsInOrderAndTheEndMarkerOfAnAreaThatIsNotFull) {
  EXPECT_EQ(Write({{0x1122334455667788, 0x99AA, "bbb"}, {5, 6, "aaa"}}), kOk);
  EXPECT_EQ(scratch.Read("work1"),
            std::string("\x05\0\0\0\0\0\0\0\x06\0aaa", 13) +
                std::string("\x88\x77\x66\x55\x44\x33\x22\x11\xAA\x99"
                            "bbb",
                            13) +
                std::string("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\0", 13));
  EXPECT_EQ(Starts(), (std::vector<std::int64_t>{0}));
}

TEST_F(WriteSortTrainTest, WritesAFullAreaWithoutItsEndMarker) {
  EXPECT_EQ(Write({{1, 4, "ccc"}, {5, 4, "bbb"}, {9, 4, "aaa"}}), kOk);
  EXPECT_EQ(WorkItems("work1"), (Items{{9, 4, "aaa"}, {5, 4, "bbb"}, {1, 4, "ccc"}}));
  EXPECT_EQ(run.sort.workFilePos, 39);
  EXPECT_EQ(ItemAt(run.sort.lastTrainItem.data()), (Item{1, 4, "ccc"}));
}

TEST_F(WriteSortTrainTest, SeparatesATrainThatBreaksTheOrder) {
  run.sort.trainCount = 1;
  EXPECT_EQ(Write({{1, 4, "ccc"}, {5, 4, "ddd"}, {9, 4, "eee"}}), kOk);
  EXPECT_EQ(Write({{13, 4, "aaa"}, {17, 4, "fff"}, {21, 4, "ggg"}}), kOk);
  EXPECT_EQ(WorkItems("work1"), (Items{{1, 4, "ccc"},
                                       {5, 4, "ddd"},
                                       {9, 4, "eee"},
                                       kEndItem,
                                       {13, 4, "aaa"},
                                       {17, 4, "fff"},
                                       {21, 4, "ggg"}}));
  EXPECT_EQ(Starts(), (std::vector<std::int64_t>{0, 52}));
  EXPECT_EQ(run.sort.workFilePos, 91);
  EXPECT_EQ(run.sort.trainCount, 1U);
}

TEST_F(WriteSortTrainTest, JoinsATrainThatContinuesTheOneBefore) {
  run.sort.trainCount = 1;
  EXPECT_EQ(Write({{1, 4, "aaa"}, {5, 4, "bbb"}, {9, 4, "ccc"}}), kOk);
  EXPECT_EQ(Write({{13, 4, "ccc"}, {17, 4, "ddd"}, {21, 4, "eee"}}), kOk);
  EXPECT_EQ(WorkItems("work1").size(), 6U);
  EXPECT_EQ(Starts(), (std::vector<std::int64_t>{0}));
  EXPECT_EQ(run.sort.trainCount, 0U);  // the caller counts it again
}

TEST_F(WriteSortTrainTest, DoesNotJoinAnEqualKeyOfALowerAddress) {
  run.sort.trainCount = 1;
  EXPECT_EQ(Write({{1, 4, "aaa"}, {5, 4, "bbb"}, {90, 4, "ccc"}}), kOk);
  EXPECT_EQ(Write({{13, 4, "ccc"}}), kOk);
  EXPECT_EQ(Starts(), (std::vector<std::int64_t>{0, 52}));
}

TEST_F(WriteSortTrainTest, WritesATrainOfNothing) {
  EXPECT_EQ(Write({}), kOk);
  EXPECT_EQ(scratch.Read("work1"), MarkerBytes(3));
  EXPECT_EQ(Starts(), (std::vector<std::int64_t>{0}));
  EXPECT_EQ(ItemAt(run.sort.lastTrainItem.data()), kEndItem);
}

TEST_F(WriteSortTrainTest, TellsThatAWriteFailed) {
  calls.FailFrom<&SystemCalls::write>(1, ENOSPC);
  EXPECT_EQ(Write({{1, 4, "aaa"}}), -158);
}

// ---- SortTrains ----

class SortTrainsTest : public TrainsTest {
 protected:
  SortTrainsTest() : delivered(run) {}
  // Sorts the records of a data file, three to an area, by their first two columns.
  Result Sort(std::string_view data, std::uint32_t records = 3) {
    UseKey(1, 2, records);
    OpenData(data);
    return SortTrains(run);
  }
  std::string Keys() const {
    std::string keys;
    for (const Item& item : Delivered::items) keys += item.key + " ";
    return keys;
  }

  Delivered delivered;
};

// Fixed records "aa" .. in descending order, `count` of them.
std::string Descending(int count) {
  std::string data;
  for (int i = count; i > 0; --i) {
    data += std::string{static_cast<char>('a' + i / 26), static_cast<char>('a' + i % 26), '\n'};
  }
  return data;
}

TEST_F(SortTrainsTest, SortsWhatFitsIntoOneArea) {
  EXPECT_EQ(Sort("cc\naa\nbb\n"), kOk);
  EXPECT_EQ(Delivered::items, (Items{{3, 3, "aa"}, {6, 3, "bb"}, {0, 3, "cc"}}));
  EXPECT_EQ(run.sort.trainCount, 1U);
  EXPECT_EQ(run.scan.recordCount, 3U);
  EXPECT_EQ(console.Text(), "3 records, 0 deleted entries\n");
  EXPECT_EQ(WorkItems("work1").size(), 4U);  // the area was full: one end marker
}

TEST_F(SortTrainsTest, SortsSeveralTrains) {
  run.console.progressOn = true;
  EXPECT_EQ(Sort("hh\ngg\nff\nee\ndd\ncc\nbb\naa\n"), kOk);
  EXPECT_EQ(Keys(), "aa bb cc dd ee ff gg hh ");
  EXPECT_EQ(run.sort.trainCount, 1U);
  EXPECT_EQ(console.Text(),
            "Sort train 1\rSort train 2\rSort train 3\r\n8 records, 0 deleted entries\n");
  EXPECT_EQ(run.sort.trainsOpened, 3U);
}

TEST_F(SortTrainsTest, ShowsAnEmptyLineBeforeTheCountsOfARedirectedRun) {
  EXPECT_EQ(Sort("dd\ncc\nbb\naa\n"), kOk);
  EXPECT_EQ(console.Text(), "\n4 records, 0 deleted entries\n");
}

TEST_F(SortTrainsTest, JoinsTheTrainsOfOrderedInput) {
  run.control.maxSortTrains = 2;
  run.console.progressOn = true;
  EXPECT_EQ(Sort("aa\nbb\ncc\ndd\nee\nff\ngg\nhh\nii\njj\n"), kOk);
  EXPECT_EQ(run.sort.trainsOpened, 1U);
  EXPECT_EQ(console.Text(),
            "Sort train 1\rSort train 1\rSort train 1\rSort train 1\r\n"
            "10 records, 0 deleted entries\n");
  EXPECT_EQ(Keys(), "aa bb cc dd ee ff gg hh ii jj ");
}

TEST_F(SortTrainsTest, KeepsDuplicatesInTheOrderOfTheData) {
  for (const std::uint32_t method : {0U, 1U}) {
    run.control.sortMethod = method;
    run.scan.bytesInBuffer = 0;
    run.scan.bufferFilePos = 0;
    run.scan.nextLfa = 0;
    run.scan.recordCount = 0;
    run.keys = KeyState{};
    run.sort.trainsOpened = 0;
    run.sort.workFilePos = 0;
    run.sort.lastTrainItem.fill(0xFF);
    Delivered::items.clear();
    for (const int fd : {run.files.workFd1, run.files.workFd2}) {
      TruncateFile(fd, 0);
      SeekTo(fd, 0);
    }
    run.files.workFile = run.files.workFd1;
    run.files.mergeInput = run.files.workFd2;
    std::string data;
    for (int i = 0; i < 40; ++i) data += i % 3 == 0 ? "bb\n" : "aa\n";
    EXPECT_EQ(Sort(data), kOk);
    ASSERT_EQ(Delivered::items.size(), 40U);
    for (std::size_t i = 1; i < 40; ++i) {
      const Item& before = Delivered::items[i - 1];
      const Item& item = Delivered::items[i];
      EXPECT_TRUE(before.key < item.key || (before.key == item.key && before.lfa < item.lfa));
    }
  }
}

TEST_F(SortTrainsTest, SortsAnEmptyFile) {
  EXPECT_EQ(Sort(""), kOk);
  EXPECT_EQ(Delivered::items, Items{});
  EXPECT_EQ(run.sort.trainCount, 1U);
  EXPECT_EQ(scratch.Read("work1"), MarkerBytes(2) + MarkerBytes(2));
  EXPECT_EQ(console.Text(), "0 records, 0 deleted entries\n");
}

TEST_F(SortTrainsTest, FailsAtTheMomentThatTheTrainsReachTheirLimit) {
  run.console.progressOn = true;
  run.control.maxSortTrains = 3;
  EXPECT_EQ(Sort(Descending(20)), -156);
  EXPECT_EQ(console.Text(), "Sort train 1\rSort train 2\r\nToo many sort trains\n");
  EXPECT_TRUE(Delivered::items.empty());
}

TEST_F(SortTrainsTest, SortsOneTrainLessThanTheLimit) {
  run.control.maxSortTrains = 3;
  EXPECT_EQ(Sort(Descending(5)), kOk);
  EXPECT_EQ(Delivered::items.size(), 5U);
}

TEST_F(SortTrainsTest, ALimitOfNoTrainsAllowsOneArea) {
  run.control.maxSortTrains = 0;
  EXPECT_EQ(Sort("cc\naa\nbb\n"), kOk);
}

TEST_F(SortTrainsTest, ALimitOfNoTrainsRefusesASecondArea) {
  run.control.maxSortTrains = 0;
  EXPECT_EQ(Sort(Descending(4)), -156);
  EXPECT_EQ(console.Text(), "\nToo many sort trains\n");
}

TEST_F(SortTrainsTest, RefusesMoreThanFourGigaRecords) {
  run.scan.recordCount = 4294967295;
  EXPECT_EQ(Sort("aa\nbb\n"), -156);
  EXPECT_EQ(console.Text(), "\nToo many records to index\n");
}

TEST_F(SortTrainsTest, AllowsFourGigaRecords) {
  run.scan.recordCount = 4294967295;
  EXPECT_EQ(Sort("aa\n"), kOk);
  EXPECT_EQ(run.scan.recordCount, 1U);  // the merge counts them again
}

TEST_F(SortTrainsTest, EndsWithTheScannersFailures) {
  EXPECT_EQ(Sort("aa\n" + std::string(70000, 'x') + "\n"), -161);
  calls.FailFrom<&SystemCalls::read>(1, EIO);
  run.scan.bytesInBuffer = 0;
  EXPECT_EQ(SortTrains(run), -4);
}

TEST_F(SortTrainsTest, EndsWithAWrongMark) {
  UseBinary(3);
  run.data.trailerLength = 1;
  EXPECT_EQ(Sort("aa\nbbb"), -5);
}

TEST_F(SortTrainsTest, EndsWithTheDeletedListsFailure) {
  run.data.recordLength = 3;
  run.keys.keyLength = 2;
  StartTree(run, 2, entry::Size(2));
  run.files.outputFd = OpenFile("/dev/null", O_RDONLY);  // refuses every write
  EXPECT_EQ(Sort("aa\n" + std::string(3 * 127, '\0') + "bb\n"), -8);
}

// A first record of another length than the declared one is not a failure of the sort: the input
// ends there, and the driver sees an empty index.
TEST_F(SortTrainsTest, TakesAFirstRecordOfAnotherLengthAsTheEnd) {
  run.options.declaredRecordLength = 9;
  EXPECT_EQ(Sort("aa\nbb\n"), kOk);
  EXPECT_TRUE(Delivered::items.empty());
  EXPECT_EQ(console.Text(), "0 records, 0 deleted entries\n");
}

TEST_F(SortTrainsTest, TakesAFirstRecordLongerThanDeclaredAsTheEnd) {
  run.options.declaredRecordLength = 2;
  UseVariable();
  EXPECT_EQ(Sort("aa\nbb\n"), kOk);
  EXPECT_TRUE(Delivered::items.empty());
}

TEST_F(SortTrainsTest, TellsThatATrainCouldNotBeWritten) {
  calls.FailFrom<&SystemCalls::write>(1, ENOSPC);
  EXPECT_EQ(Sort(Descending(9)), -158);
}

// The items of 22000 records are more than the 262144 bytes that are written at once.
TEST_F(SortTrainsTest, EndsATrainAtTheFirstWriteThatFails) {
  std::string data;
  for (int i = 0; i < 22000; ++i) data += "aa\n";
  calls.FailNth<&SystemCalls::write>(1, ENOSPC);
  EXPECT_EQ(Sort(data, 30000), -158);
  EXPECT_EQ(calls.Count<&SystemCalls::write>(), 1);
}

TEST_F(SortTrainsTest, TellsThatTheOnlyTrainCouldNotBeWritten) {
  calls.FailFrom<&SystemCalls::write>(1, ENOSPC);
  EXPECT_EQ(Sort("aa\n"), -158);
}

TEST_F(SortTrainsTest, TellsThatTheLastMarkerCouldNotBeWritten) {
  calls.FailNth<&SystemCalls::write>(2, ENOSPC);
  EXPECT_EQ(Sort("aa\n"), -158);
}

TEST_F(SortTrainsTest, EndsWhenTheUserCancels) {
  run.console.progressOn = true;
  const CancelAfter cancel(1);
  EXPECT_EQ(Sort(Descending(20)), -21);
  EXPECT_EQ(console.Text(),
            "Sort train 1\rSort train 2\rThe operation was canceled by the user!\n");
  EXPECT_TRUE(Delivered::items.empty());
}

TEST_F(SortTrainsTest, PassesOnTheConsumersResult) {
  Delivered::answer = [](std::size_t n) { return n == 2 ? -13 : kOk; };
  EXPECT_EQ(Sort("aa\nbb\ncc\n"), -13);
  EXPECT_EQ(Delivered::items.size(), 2U);
}

TEST_F(SortTrainsTest, CountsPastAThousandRecords) {
  EXPECT_EQ(Sort(Descending(600) + Descending(600) + Descending(47), 400), kOk);
  EXPECT_EQ(run.scan.recordCount, 1247U);
  EXPECT_EQ(console.Text(), "\n1247 records, 0 deleted entries\n");
}

TEST_F(SortTrainsTest, CountsDeletedEntries) {
  run.data.recordLength = 3;
  run.keys.keyLength = 2;
  StartTree(run, 2, entry::Size(2));
  EXPECT_EQ(Sort("aa\n" + std::string(6, '\0') + "bb\n"), kOk);
  EXPECT_EQ(console.Text(), "2 records, 2 deleted entries\n");
}

TEST_F(SortTrainsTest, ShowsTheRecordsAloneInSortMode) {
  UseSortMode();
  run.scan.primaryKey.fill(7);
  EXPECT_EQ(Sort("bb\naa\n"), kOk);
  EXPECT_EQ(console.Text(), "2 records\n");
  for (const std::uint8_t byte : run.scan.primaryKey) EXPECT_EQ(byte, 0);
}

// ---- The warning of a nearly full index ----

// (1 + 1)^16 - 1 is 65535 records, and 95 percent of them 62258.
TEST_F(SortTrainsTest, SaysNothingUpTo95PercentOfTheCapacity) {
  run.isi.maxEntries = 1;
  std::string data;
  for (int i = 0; i < 62258; ++i) data += "aa\n";
  EXPECT_EQ(Sort(data, 70000), kOk);
  EXPECT_EQ(console.Text(), "62258 records, 0 deleted entries\n");
}

TEST_F(SortTrainsTest, WarnsAbove95PercentOfTheCapacity) {
  run.isi.maxEntries = 1;
  std::string data;
  for (int i = 0; i < 62259; ++i) data += "aa\n";
  EXPECT_EQ(Sort(data, 70000), kOk);
  EXPECT_EQ(console.Text(),
            "62259 records, 0 deleted entries\n"
            "Record count of (62259) is more than 95 percent of 65535 records allowed for this ISI "
            "file!\n");
}

TEST_F(SortTrainsTest, WarnsOfEveryRecordWhenANodeHoldsNone) {
  run.isi.maxEntries = 0;
  EXPECT_EQ(Sort("aa\n"), kOk);
  EXPECT_EQ(console.Text(),
            "1 records, 0 deleted entries\n"
            "Record count of (1) is more than 95 percent of 0 records allowed for this ISI "
            "file!\n");
}

TEST_F(SortTrainsTest, SaysNothingWhereTheCapacityWrapsToItsLargest) {
  run.isi.maxEntries = 15;  // 16^16 is 2^64
  EXPECT_EQ(Sort("aa\n"), kOk);
  EXPECT_EQ(console.Text(), "1 records, 0 deleted entries\n");
}

}  // namespace
}  // namespace tavindex::test
