#include "sort/merge_way.h"

#include <unistd.h>

#include <algorithm>

#include "sort_test.h"
#include "support/large_block.h"

namespace tavindex::test {
namespace {

class ReadWayBlockTest : public SortTest {
 protected:
  ReadWayBlockTest() {
    run.keys.keyLength = 2;  // items of 12 bytes
    SizeArea(20);
    OpenWorkFiles();
    way.block = run.sort.sortMemoryBase;
  }
  void UseInput(const std::vector<Item>& items) {
    std::string bytes;
    for (const Item& item : items) bytes += ItemBytes(item);
    scratch.Write("work2", bytes);
  }
  void ShortenReads(int times, std::size_t fewer) {
    left_ = times;
    calls.Replace<&SystemCalls::read>([this, fewer](int fd, void* bytes, std::size_t count) {
      const ssize_t got = calls.Original().read(fd, bytes, count);
      return left_-- <= 0 ? got : std::max<ssize_t>(got - static_cast<ssize_t>(fewer), 0);
    });
  }
  std::string Retry(int name, int left, const char* position, int high, int bytes) {
    return "\nDoFancyMerge(" + std::to_string(name) + "):\n Retry:" + std::to_string(left) +
           "  At location:0x" + position + "  Bytes read was:" + std::to_string(high) +
           " Should be:" + std::to_string(bytes) + "\n";
  }

  MergeWay way;

 private:
  int left_ = 0;
};

TEST_F(ReadWayBlockTest, StandsOnTheFirstItemOfTheBlock) {
  UseInput({{1, 5, "aa"}, {2, 5, "bb"}, {3, 5, "cc"}, {4, 5, "dd"}, {5, 5, "ee"}});
  way.nextOffset = 12;
  EXPECT_EQ(ReadWayBlock(run, way, 24, kFirstBlock), kOk);
  EXPECT_EQ(ItemAt(way.current), (Item{2, 5, "bb"}));
  EXPECT_EQ(ItemAt(way.current + 12), (Item{3, 5, "cc"}));
  EXPECT_EQ(way.itemsLeft, 2U);
  EXPECT_EQ(way.nextOffset, 36);
  EXPECT_EQ(ReadWayBlock(run, way, 24, kRefill), kOk);
  EXPECT_EQ(ItemAt(way.current), (Item{4, 5, "dd"}));
  EXPECT_EQ(way.nextOffset, 60);
}

TEST_F(ReadWayBlockTest, AcceptsTheShortBlockAtTheFilesEnd) {
  UseInput({{1, 5, "aa"}, {2, 5, "bb"}, {3, 5, "cc"}});
  way.nextOffset = 24;
  calls.Watch<&SystemCalls::read>();
  EXPECT_EQ(ReadWayBlock(run, way, 48, kFirstBlock), kOk);
  EXPECT_EQ(ItemAt(way.current), (Item{3, 5, "cc"}));
  EXPECT_EQ(way.itemsLeft, 1U);
  EXPECT_EQ(calls.Count<&SystemCalls::read>(), 1);
}

// A single train in a sort area above 2 GiB is one block.
TEST_F(ReadWayBlockTest, TakesABlockThatNoSingleReadGives) {
  constexpr std::uint32_t kItems = 200'000'000;
  constexpr std::uint32_t kBlkLgt = kItems * 12;
  static_assert(kBlkLgt > LargeBlock::kMostOfOneRead && kBlkLgt <= LargeBlock::kSize);
  run.control.debugMode = true;
  LargeBlock block;
  block.ReadFrom(kBlkLgt, calls);
  way.block = block.Bytes().data();
  EXPECT_EQ(ReadWayBlock(run, way, kBlkLgt, kFirstBlock), kOk);
  EXPECT_EQ(way.itemsLeft, kItems);
  EXPECT_EQ(way.current, way.block);
  EXPECT_EQ(way.nextOffset, std::int64_t{kBlkLgt});
  EXPECT_EQ(console.Text(), "");
}

TEST_F(ReadWayBlockTest, FailsBehindTheFilesEnd) {
  UseInput({{1, 5, "aa"}});
  way.nextOffset = 12;
  EXPECT_EQ(ReadWayBlock(run, way, 24, kRefill), -3);
}

TEST_F(ReadWayBlockTest, ReadsAgainAfterAShortRead) {
  run.control.debugMode = true;
  UseInput({{1, 5, "aa"}, {2, 5, "bb"}, {3, 5, "cc"}});
  way.nextOffset = 12;
  ShortenReads(1, 7);
  EXPECT_EQ(ReadWayBlock(run, way, 24, kFirstBlock), kOk);
  EXPECT_EQ(ItemAt(way.current + 12), (Item{3, 5, "cc"}));
  EXPECT_EQ(console.Text(), Retry(2, 2, "0000000C", 0, 17));
}

TEST_F(ReadWayBlockTest, GivesUpAfterFourReadsOfAFirstBlock) {
  run.control.debugMode = true;
  UseInput({{1, 5, "aa"}, {2, 5, "bb"}});
  ShortenReads(9, 4);
  EXPECT_EQ(ReadWayBlock(run, way, 24, kFirstBlock), -3);
  EXPECT_EQ(calls.Count<&SystemCalls::read>(), 4);
  EXPECT_EQ(console.Text(), Retry(2, 2, "00000000", 0, 20) + Retry(2, 1, "00000000", 0, 20) +
                                Retry(2, 0, "00000000", 0, 20) +
                                "\nDoFancyMerge(1): Invalid blkLgt size read! 24:20\n");
}

TEST_F(ReadWayBlockTest, GivesUpAfterFourReadsOfARefill) {
  run.control.debugMode = true;
  UseInput({{1, 5, "aa"}, {2, 5, "bb"}});
  ShortenReads(9, 4);
  EXPECT_EQ(ReadWayBlock(run, way, 24, kRefill), -3);
  EXPECT_EQ(console.Text(), Retry(4, 2, "00000000", 0, 20) + Retry(4, 1, "00000000", 0, 20) +
                                Retry(4, 0, "00000000", 0, 20) +
                                "\nDoFancyMerge(3): Invalid blkLgt size read! 24:20\n");
}

TEST_F(ReadWayBlockTest, SaysNothingOutsideDebugMode) {
  UseInput({{1, 5, "aa"}, {2, 5, "bb"}});
  calls.FailFrom<&SystemCalls::read>(1, EIO);
  EXPECT_EQ(ReadWayBlock(run, way, 24, kFirstBlock), -3);
  EXPECT_EQ(console.Text(), "");
}

// As with the data file, the position takes the place of the bytes.
TEST_F(ReadWayBlockTest, ShowsTheHighHalfOfTheOffsetWhereItSpeaksOfBytes) {
  run.control.debugMode = true;
  ASSERT_EQ(::ftruncate(run.files.workFd2, 0x200000000 + 48), 0);
  way.nextOffset = 0x200000018;
  ShortenReads(1, 1);
  EXPECT_EQ(ReadWayBlock(run, way, 24, kRefill), kOk);
  EXPECT_EQ(console.Text(), Retry(4, 2, "00000018", 2, 23));
}

}  // namespace
}  // namespace tavindex::test
