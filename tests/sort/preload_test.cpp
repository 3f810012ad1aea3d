#include "sort/preload.h"

#include <array>

#include "sort_test.h"

namespace tavindex::test {
namespace {

class PreLoadBufferTest : public SortTest {
 protected:
  PreLoadBufferTest() {
    UseSortMode();
    run.keys.keyLength = 1;
    SizeArea(30);
    for (int i = 0; i < 100; ++i) data += std::string(1, static_cast<char>('A' + i % 26));
  }
  // A way whose block holds the items, with the data file and a preload buffer of `room` bytes.
  Result Load(const std::vector<Item>& items, std::size_t room = 1000) {
    OpenData(data);
    FillArea(items);
    buffer.assign(room, 0);
    way.block = way.current = run.sort.sortMemoryBase;
    way.itemsLeft = static_cast<std::uint32_t>(items.size());
    way.preload = buffer;
    return PreLoadBuffer(run, run.files.inputFd, way);
  }
  std::string Loaded() const { return AsText(way.preload.first(way.preloadCount)); }

  std::string data;
  std::vector<std::uint8_t> buffer;
  MergeWay way;
};

TEST_F(PreLoadBufferTest, CoversTheRecordsOfTheItems) {
  EXPECT_EQ(Load({{20, 4, "a"}, {10, 4, "b"}, {30, 4, "c"}}), kOk);
  EXPECT_EQ(way.preloadStart, 10);
  EXPECT_EQ(Loaded(), data.substr(10, 24));
}

TEST_F(PreLoadBufferTest, LoadsTheOneRecordOfTheLastItem) {
  EXPECT_EQ(Load({{20, 4, "a"}}), kOk);
  EXPECT_EQ(way.preloadStart, 20);
  EXPECT_EQ(Loaded(), data.substr(20, 4));
}

TEST_F(PreLoadBufferTest, EndsAtTheRecordThatWouldMakeTheStretchTooLong) {
  EXPECT_EQ(Load({{20, 4, "a"}, {26, 4, "b"}, {31, 4, "c"}, {22, 2, "d"}}, 12), kOk);
  EXPECT_EQ(way.preloadStart, 20);
  EXPECT_EQ(Loaded(), data.substr(20, 10));
}

TEST_F(PreLoadBufferTest, TakesAStretchOfExactlyTheBuffersSize) {
  EXPECT_EQ(Load({{20, 4, "a"}, {28, 4, "b"}}, 12), kOk);
  EXPECT_EQ(Loaded(), data.substr(20, 12));
}

TEST_F(PreLoadBufferTest, DoesNotReadSparseStretches) {
  data.resize(5000, '.');
  // 2 bytes of records: a stretch of less than 400 is worth it, 400 is not.
  EXPECT_EQ(Load({{100, 1, "a"}, {498, 1, "b"}}, 4000), kOk);
  EXPECT_EQ(Loaded().size(), 399U);
  EXPECT_EQ(Load({{100, 1, "a"}, {499, 1, "b"}}, 4000), kOk);
  EXPECT_EQ(Loaded().size(), 1U);
}

TEST_F(PreLoadBufferTest, TakesALongerStretchThatBecomesDense) {
  data.resize(5000, '.');
  EXPECT_EQ(Load({{100, 1, "a"}, {600, 1, "b"}, {200, 1, "c"}}, 4000), kOk);
  EXPECT_EQ(way.preloadStart, 100);
  EXPECT_EQ(Loaded().size(), 501U);  // below 200 times 3
}

TEST_F(PreLoadBufferTest, StopsAtTheEndMarker) {
  EXPECT_EQ(Load({{20, 4, "a"}, {26, 4, "b"}, {UINT64_MAX, 0xFFFF, "\xFF"}, {60, 4, "z"}}), kOk);
  EXPECT_EQ(Loaded(), data.substr(20, 10));
}

TEST_F(PreLoadBufferTest, LoadsNothingForAnEndMarker) {
  EXPECT_EQ(Load({{UINT64_MAX, 0xFFFF, "\xFF"}}), kOk);
  EXPECT_EQ(way.preloadCount, 0U);
}

// The first number is the buffer's usual size, whatever its size is.
TEST_F(PreLoadBufferTest, TellsOfAShortReadInDebugMode) {
  run.control.debugMode = true;
  EXPECT_EQ(Load({{90, 20, "a"}}), 1);
  EXPECT_EQ(console.Text(), "\nPreLoadBuffer: Invalid buffer size read! 65536:10\n");
}

TEST_F(PreLoadBufferTest, FailsSilentlyOutsideDebugMode) {
  EXPECT_EQ(Load({{90, 20, "a"}}), 1);
  EXPECT_EQ(console.Text(), "");
}

}  // namespace
}  // namespace tavindex::test
