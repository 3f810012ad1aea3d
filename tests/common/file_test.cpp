#include "common/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "support/large_block.h"
#include "support/run_test.h"

namespace tavindex::test {
namespace {

class FileTest : public ::testing::Test {
 protected:
  ~FileTest() override {
    if (fd >= 0) ::close(fd);
  }
  void Open(const char* name, int flags) { fd = ::open(scratch.Path(name).c_str(), flags, 0600); }
  void OpenWith(std::string_view content) {
    scratch.Write("in", content);
    Open("in", O_RDWR);
  }

  ScratchDirectory scratch;
  SystemCallsGuard calls;
  std::array<std::uint8_t, 8> bytes{};
  int fd = -1;
};

class ReadOnceTest : public FileTest {
 protected:
  LargeBlock block;
};

using OpenFileTest = FileTest;
using OpenRegularFileTest = FileTest;
using CloseFileTest = FileTest;
using ReadFullyTest = FileTest;
using ReadAtTest = FileTest;
using WriteAllTest = FileTest;
using FileSizeTest = FileTest;

TEST_F(OpenFileTest, ClosesOnExec) {
  scratch.Write("in", "x");
  fd = OpenFile(scratch.Path("in").c_str(), O_RDONLY);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(::fcntl(fd, F_GETFD), FD_CLOEXEC);
}

TEST_F(OpenFileTest, TriesAgainAfterASignal) {
  scratch.Write("in", "x");
  calls.FailNth<&SystemCalls::open>(1, EINTR);
  fd = OpenFile(scratch.Path("in").c_str(), O_RDONLY);
  EXPECT_GE(fd, 0);
  EXPECT_EQ(calls.Count<&SystemCalls::open>(), 2);
}

TEST_F(OpenFileTest, GivesNoFileWhenRefused) {
  EXPECT_EQ(OpenFile(scratch.Path("none").c_str(), O_RDONLY), kNoFile);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(OpenRegularFileTest, OpensAFile) {
  scratch.Write("in", "x");
  fd = OpenRegularFile(scratch.Path("in").c_str(), O_RDONLY);
  EXPECT_GE(fd, 0);
}

TEST_F(OpenRegularFileTest, NeverBlocksOnAFifo) {
  ASSERT_EQ(::mkfifo(scratch.Path("fifo").c_str(), 0600), 0);
  EXPECT_EQ(OpenRegularFile(scratch.Path("fifo").c_str(), O_RDONLY), kNoFile);
  EXPECT_EQ(OpenRegularFile(scratch.Path("fifo").c_str(), O_RDWR), kNoFile);
}

TEST_F(OpenRegularFileTest, RefusesADirectoryAndADevice) {
  EXPECT_EQ(OpenRegularFile(scratch.Path().c_str(), O_RDONLY), kNoFile);
  EXPECT_EQ(OpenRegularFile("/dev/null", O_RDWR), kNoFile);
}

TEST_F(OpenRegularFileTest, ClosesWhatItRefuses) {
  calls.Watch<&SystemCalls::close>();
  OpenRegularFile("/dev/null", O_RDONLY);
  EXPECT_EQ(calls.Count<&SystemCalls::close>(), 1);
}

TEST_F(CloseFileTest, ClosesOnce) {
  OpenWith("x");
  const int descriptor = fd;
  EXPECT_TRUE(CloseFile(fd));
  EXPECT_EQ(fd, kNoFile);
  EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
  calls.Watch<&SystemCalls::close>();
  EXPECT_TRUE(CloseFile(fd));
  EXPECT_EQ(calls.Count<&SystemCalls::close>(), 0);
}

TEST_F(CloseFileTest, ForgetsTheDescriptorAlsoWhenClosingFails) {
  OpenWith("x");
  const int descriptor = fd;
  calls.FailNth<&SystemCalls::close>(1, EIO);
  EXPECT_FALSE(CloseFile(fd));
  EXPECT_EQ(fd, kNoFile);
  ::close(descriptor);
}

TEST_F(CloseFileTest, NeverClosesTwiceAfterASignal) {
  OpenWith("x");
  const int descriptor = fd;
  calls.FailNth<&SystemCalls::close>(1, EINTR);
  EXPECT_TRUE(CloseFile(fd));
  EXPECT_EQ(calls.Count<&SystemCalls::close>(), 1);
  ::close(descriptor);
}

TEST_F(ReadFullyTest, StopsAtTheEndOfTheFile) {
  OpenWith("abc");
  EXPECT_EQ(ReadFully(fd, bytes), 3);
  EXPECT_EQ(bytes[2], 'c');
  EXPECT_EQ(bytes[3], 0);
}

TEST_F(ReadFullyTest, JoinsShortReads) {
  OpenWith("abcdefghij");
  calls.Replace<&SystemCalls::read>([&](int from, void* to, std::size_t count) {
    return calls.Original().read(from, to, std::min<std::size_t>(count, 3));
  });
  EXPECT_EQ(ReadFully(fd, bytes), 8);
  EXPECT_EQ(AsText(bytes), "abcdefgh");
}

TEST_F(ReadFullyTest, TriesAgainAfterASignal) {
  OpenWith("abcdefgh");
  calls.FailNth<&SystemCalls::read>(1, EINTR);
  EXPECT_EQ(ReadFully(fd, bytes), 8);
}

TEST_F(ReadFullyTest, GivesUpWhenItIsInterruptedWithoutEnd) {
  OpenWith("abcdefgh");
  calls.FailFrom<&SystemCalls::read>(1, EINTR);
  EXPECT_EQ(ReadFully(fd, bytes), -1);
  EXPECT_EQ(errno, EINTR);
  EXPECT_EQ(calls.Count<&SystemCalls::read>(), 1001);
}

TEST_F(ReadFullyTest, FailsWhenTheSecondReadFails) {
  OpenWith("abc");
  calls.FailNth<&SystemCalls::read>(2, EIO);
  EXPECT_EQ(ReadFully(fd, bytes), -1);
  EXPECT_EQ(errno, EIO);
}

TEST_F(ReadOnceTest, GivesMoreThanTheSystemReadsAtOnce) {
  block.ReadFrom(LargeBlock::kSize, calls);
  EXPECT_EQ(ReadOnce(0, block.Bytes()), std::int64_t{LargeBlock::kSize});
}

TEST_F(ReadOnceTest, EndsWithTheFirstShortPiece) {
  block.ReadFrom((std::size_t{1} << 30) + 7, calls);
  EXPECT_EQ(ReadOnce(0, block.Bytes()), (std::int64_t{1} << 30) + 7);
  EXPECT_EQ(calls.Count<&SystemCalls::read>(), 2);
}

TEST_F(ReadOnceTest, FailsWithAnyPiece) {
  calls.Replace<&SystemCalls::read>([&](int, void*, std::size_t count) -> ssize_t {
    if (calls.Count<&SystemCalls::read>() < 3) return static_cast<ssize_t>(count);
    errno = EIO;
    return -1;
  });
  EXPECT_EQ(ReadOnce(0, block.Bytes()), -1);
  EXPECT_EQ(calls.Count<&SystemCalls::read>(), 3);
}

TEST_F(ReadAtTest, ReadsFromItsPlace) {
  OpenWith("0123456789abcdef");
  EXPECT_EQ(ReadAt(fd, 10, bytes), 6);
  EXPECT_EQ(AsText({bytes.data(), 6}), "abcdef");
}

TEST_F(ReadAtTest, FailsWithTheSeek) {
  OpenWith("0123456789abcdef");
  calls.FailNth<&SystemCalls::lseek>(1, EIO);
  EXPECT_EQ(ReadAt(fd, 10, bytes), -1);
}

TEST_F(WriteAllTest, ContinuesAShortWrite) {
  Open("out", O_RDWR | O_CREAT);
  calls.Replace<&SystemCalls::write>([&](int to, const void* from, std::size_t count) {
    return calls.Original().write(to, from, std::min<std::size_t>(count, 4));
  });
  EXPECT_TRUE(WriteAll(fd, AsBytes("0123456789")));
  EXPECT_EQ(calls.Count<&SystemCalls::write>(), 3);
  EXPECT_EQ(scratch.Read("out"), "0123456789");
}

TEST_F(WriteAllTest, TellsWhyTheRestDidNotGo) {
  Open("out", O_RDWR | O_CREAT);
  calls.Replace<&SystemCalls::write>([&](int to, const void* from, std::size_t) -> ssize_t {
    if (calls.Count<&SystemCalls::write>() == 1) return calls.Original().write(to, from, 4);
    errno = EFBIG;
    return -1;
  });
  EXPECT_FALSE(WriteAll(fd, AsBytes("0123456789")));
  EXPECT_EQ(errno, EFBIG);
  EXPECT_EQ(scratch.Read("out"), "0123");
}

TEST_F(WriteAllTest, TakesAWriteOfNothingForAFullDisk) {
  Open("out", O_RDWR | O_CREAT);
  calls.Replace<&SystemCalls::write>([](int, const void*, std::size_t) -> ssize_t { return 0; });
  EXPECT_FALSE(WriteAll(fd, AsBytes("0123")));
  EXPECT_EQ(errno, ENOSPC);
}

TEST_F(WriteAllTest, TriesAgainAfterASignal) {
  Open("out", O_RDWR | O_CREAT);
  calls.FailNth<&SystemCalls::write>(1, EINTR);
  EXPECT_TRUE(WriteAll(fd, AsBytes("0123")));
  EXPECT_EQ(scratch.Read("out"), "0123");
}

TEST_F(FileSizeTest, LeavesThePositionAtTheEnd) {
  OpenWith("12345");
  EXPECT_EQ(FileSize(fd), 5);
  EXPECT_EQ(::lseek(fd, 0, SEEK_CUR), 5);
  EXPECT_EQ(SeekTo(fd, 2), 2);
}

TEST_F(FileSizeTest, FailsWithTheSeek) {
  OpenWith("12345");
  calls.FailNth<&SystemCalls::lseek>(1, EIO);
  EXPECT_EQ(FileSize(fd), -1);
}

TEST_F(FileTest, TruncateAndSyncTryAgainAfterASignal) {
  OpenWith("12345");
  calls.FailNth<&SystemCalls::ftruncate>(1, EINTR);
  calls.FailNth<&SystemCalls::fsync>(1, EINTR);
  EXPECT_TRUE(TruncateFile(fd, 2));
  EXPECT_TRUE(SyncFile(fd));
  EXPECT_EQ(scratch.Read("in"), "12");
}

TEST_F(FileTest, TruncateAndSyncTellOfAFailure) {
  OpenWith("12345");
  calls.FailNth<&SystemCalls::ftruncate>(1, EIO);
  calls.FailNth<&SystemCalls::fsync>(1, EIO);
  EXPECT_FALSE(TruncateFile(fd, 2));
  EXPECT_FALSE(SyncFile(fd));
}

TEST_F(FileTest, RemoveFileTellsWhetherItWent) {
  const std::string path = scratch.Write("in", "x");
  EXPECT_TRUE(RemoveFile(path.c_str()));
  EXPECT_FALSE(scratch.Exists("in"));
  EXPECT_FALSE(RemoveFile(path.c_str()));
}

TEST_F(FileTest, SameFileLooksBehindTheNames) {
  const std::string path = scratch.Write("in", "x");
  scratch.Write("other", "x");
  ASSERT_EQ(::link(path.c_str(), scratch.Path("link").c_str()), 0);
  struct stat file;
  struct stat link;
  struct stat other;
  ASSERT_TRUE(StatPath(path.c_str(), file));
  ASSERT_TRUE(StatPath(scratch.Path("link").c_str(), link));
  ASSERT_TRUE(StatPath(scratch.Path("other").c_str(), other));
  EXPECT_TRUE(SameFile(file, link));
  EXPECT_FALSE(SameFile(file, other));
  EXPECT_FALSE(StatPath(scratch.Path("none").c_str(), other));
}

}  // namespace
}  // namespace tavindex::test
