#include "sort/record_reader.h"

#include "sort/input_buffer.h"
#include "sort_test.h"

namespace tavindex::test {
namespace {

class RecordReaderTest : public SortTest {
 protected:
  // What the reader gives from the scan's place on, at most `most` columns; '$' for the end.
  std::string Read(std::uint32_t column, int most = 20) {
    RecordReader reader(run, column);
    std::string text;
    for (int i = 0; i < most; ++i) {
      const int byte = reader.Next();
      if (byte == RecordReader::kRecordEnd) return text + "$";
      text.push_back(static_cast<char>(byte));
    }
    return text;
  }
  void StandAt(std::string_view data, std::size_t offset) {
    OpenData(data);
    ASSERT_GT(fillInputBuffer(run, run.files.inputFd), 0);
    run.scan.scanPtr += offset;
    run.scan.bytesInBuffer -= static_cast<std::int32_t>(offset);
  }
};

TEST_F(RecordReaderTest, NextGivesBytesUpToTheMark) {
  StandAt("abc\ndef\n", 1);
  EXPECT_EQ(Read(1), "bc$");
  EXPECT_EQ(run.scan.bytesInBuffer, 7);
}

TEST_F(RecordReaderTest, NextEndsAtTheEndOfTheData) {
  StandAt("abc", 0);
  EXPECT_EQ(Read(0), "abc$");
}

TEST_F(RecordReaderTest, NextTakesHalfOfAMarkAsData) {
  UseEor("\r\n");
  StandAt("a\rb\nc\r\nd", 0);
  EXPECT_EQ(Read(0), "a\rb\nc$");
}

TEST_F(RecordReaderTest, NextExpandsTabs) {
  StandAt("ab\tc\n", 0);
  EXPECT_EQ(Read(0), "ab      c$");
}

TEST_F(RecordReaderTest, NextGivesTheRestOfATabItStandsOn) {
  StandAt("ab\tc\n", 2);
  EXPECT_EQ(Read(5), "   c$");
}

TEST_F(RecordReaderTest, NextEndsBehindABinaryRecord) {
  run.options.binaryRecords = true;
  StandAt("ab\ncdef", 0);
  run.scan.recordBytesLeft = 4;
  EXPECT_EQ(Read(0), "ab\nc$");
}

TEST_F(RecordReaderTest, NextReadsBehindTheBlockWithoutMovingThePosition) {
  StandAt(std::string(65533, 'a') + "bcdefgh\nij", 65533);
  EXPECT_EQ(Read(0), "bcdefgh$");
  EXPECT_EQ(run.scan.bufferFilePos, 65536);
  EXPECT_EQ(run.scan.scanPtr[2], 'd');
}

TEST_F(RecordReaderTest, NextReadsBehindTheBlockUpToTheLastByteOfTheData) {
  StandAt(std::string(65533, 'a') + "bcdefgh", 65533);
  EXPECT_EQ(Read(0), "bcdefgh$");
}

TEST_F(RecordReaderTest, NextFindsAMarkThatStraddlesBlocks) {
  UseEor("\r\n");
  StandAt(std::string(65533, 'a') + "bc\r\nij", 65533);
  EXPECT_EQ(Read(0), "bc$");
}

TEST_F(RecordReaderTest, NextTellsThatTheBytesBehindTheBlockCannotBeRead) {
  StandAt(std::string(65533, 'a') + "bcdefgh\nij", 65533);
  calls.FailFrom<&SystemCalls::read>(1, EIO);
  EXPECT_EQ(Read(0), "bcd$");
  EXPECT_TRUE(run.scan.readAheadFailed);
  EXPECT_EQ(calls.Count<&SystemCalls::read>(), 4);
}

TEST_F(RecordReaderTest, NextReadsTheBytesBehindTheBlockUpToFourTimes) {
  StandAt(std::string(65533, 'a') + "bcdefgh\nij", 65533);
  int failures = 3;
  calls.Replace<&SystemCalls::read>([&](int fd, void* bytes, std::size_t count) -> ssize_t {
    if (failures-- > 0) {
      errno = EIO;
      return -1;
    }
    return calls.Original().read(fd, bytes, count);
  });
  EXPECT_EQ(Read(0), "bcdefgh$");
  EXPECT_FALSE(run.scan.readAheadFailed);
}

}  // namespace
}  // namespace tavindex::test
