#include "sort/merge.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <random>
#include <thread>
#include <tuple>

#include "sort_test.h"

namespace tavindex::test {
namespace {

using Items = std::vector<Item>;

// How many trains may be merged with an area, worked out anew.
struct Plan {
  std::uint64_t ways;
  bool onePass;
};
Plan PlanByHand(std::uint64_t trains, std::uint64_t areaSize, std::uint64_t itemSize) {
  const std::uint64_t maxItems = areaSize / (itemSize + 4) - 1;
  if (trains <= 30 && trains <= maxItems - 1) return {trains, true};
  std::uint64_t k = 6;
  const auto reaches = [&](std::uint64_t n) { return trains <= 900 ? n * n : n * n * n; };
  while (reaches(k) < trains) ++k;
  // Every way needs a place for one item at least.
  if ((areaSize / itemSize - 1) / k == 0) k = areaSize / itemSize - 1;
  return {k, false};
}

class MergeTest : public SortTest {
 protected:
  MergeTest() : delivered(run) {
    run.keys.keyLength = 4;  // items of 14 bytes
    OpenWorkFiles();
    calls.Replace<&SystemCalls::ftruncate>([this](int fd, off_t size) {
      ++emptied;
      return calls.Original().ftruncate(fd, size);
    });
  }
  // Puts the trains into the first work file, as the sort leaves them.
  void UseTrains(const std::vector<Items>& trains) {
    std::string bytes;
    run.sort.trainsOpened = 0;
    for (const Items& train : trains) {
      AppendTrainStart(run, static_cast<std::int64_t>(bytes.size()));
      for (const Item& item : train) bytes += ItemBytes(item);
      bytes += MarkerBytes(run.keys.keyLength);
      all.insert(all.end(), train.begin(), train.end());
    }
    scratch.Write("work1", bytes);
    run.sort.trainCount = static_cast<std::uint32_t>(trains.size());
  }
  // `count` trains of `length` items each with random keys, every address once.
  void UseRandomTrains(std::size_t count, std::size_t length) {
    std::mt19937 random(static_cast<unsigned>(count * 1000 + length));
    std::vector<Items> trains(count);
    std::uint64_t lfa = 0;
    for (Items& train : trains) {
      for (std::size_t i = 0; i < length; ++i) {
        std::string key;
        for (int c = 0; c < 4; ++c)
          key.push_back(static_cast<char>(random() % 3 == 0 ? 255 : random() % 9));
        train.push_back({lfa, 10, key});
        lfa += 10;
      }
      std::sort(train.begin(), train.end(), Before);
    }
    UseTrains(trains);
  }
  static bool Before(const Item& a, const Item& b) {
    return std::tie(a.key, a.lfa) < std::tie(b.key, b.lfa);  // the keys as unsigned bytes
  }
  void ExpectAllInOrder() {
    std::sort(all.begin(), all.end(), Before);
    EXPECT_TRUE(Delivered::items == all) << Delivered::items.size() << " of " << all.size();
  }

  Delivered delivered;
  Items all;
  int emptied = 0;  // one for each pass: the file that it writes
};

// ---- PlanMerge ----

TEST_F(MergeTest, PlanMergeTakesUpTo30TrainsInOnePass) {
  SizeArea(100);
  for (const std::uint32_t trains : {1U, 2U, 6U, 29U, 30U}) {
    EXPECT_EQ(PlanMerge(run, trains).ways, trains);
    EXPECT_TRUE(PlanMerge(run, trains).firstPassIsFinal);
  }
  EXPECT_EQ(PlanMerge(run, 31).ways, 6U);
  EXPECT_FALSE(PlanMerge(run, 31).firstPassIsFinal);
}

TEST_F(MergeTest, PlanMergeTakesTheSmallestSquareAndTheSmallestCube) {
  SizeArea(1000);
  const std::pair<std::uint32_t, std::uint32_t> ways[] = {
      {36, 6},   {37, 7},   {49, 7},    {50, 8},    {841, 29},   {842, 30},
      {900, 30}, {901, 10}, {1000, 10}, {1001, 11}, {16382, 26}, {20000, 28}};
  for (const auto& [trains, k] : ways) EXPECT_EQ(PlanMerge(run, trains).ways, k) << trains;
}

TEST_F(MergeTest, PlanMergeTakesOnePassOnlyForAsManyTrainsAsTheAreaHoldsRecords) {
  SizeArea(20);  // maxItems is 21
  EXPECT_TRUE(PlanMerge(run, 20).firstPassIsFinal);
  EXPECT_FALSE(PlanMerge(run, 21).firstPassIsFinal);
  EXPECT_EQ(PlanMerge(run, 21).ways, 6U);
}

TEST_F(MergeTest, PlanMergeLowersTheWaysToTheItemsOfTheArea) {
  UseArea(54);  // three shares of 18 bytes; 54 / 14 - 1 is 2
  EXPECT_EQ(PlanMerge(run, 2).ways, 2U);
  EXPECT_FALSE(PlanMerge(run, 2).firstPassIsFinal);
  EXPECT_EQ(PlanMerge(run, 500).ways, 2U);
  EXPECT_TRUE(PlanMerge(run, 1).firstPassIsFinal);
}

TEST_F(MergeTest, PlanMergeFollowsItsRulesEverywhere) {
  for (std::uint32_t area = 54; area < 1300; area += 23) {
    UseArea(area);
    for (std::uint32_t trains = 1; trains <= 1400; trains += trains < 60 ? 1 : 37) {
      const Plan expected = PlanByHand(trains, area, 14);
      const MergePlan plan = PlanMerge(run, trains);
      ASSERT_EQ(plan.ways, expected.ways) << area << " bytes, " << trains << " trains";
      ASSERT_EQ(plan.firstPassIsFinal, expected.onePass) << area << " bytes, " << trains;
    }
  }
}

// ---- DoFancyMerge ----

struct Grid {
  std::size_t trains;
  std::size_t length;
  std::uint32_t area;
  int passes;
};

void PrintTo(const Grid& grid, std::ostream* out) {
  *out << grid.trains << " trains of " << grid.length;
}

class MergeGrid : public MergeTest, public ::testing::WithParamInterface<Grid> {};

TEST_P(MergeGrid, DeliversTheSameByLookingAtEveryHead) {
  run.sort.loserTree = false;
  SizeArea(GetParam().area);
  UseRandomTrains(GetParam().trains, GetParam().length);
  EXPECT_EQ(DoFancyMerge(run), kOk);
  ExpectAllInOrder();
}

TEST_P(MergeGrid, DeliversEveryItemInOrder) {
  const Grid& grid = GetParam();
  run.console.progressOn = true;
  SizeArea(grid.area);
  UseRandomTrains(grid.trains, grid.length);
  EXPECT_EQ(DoFancyMerge(run), kOk);
  ExpectAllInOrder();
  EXPECT_EQ(emptied, grid.passes);
  std::string lines;
  for (int pass = 1; pass < grid.passes; ++pass) {
    lines += "Merge pass " + std::to_string(pass) + "\r\n";
  }
  EXPECT_EQ(console.Text(), lines);
}

INSTANTIATE_TEST_SUITE_P(
    DoFancyMerge, MergeGrid,
    ::testing::Values(Grid{1, 50, 40, 1}, Grid{2, 9, 40, 1}, Grid{30, 12, 100, 1},
                      Grid{31, 12, 100, 2}, Grid{36, 5, 100, 2}, Grid{37, 5, 100, 2},
                      Grid{900, 3, 100, 2}, Grid{901, 3, 100, 3}, Grid{1331, 2, 100, 3},
                      // Areas too small for the wanted ways. Two ways: 3 trains become 2; 2 become
                      // 1, as the first pass is not final; 100 become 50, 25, 13, 7, 4, 2. Five
                      // ways: 40 become 8, then 2.
                      Grid{3, 4, 1, 2}, Grid{2, 4, 1, 2}, Grid{100, 1, 1, 7}, Grid{40, 1, 3, 3},
                      Grid{7, 0, 40, 1}, Grid{50, 0, 40, 2}));

TEST_F(MergeTest, DoFancyMergeKeepsKeysOfOnes) {
  SizeArea(40);
  std::vector<Items> trains;
  for (std::uint64_t i = 0; i < 40; ++i) {
    trains.push_back({{100 * i, 9, "abcd"},
                      {100 * i + 1, 9, "\xFF\xFF\x01\x02"},
                      {100 * i + 2, 9, "\xFF\xFF\xFF\xFF"}});
  }
  UseTrains(trains);
  EXPECT_EQ(DoFancyMerge(run), kOk);
  ExpectAllInOrder();
  EXPECT_EQ(Delivered::items.size(), 120U);
}

TEST_F(MergeTest, DoFancyMergeKeepsOneByteKeysOfOnes) {
  run.keys.keyLength = 1;
  SizeArea(10);
  UseTrains({{{0, 2, "a"}, {4, 2, "\xFF"}}, {{2, 2, "b"}, {6, 2, "\xFF"}}, {}});
  EXPECT_EQ(DoFancyMerge(run), kOk);
  EXPECT_EQ(Delivered::items, (Items{{0, 2, "a"}, {2, 2, "b"}, {4, 2, "\xFF"}, {6, 2, "\xFF"}}));
}

TEST_F(MergeTest, DoFancyMergeWritesGroupsAsTrains) {
  SizeArea(100);
  UseRandomTrains(31, 2);
  EXPECT_EQ(DoFancyMerge(run), kOk);
  EXPECT_EQ(run.sort.trainCount, 1U);
  // The pass wrote 5 groups of 6 trains and one of 1, each with its end marker.
  const Items written = WorkItems("work2");
  EXPECT_EQ(written.size(), 62U + 6U);
  EXPECT_EQ(std::count(written.begin(), written.end(), kEndItem), 6);
  EXPECT_EQ(written[12], kEndItem);
  EXPECT_EQ(written.back(), kEndItem);
  EXPECT_EQ(TrainStart(run, 1), 13 * 14);
  EXPECT_EQ(TrainStart(run, 5), 65 * 14);
  EXPECT_EQ(WorkItems("work1"), Items{});  // the final pass wrote nothing into the other file
}

TEST_F(MergeTest, DoFancyMergeShowsTheWaysInDebugMode) {
  run.control.debugMode = true;
  SizeArea(100);
  UseRandomTrains(31, 1);
  EXPECT_EQ(DoFancyMerge(run), kOk);
  EXPECT_EQ(console.Text(), "\nDoFancyMerge(0): InLength: 65536 maxItems:6\n\n");
}

TEST_F(MergeTest, DoFancyMergeShowsTheLoweredWays) {
  run.control.debugMode = true;
  UseArea(54);
  UseRandomTrains(2, 1);
  EXPECT_EQ(DoFancyMerge(run), kOk);
  EXPECT_EQ(console.Text(), "\nDoFancyMerge(0): InLength: 65536 maxItems:2\n\n");
}

TEST_F(MergeTest, DoFancyMergeAsksForLessMemory) {
  run.control.debugMode = true;
  run.data.recordLength = 1000;
  SizeArea(100);
  UseRandomTrains(3, 1);
  std::vector<std::size_t> asked;
  calls.Replace<&SystemCalls::allocate>([&](std::size_t size) -> void* {
    asked.push_back(size);
    return asked.size() < 3 ? nullptr : calls.Original().allocate(size);
  });
  EXPECT_EQ(DoFancyMerge(run), kOk);
  EXPECT_EQ(asked, (std::vector<std::size_t>{3 * 65536, 3 * 62536, 3 * 59536}));
  EXPECT_EQ(console.Text(), "\nDoFancyMerge(0): InLength: 59536 maxItems:3\n");
}

TEST_F(MergeTest, DoFancyMergeGivesUpWithoutMemory) {
  run.data.recordLength = 20000;
  SizeArea(100);
  UseRandomTrains(2, 1);
  calls.FailFrom<&SystemCalls::allocate>(1, ENOMEM);
  EXPECT_EQ(DoFancyMerge(run), -3);
  EXPECT_EQ(calls.Count<&SystemCalls::allocate>(), 2);  // 65536, 25536, then below one record
  EXPECT_EQ(console.Text(), "\nInternal Error: Unable to allocate merge buffer!\n\r");
}

TEST_F(MergeTest, DoFancyMergeGivesUpWithoutMemoryAlsoWhenNoRecordLengthIsKnown) {
  SizeArea(100);
  UseRandomTrains(2, 1);
  calls.FailFrom<&SystemCalls::allocate>(1, ENOMEM);
  EXPECT_EQ(DoFancyMerge(run), -3);
  EXPECT_EQ(console.Text(), "\nInternal Error: Unable to allocate merge buffer!\n\r");
}

TEST_F(MergeTest, DoFancyMergeFailsWhenABlockCannotBeRead) {
  SizeArea(10);
  UseRandomTrains(3, 30);
  calls.FailFrom<&SystemCalls::read>(1, EIO);
  EXPECT_EQ(DoFancyMerge(run), -3);
  EXPECT_TRUE(Delivered::items.empty());
}

TEST_F(MergeTest, DoFancyMergeFailsWhenARefillCannotBeRead) {
  SizeArea(10);
  UseRandomTrains(3, 30);
  run.control.debugMode = true;
  calls.FailFrom<&SystemCalls::read>(4, EIO);
  EXPECT_EQ(DoFancyMerge(run), -3);
  EXPECT_FALSE(Delivered::items.empty());
  EXPECT_NE(console.Text().find("\nDoFancyMerge(3): Invalid blkLgt size read! "),
            std::string::npos);
}

TEST_F(MergeTest, DoFancyMergeSurvivesShortReads) {
  SizeArea(10);
  UseRandomTrains(3, 30);
  calls.Replace<&SystemCalls::read>([this](int fd, void* bytes, std::size_t count) {
    static int calls_ = 0;
    return calls.Original().read(fd, bytes,
                                 ++calls_ % 2 == 1 ? std::min<std::size_t>(count, 3) : count);
  });
  EXPECT_EQ(DoFancyMerge(run), kOk);
  ExpectAllInOrder();
}

TEST_F(MergeTest, DoFancyMergeTellsThatAPassCouldNotBeWritten) {
  SizeArea(100);
  UseRandomTrains(31, 2);
  calls.FailFrom<&SystemCalls::write>(1, ENOSPC);
  EXPECT_EQ(DoFancyMerge(run), -158);
  EXPECT_EQ(run.files.workFile, run.files.workFd2);  // the file that the driver names
}

// 262144 bytes are written at once: 16384 items of 16 bytes, or 16383 and the end marker. A write
// that fails is not tried again.
class LargeGroup : public MergeTest {
 protected:
  // Merges 31 trains in groups of 6, of which the first has this many items.
  Result MergeAFirstGroupOf(std::uint64_t items) {
    run.keys.keyLength = 6;
    SizeArea(100);
    std::vector<Items> trains;
    for (std::uint64_t i = 0; i < 31; ++i) trains.push_back({{1000000 + i, 10, "zzzzzz"}});
    for (std::uint64_t i = 6; i < items; ++i) {
      trains[0].insert(trains[0].end() - 1, {i, 10, "aaaaaa"});
    }
    UseTrains(trains);
    calls.FailNth<&SystemCalls::write>(1, ENOSPC);
    return DoFancyMerge(run);
  }
};

TEST_F(LargeGroup, DoFancyMergeEndsAtAnItemThatCannotBeWritten) {
  EXPECT_EQ(MergeAFirstGroupOf(16384), -158);
  EXPECT_EQ(calls.Count<&SystemCalls::write>(), 1);
}

TEST_F(LargeGroup, DoFancyMergeEndsAtAnEndMarkerThatCannotBeWritten) {
  EXPECT_EQ(MergeAFirstGroupOf(16383), -158);
  EXPECT_EQ(calls.Count<&SystemCalls::write>(), 1);
}

TEST_F(MergeTest, DoFancyMergePassesOnTheConsumersResult) {
  SizeArea(100);
  UseRandomTrains(40, 5);
  Delivered::answer = [](std::size_t n) { return n == 7 ? -77 : kOk; };
  EXPECT_EQ(DoFancyMerge(run), -77);
  EXPECT_EQ(Delivered::items.size(), 7U);
}

TEST_F(MergeTest, DoFancyMergeEndsAPassWhenTheUserCancels) {
  run.console.progressOn = true;
  SizeArea(100);
  UseRandomTrains(901, 1);
  const CancelAfter cancel(2);  // the first pass, its end, the second pass
  EXPECT_EQ(DoFancyMerge(run), -21);
  EXPECT_EQ(console.Text(),
            "Merge pass 1\r\nMerge pass 2\rThe operation was canceled by the user!\n");
  EXPECT_TRUE(Delivered::items.empty());
}

TEST_F(MergeTest, DoFancyMergeCountsThousands) {
  SizeArea(100);
  UseRandomTrains(10, 250);
  EXPECT_EQ(DoFancyMerge(run), kOk);
  EXPECT_EQ(run.scan.recordCount, 2000U);
  EXPECT_EQ(run.sort.mergeCountdown, 500U);  // the caller adds what is missing to 1000
}

// The line comes with whole thousands and when more than a second has passed.
class MergeProgress : public MergeTest {
 protected:
  MergeProgress() {
    run.console.progressOn = true;
    SizeArea(100);
    UseRandomTrains(10, 350);
    Delivered::answer = [](std::size_t n) {
      if (n == 1500) std::this_thread::sleep_for(std::chrono::milliseconds(2100));
      return kOk;
    };
  }
};

TEST_F(MergeProgress, DoFancyMergeShowsTheRecordsOncePerInterval) {
  EXPECT_EQ(DoFancyMerge(run), kOk);
  EXPECT_EQ(console.Text(), "2000 records\r");
}

TEST_F(MergeProgress, DoFancyMergeEndsAtARecordsLineWhenTheUserCancels) {
  const CancelAfter cancel(0);
  EXPECT_EQ(DoFancyMerge(run), -21);
  EXPECT_EQ(console.Text(), "2000 records\rThe operation was canceled by the user!\n");
  EXPECT_EQ(Delivered::items.size(), 2000U);
}

TEST_F(MergeProgress, DoFancyMergeShowsNoRecordsWhenTheyAreSwitchedOff) {
  run.options.showRecordProgress = false;
  EXPECT_EQ(DoFancyMerge(run), kOk);
  EXPECT_EQ(console.Text(), "");
}

// ---- Sort mode ----

class SortModeMerge : public MergeTest {
 protected:
  SortModeMerge() {
    UseSortMode();
    run.data.recordLength = 10;
    SizeArea(100);
  }
};

TEST_F(SortModeMerge, DoFancyMergeReadsTheDataFileAhead) {
  UseRandomTrains(4, 5);
  OpenData(std::string(200, 'd'));
  std::size_t dataBytes = 0;
  calls.Replace<&SystemCalls::read>([&](int fd, void* bytes, std::size_t count) {
    const ssize_t got = calls.Original().read(fd, bytes, count);
    if (fd == run.files.inputFd) dataBytes += static_cast<std::size_t>(got);
    return got;
  });
  EXPECT_EQ(DoFancyMerge(run), kOk);
  ExpectAllInOrder();
  EXPECT_EQ(dataBytes, 200U);  // each train covers 50 bytes
}

TEST_F(SortModeMerge, DoFancyMergeReadsNothingAheadInAnEarlierPass) {
  UseRandomTrains(31, 1);
  OpenData(std::string(310, 'd'));
  calls.Replace<&SystemCalls::read>([&](int fd, void* bytes, std::size_t count) -> ssize_t {
    if (fd == run.files.inputFd) return -1;
    return calls.Original().read(fd, bytes, count);
  });
  EXPECT_NE(DoFancyMerge(run), kOk);  // in the final pass
  EXPECT_EQ(WorkItems("work2").size(), 37U);
}

TEST_F(SortModeMerge, DoFancyMergeFailsWhenTheDataCannotBeRead) {
  UseRandomTrains(2, 3);
  OpenData("short");
  EXPECT_EQ(DoFancyMerge(run), -3);
}

}  // namespace
}  // namespace tavindex::test
