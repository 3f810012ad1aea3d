#include "common/buffered_write.h"

#include <cstring>

#include "sort_test.h"

namespace tavindex::test {
namespace {

constexpr std::size_t kBuffer = 0x40000;

class BufferedWriteTest : public SortTest {
 protected:
  BufferedWriteTest() {
    OpenWorkFiles();
    calls.Replace<&SystemCalls::write>([this](int fd, const void* bytes, std::size_t count) {
      sizes.push_back(count);
      return calls.Original().write(fd, bytes, count);
    });
  }
  bool Write(const std::string& text) {
    return BufferedWrite(run, run.files.workFd1, AsBytes(text));
  }

  std::vector<std::size_t> sizes;  // of the writes to the system
};

TEST_F(BufferedWriteTest, BufferedWriteKeepsBytesUntilTheFlush) {
  EXPECT_TRUE(Write("abc"));
  EXPECT_TRUE(Write(""));
  EXPECT_TRUE(Write("de"));
  EXPECT_EQ(sizes.size(), 0U);
  EXPECT_TRUE(FlushWrite(run, run.files.workFd1));
  EXPECT_EQ(scratch.Read("work1"), "abcde");
  EXPECT_EQ(sizes, std::vector<std::size_t>{5});
}

TEST_F(BufferedWriteTest, BufferedWriteFlushesABufferThatBecomesExactlyFull) {
  EXPECT_TRUE(Write(std::string(kBuffer - 1, 'a')));
  EXPECT_TRUE(sizes.empty());
  EXPECT_TRUE(Write("b"));
  EXPECT_EQ(sizes, std::vector<std::size_t>{kBuffer});
  EXPECT_TRUE(FlushWrite(run, run.files.workFd1));
  EXPECT_EQ(scratch.Read("work1"), std::string(kBuffer - 1, 'a') + "b");
}

TEST_F(BufferedWriteTest, BufferedWriteSplitsLongBytesIntoWholeBuffers) {
  EXPECT_TRUE(Write("xyz"));
  std::string text;
  while (text.size() < 2 * kBuffer + 10) text += std::to_string(text.size());
  EXPECT_TRUE(Write(text));
  EXPECT_EQ(sizes, (std::vector<std::size_t>{kBuffer, kBuffer}));
  EXPECT_TRUE(FlushWrite(run, run.files.workFd1));
  EXPECT_EQ(scratch.Read("work1"), "xyz" + text);
}

TEST_F(BufferedWriteTest, BufferedWriteTellsThatTheFlushFailed) {
  calls.FailFrom<&SystemCalls::write>(1, ENOSPC);
  EXPECT_TRUE(Write(std::string(kBuffer - 1, 'a')));
  EXPECT_FALSE(Write("bc"));
  EXPECT_EQ(errno, ENOSPC);
}

TEST_F(BufferedWriteTest, FlushWriteTellsThatNotAllBytesWereWritten) {
  calls.Replace<&SystemCalls::write>([this](int fd, const void* bytes, std::size_t count) {
    if (count <= 2) return calls.Original().write(fd, bytes, 0);
    return calls.Original().write(fd, bytes, count - 2);
  });
  EXPECT_TRUE(Write("abcdef"));
  EXPECT_FALSE(FlushWrite(run, run.files.workFd1));
}

TEST_F(BufferedWriteTest, FlushWriteEmptiesTheBufferAlsoWhenItFails) {
  calls.FailNth<&SystemCalls::write>(1, EIO);
  EXPECT_TRUE(Write("lost"));
  EXPECT_FALSE(FlushWrite(run, run.files.workFd1));
  EXPECT_TRUE(Write("kept"));
  EXPECT_TRUE(FlushWrite(run, run.files.workFd1));
  EXPECT_EQ(scratch.Read("work1"), "kept");
}

}  // namespace
}  // namespace tavindex::test
