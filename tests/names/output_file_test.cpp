#include "names/output_file.h"

#include <fcntl.h>

#include <vector>

#include "support/run_test.h"

namespace tavindex::test {
namespace {

class OutputFileTest : public RunTest {
 protected:
  ~OutputFileTest() override {
    if (fd >= 0) ::close(fd);
  }
  void Create(std::string_view name) { fd = CreateOutputFile(scratch.Path(name).c_str()); }

  int fd = -1;
};

using CreateOutputFileTest = OutputFileTest;
using IsOneOfTest = OutputFileTest;
using IsRegularOrAbsentTest = OutputFileTest;

TEST_F(CreateOutputFileTest, CreatesForReadingAndWriting) {
  const mode_t mask = ::umask(0027);
  Create("new");
  ::umask(mask);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(::fcntl(fd, F_GETFL) & O_ACCMODE, O_RDWR);
  struct stat status;
  ASSERT_EQ(::fstat(fd, &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U);
}

TEST_F(CreateOutputFileTest, EmptiesTheFileThatIsThere) {
  scratch.Write("old", "content");
  Create("old");
  ASSERT_GE(fd, 0);
  EXPECT_EQ(scratch.Read("old"), "");
  EXPECT_EQ(::fcntl(fd, F_GETFL) & O_ACCMODE, O_RDWR);
}

TEST_F(CreateOutputFileTest, FirstAsksForANewFile) {
  std::vector<int> flagsSeen;
  std::vector<mode_t> modesSeen;
  calls.Replace<&SystemCalls::open>([&](const char*, int flags, mode_t mode) {
    flagsSeen.push_back(flags);
    modesSeen.push_back(mode);
    errno = EEXIST;
    return -1;
  });
  Create("new");
  EXPECT_EQ(fd, -1);
  ASSERT_EQ(flagsSeen.size(), 2U);
  const int created = O_CREAT | O_EXCL | O_TRUNC;
  EXPECT_EQ(flagsSeen[0] & (created | O_ACCMODE), created | O_RDWR);
  EXPECT_EQ(modesSeen[0], mode_t{0666});
  EXPECT_EQ(flagsSeen[1] & (created | O_ACCMODE), O_TRUNC | O_RDWR);
}

TEST_F(CreateOutputFileTest, GivesNoDescriptorForADirectory) {
  scratch.MakeDirectory("directory");
  Create("directory");
  EXPECT_EQ(fd, -1);
}

TEST_F(CreateOutputFileTest, NeverCreatesThroughADanglingLink) {
  ASSERT_EQ(::symlink(scratch.Path("target").c_str(), scratch.Path("link").c_str()), 0);
  Create("link");
  EXPECT_EQ(fd, -1);
  EXPECT_FALSE(scratch.Exists("target"));
}

TEST_F(IsOneOfTest, KnowsAFileUnderAnotherName) {
  Create("file");
  ASSERT_EQ(::link(scratch.Path("file").c_str(), scratch.Path("link").c_str()), 0);
  const int open[] = {kNoFile, fd};
  EXPECT_TRUE(IsOneOf(scratch.Path("link").c_str(), open));
}

TEST_F(IsOneOfTest, IsNotForOtherOrMissingFiles) {
  Create("file");
  scratch.Write("other", "");
  const int open[] = {kNoFile, fd};
  const int closed[] = {kNoFile};
  EXPECT_FALSE(IsOneOf(scratch.Path("other").c_str(), open));
  EXPECT_FALSE(IsOneOf(scratch.Path("none").c_str(), open));
  EXPECT_FALSE(IsOneOf(scratch.Path("file").c_str(), closed));
}

TEST_F(IsRegularOrAbsentTest, TakesFilesAndNothing) {
  EXPECT_TRUE(IsRegularOrAbsent(scratch.Write("file", "").c_str()));
  EXPECT_TRUE(IsRegularOrAbsent(scratch.Path("none").c_str()));
}

TEST_F(IsRegularOrAbsentTest, RefusesEverythingElse) {
  EXPECT_FALSE(IsRegularOrAbsent(scratch.Path().c_str()));
  EXPECT_FALSE(IsRegularOrAbsent("/dev/null"));
  ASSERT_EQ(::mkfifo(scratch.Path("fifo").c_str(), 0600), 0);
  EXPECT_FALSE(IsRegularOrAbsent(scratch.Path("fifo").c_str()));
}

}  // namespace
}  // namespace tavindex::test
