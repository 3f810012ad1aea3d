#include "common/buffered_write.h"

#include <fcntl.h>

#include "support/run_test.h"

namespace tavindex::test {
namespace {

class BufferedWriteTest : public RunTest {
 protected:
  BufferedWriteTest() {
    run.files.outputFd = ::open(scratch.Path("out").c_str(), O_RDWR | O_CREAT, 0600);
  }
  int Out() const { return run.files.outputFd; }
  // `count` bytes that tell their place.
  static std::string Pattern(std::size_t count, unsigned seed = 0) {
    std::string text(count, '\0');
    for (std::size_t i = 0; i < count; ++i) text[i] = static_cast<char>((i + seed) * 31 % 251);
    return text;
  }
};

TEST_F(BufferedWriteTest, KeepsWhatDoesNotFillTheBuffer) {
  EXPECT_TRUE(BufferedWrite(run, Out(), AsBytes("abc")));
  EXPECT_TRUE(BufferedWrite(run, Out(), AsBytes("de")));
  EXPECT_EQ(run.writer.used, 5U);
  EXPECT_EQ(scratch.Read("out"), "");
}

TEST_F(BufferedWriteTest, FlushWritesWhatWaits) {
  BufferedWrite(run, Out(), AsBytes("abc"));
  BufferedWrite(run, Out(), AsBytes("de"));
  EXPECT_TRUE(FlushWrite(run, Out()));
  EXPECT_EQ(run.writer.used, 0U);
  EXPECT_EQ(scratch.Read("out"), "abcde");
}

TEST_F(BufferedWriteTest, FlushOfNothingWritesNothing) {
  calls.Watch<&SystemCalls::write>();
  EXPECT_TRUE(FlushWrite(run, Out()));
  EXPECT_EQ(calls.Count<&SystemCalls::write>(), 0);
}

TEST_F(BufferedWriteTest, WritesAFullBufferInOneCall) {
  calls.Watch<&SystemCalls::write>();
  const std::string bytes = Pattern(262144);
  EXPECT_TRUE(BufferedWrite(run, Out(), AsBytes(bytes)));
  EXPECT_EQ(calls.Count<&SystemCalls::write>(), 1);
  EXPECT_EQ(run.writer.used, 0U);
  EXPECT_EQ(scratch.Read("out"), bytes);
}

TEST_F(BufferedWriteTest, SplitsBytesOverTheBuffersEnd) {
  const std::string first = Pattern(262140);
  EXPECT_TRUE(BufferedWrite(run, Out(), AsBytes(first)));
  EXPECT_TRUE(BufferedWrite(run, Out(), AsBytes("0123456789")));
  EXPECT_EQ(run.writer.used, 6U);
  EXPECT_EQ(scratch.Read("out"), first + "0123");
  EXPECT_TRUE(FlushWrite(run, Out()));
  EXPECT_EQ(scratch.Read("out"), first + "0123456789");
}

TEST_F(BufferedWriteTest, TakesMoreThanTwoBuffersAtOnce) {
  const std::string bytes = Pattern(262144 * 2 + 7, 3);
  BufferedWrite(run, Out(), AsBytes("x"));
  EXPECT_TRUE(BufferedWrite(run, Out(), AsBytes(bytes)));
  EXPECT_EQ(run.writer.used, 8U);
  EXPECT_TRUE(FlushWrite(run, Out()));
  EXPECT_EQ(scratch.Read("out"), "x" + bytes);
}

TEST_F(BufferedWriteTest, FailsWhenTheFlushItNeedsFails) {
  calls.FailNth<&SystemCalls::write>(1, ENOSPC);
  BufferedWrite(run, Out(), AsBytes(Pattern(262143)));
  EXPECT_FALSE(BufferedWrite(run, Out(), AsBytes("yz")));
  EXPECT_EQ(errno, ENOSPC);
}

TEST_F(BufferedWriteTest, GivesUpWhatWaitedWhenTheFlushFails) {
  BufferedWrite(run, Out(), AsBytes("lost"));
  calls.FailNth<&SystemCalls::write>(1, EIO);
  EXPECT_FALSE(FlushWrite(run, Out()));
  EXPECT_EQ(run.writer.used, 0U);
  EXPECT_TRUE(FlushWrite(run, Out()));
  EXPECT_EQ(scratch.Read("out"), "");
}

}  // namespace
}  // namespace tavindex::test
