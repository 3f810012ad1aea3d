#include "sort/input_buffer.h"

#include <unistd.h>

#include <algorithm>

#include "sort_test.h"

namespace tavindex::test {
namespace {

constexpr std::size_t kBlock = 65536;

class FillInputBuffer : public SortTest {
 protected:
  std::int32_t Fill() { return fillInputBuffer(run, run.files.inputFd); }
  // Lets the first `times` reads give `fewer` bytes less than they would.
  void ShortenReads(int times, std::size_t fewer) {
    left_ = times;
    calls.Replace<&SystemCalls::read>([this, fewer](int fd, void* bytes, std::size_t count) {
      const ssize_t got = calls.Original().read(fd, bytes, count);
      if (left_-- <= 0) return got;
      return std::max<ssize_t>(got - static_cast<ssize_t>(fewer), 0);
    });
  }
  std::string Retry(int left, const char* position, int high, int bytes) {
    return "\nfillInputBuffer(2):\n Retry:" + std::to_string(left) + "  At location:0x" + position +
           "  Bytes read was:" + std::to_string(high) + " Should be:" + std::to_string(bytes) +
           "\n";
  }

 private:
  int left_ = 0;
};

TEST_F(FillInputBuffer, TakesABlockAndLooksOneByteAhead) {
  OpenData(std::string(kBlock, 'a') + "bcd");
  EXPECT_EQ(Fill(), 65536);
  EXPECT_EQ(run.scan.scanPtr, run.scan.inputBuffer.Data());
  EXPECT_EQ(run.scan.bytesInBuffer, 65536);
  EXPECT_EQ(run.scan.lastReadCount, kBlock);
  EXPECT_EQ(run.scan.bufferFilePos, 65536);
  EXPECT_EQ(run.scan.scanPtr[kBlock], 'b');
  EXPECT_EQ(Fill(), 3);
  EXPECT_EQ(AsText({run.scan.scanPtr, 3}), "bcd");
  EXPECT_EQ(run.scan.bufferFilePos, 65539);
  EXPECT_EQ(Fill(), 0);
}

TEST_F(FillInputBuffer, EndsAFileOfExactlyOneBlockWithoutRetries) {
  OpenData(std::string(kBlock, 'a'));
  calls.Watch<&SystemCalls::read>();
  EXPECT_EQ(Fill(), 65536);
  EXPECT_EQ(Fill(), 0);
  EXPECT_EQ(run.scan.bytesInBuffer, 0);
  EXPECT_EQ(calls.Count<&SystemCalls::read>(), 2);
}

TEST_F(FillInputBuffer, GivesNothingForAnEmptyFile) {
  OpenData("");
  EXPECT_EQ(Fill(), 0);
  EXPECT_EQ(run.scan.bufferFilePos, 0);
}

TEST_F(FillInputBuffer, DropsACtrlZAtTheEndOfAText) {
  OpenData("ab\n\x1A");
  EXPECT_EQ(Fill(), 3);
  EXPECT_EQ(Fill(), 0);
  EXPECT_EQ(run.scan.bufferFilePos, 3);
}

TEST_F(FillInputBuffer, DropsOneCtrlZOnly) {
  OpenData("ab\n\x1A\x1A");
  EXPECT_EQ(Fill(), 4);
}

TEST_F(FillInputBuffer, DropsACtrlZThatEndsAWholeBlock) {
  OpenData(std::string(kBlock - 1, 'a') + "\x1A");
  EXPECT_EQ(Fill(), 65535);
  EXPECT_EQ(Fill(), 0);
}

TEST_F(FillInputBuffer, DropsACtrlZThatIsTheLookAheadByte) {
  OpenData(std::string(kBlock, 'a') + "\x1A");
  EXPECT_EQ(Fill(), 65536);
  EXPECT_EQ(Fill(), 0);
}

TEST_F(FillInputBuffer, KeepsACtrlZOfBinaryData) {
  UseBinary(4);
  OpenData("abc\x1A");
  EXPECT_EQ(Fill(), 4);
  OpenData(std::string(kBlock, 'a') + "\x1A");
  run.scan.bufferFilePos = 0;
  EXPECT_EQ(Fill(), 65536);
  EXPECT_EQ(Fill(), 1);
}

TEST_F(FillInputBuffer, ReadsAgainAfterAShortRead) {
  run.control.debugMode = true;
  OpenData("abcdefgh");
  ShortenReads(1, 3);
  EXPECT_EQ(Fill(), 8);
  EXPECT_EQ(AsText({run.scan.scanPtr, 8}), "abcdefgh");
  EXPECT_EQ(console.Text(), Retry(2, "00000000", 0, 5));
}

TEST_F(FillInputBuffer, SaysNothingOfRetriesOutsideDebugMode) {
  OpenData("abcdefgh");
  ShortenReads(9, 3);
  EXPECT_EQ(Fill(), -4);
  EXPECT_EQ(console.Text(), "");
}

TEST_F(FillInputBuffer, GivesUpAfterFourShortReads) {
  run.control.debugMode = true;
  OpenData("abcdefgh");
  ShortenReads(9, 3);
  EXPECT_EQ(Fill(), -4);
  EXPECT_EQ(calls.Count<&SystemCalls::read>(), 4);
  EXPECT_EQ(console.Text(), Retry(2, "00000000", 0, 5) + Retry(1, "00000000", 0, 5) +
                                Retry(0, "00000000", 0, 5) +
                                "\nfillInputBuffer(1): Invalid number of bytes read!\n");
}

TEST_F(FillInputBuffer, TakesOnlyAWholeBlockFromTheFourthRead) {
  OpenData(std::string(kBlock + 100, 'a'));
  ShortenReads(3, 200);
  EXPECT_EQ(Fill(), 65536);
  ShortenReads(3, 10);
  EXPECT_EQ(Fill(), -4);  // the fourth read gave the rest of the file
}

TEST_F(FillInputBuffer, GivesUpAfterFourFailedReads) {
  OpenData("abcdefgh");
  calls.FailFrom<&SystemCalls::read>(1, EIO);
  EXPECT_EQ(Fill(), -4);
  EXPECT_EQ(calls.Count<&SystemCalls::read>(), 4);
}

TEST_F(FillInputBuffer, RecoversFromAFailedRead) {
  OpenData("abcdefgh");
  calls.FailNth<&SystemCalls::read>(1, EIO);
  EXPECT_EQ(Fill(), 8);
}

TEST_F(FillInputBuffer, FailsWhenTheFileHasShrunk) {
  OpenData("abcdefgh");
  run.scan.bufferFilePos = 10;
  EXPECT_EQ(Fill(), -4);
}

// The line has five places for six numbers, so each number stands one place too far.
TEST_F(FillInputBuffer, ShowsTheHighHalfOfThePositionWhereItSpeaksOfBytes) {
  run.control.debugMode = true;
  OpenData("");
  ASSERT_EQ(::ftruncate(run.files.inputFd, 0x300000020), 0);
  run.scan.bufferFilePos = 0x300000010;
  ShortenReads(1, 9);
  EXPECT_EQ(Fill(), 16);
  EXPECT_EQ(console.Text(), Retry(2, "00000010", 3, 7));
}

TEST_F(FillInputBuffer, AdvanceByteReadsTheNextBlockBehindTheLastByte) {
  OpenData(std::string(kBlock, 'a') + "b");
  ASSERT_EQ(Fill(), 65536);
  run.scan.scanPtr += kBlock - 2;
  run.scan.bytesInBuffer = 2;
  EXPECT_EQ(AdvanceByte(run), kOk);
  EXPECT_EQ(*run.scan.scanPtr, 'a');
  EXPECT_EQ(AdvanceByte(run), kOk);
  EXPECT_EQ(*run.scan.scanPtr, 'b');
  EXPECT_EQ(run.scan.bytesInBuffer, 1);
  EXPECT_EQ(AdvanceByte(run), kInputExhausted);
}

TEST_F(FillInputBuffer, RefillInputTellsEndAndFailureApart) {
  OpenData("x");
  EXPECT_EQ(RefillInput(run), kOk);
  EXPECT_EQ(RefillInput(run), kInputExhausted);
  run.scan.bufferFilePos = 0;
  calls.FailFrom<&SystemCalls::read>(1, EIO);
  EXPECT_EQ(RefillInput(run), kInputReadFailed);
}

}  // namespace
}  // namespace tavindex::test
