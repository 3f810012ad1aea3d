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
using IsSameFileTest = OutputFileTest;
using LookAtTest = OutputFileTest;

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

// A path that may not be looked at might be any file of the user.

TEST_F(LookAtTest, TellsWhatIsThere) {
  struct stat status;
  EXPECT_EQ(LookAt(scratch.Write("file", "").c_str(), status), PathState::kThere);
  EXPECT_EQ(LookAt(scratch.Path("none").c_str(), status), PathState::kAbsent);
  EXPECT_EQ(LookAt(scratch.Path("file/none").c_str(), status), PathState::kAbsent);
  calls.FailNth<&SystemCalls::stat>(1, EACCES);
  EXPECT_EQ(LookAt(scratch.Path("none").c_str(), status), PathState::kUnknown);
}

TEST_F(LookAtTest, UnknownIsNeitherRegularNorSomethingElse) {
  Create("file");
  const int open[] = {fd};
  calls.FailFrom<&SystemCalls::stat>(1, EACCES);
  EXPECT_TRUE(IsOneOf(scratch.Path("other").c_str(), open));
  EXPECT_FALSE(IsRegularOrAbsent(scratch.Path("other").c_str()));
}

TEST_F(LookAtTest, UnknownIsADescriptorThatCannotBeLookedAt) {
  Create("file");
  const int open[] = {fd};
  scratch.Write("other", "");
  calls.FailFrom<&SystemCalls::fstat>(1, EIO);
  EXPECT_TRUE(IsOneOf(scratch.Path("other").c_str(), open));
}

TEST_F(IsSameFileTest, LooksBehindTheNames) {
  const std::string file = scratch.Write("file", "");
  const std::string other = scratch.Write("other", "");
  ASSERT_EQ(::link(file.c_str(), scratch.Path("link").c_str()), 0);
  EXPECT_TRUE(IsSameFile(file.c_str(), scratch.Path("link").c_str()));
  EXPECT_FALSE(IsSameFile(file.c_str(), other.c_str()));
  EXPECT_FALSE(IsSameFile(file.c_str(), scratch.Path("none").c_str()));
  EXPECT_FALSE(IsSameFile(scratch.Path("none").c_str(), scratch.Path("none").c_str()));
}

TEST_F(IsSameFileTest, TakesWhatCannotBeLookedAtForTheSame) {
  const std::string file = scratch.Write("file", "");
  const std::string other = scratch.Write("other", "");
  calls.FailNth<&SystemCalls::stat>(2, EACCES);
  EXPECT_TRUE(IsSameFile(file.c_str(), other.c_str()));
}

}  // namespace
}  // namespace tavindex::test
