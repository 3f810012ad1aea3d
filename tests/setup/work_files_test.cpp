#include "setup/work_files.h"

#include <fcntl.h>

#include "support/run_test.h"

namespace tavindex::test {
namespace {

class WorkFilesTest : public RunTest {
 protected:
  WorkFilesTest() { environment.Set("TMPDIR", scratch.Path()); }
  ~WorkFilesTest() override {
    for (const WorkName* name : {&run.files.workFileName1, &run.files.workFileName2}) {
      if (!name->Empty()) ::unlink(name->CStr());
    }
  }
  std::string Name1() const { return run.files.workFileName1.CStr(); }
  std::string Name2() const { return run.files.workFileName2.CStr(); }
};

using CreateWorkFilesTest = WorkFilesTest;
using RemoveWorkFilesTest = WorkFilesTest;

// Six characters chosen by the system behind a fixed front.
void ExpectUnique(const std::string& name, const std::string& front) {
  EXPECT_EQ(name.substr(0, front.size()), front);
  EXPECT_EQ(name.size(), front.size() + 6);
  EXPECT_NE(name.substr(front.size()), "XXXXXX");
}

TEST_F(CreateWorkFilesTest, MakesBothInTheEnvironmentsDirectory) {
  EXPECT_EQ(CreateWorkFiles(run), kOk);
  ExpectUnique(Name1(), scratch.Path() + "/dsort");
  ExpectUnique(Name2(), scratch.Path() + "/dsort");
  EXPECT_NE(Name1(), Name2());
  EXPECT_EQ(scratch.FileCount(), 2U);
}

TEST_F(CreateWorkFilesTest, MakesBothInTheCommandLinesDirectory) {
  const std::string directory = scratch.MakeDirectory("work");
  run.options.workDirectory.Assign(directory);
  EXPECT_EQ(CreateWorkFiles(run), kOk);
  ExpectUnique(Name1(), directory + "/dsort");
  ExpectUnique(Name2(), directory + "/dsort");
}

TEST_F(CreateWorkFilesTest, MakesBothInTmpOtherwise) {
  environment.Unset("TMPDIR");
  EXPECT_EQ(CreateWorkFiles(run), kOk);
  ExpectUnique(Name1(), "/tmp/dsort");
  ExpectUnique(Name2(), "/tmp/dsort");
}

TEST_F(CreateWorkFilesTest, TakesAnEmptyVariableForNone) {
  environment.Set("TMPDIR", "");
  EXPECT_EQ(CreateWorkFiles(run), kOk);
  ExpectUnique(Name1(), "/tmp/dsort");
}

TEST_F(CreateWorkFilesTest, KeepsATrailingSlash) {
  environment.Set("TMPDIR", scratch.Path() + "/");
  EXPECT_EQ(CreateWorkFiles(run), kOk);
  ExpectUnique(Name1(), scratch.Path() + "//dsort");
  ExpectUnique(Name2(), scratch.Path() + "//dsort");
}

TEST_F(CreateWorkFilesTest, TakesTheDirectoryFromTheConfigurationFile) {
  const std::string directory = scratch.MakeDirectory("work");
  run.names.iniFileName.Assign(scratch.Write("t.ini", "[environment]\nTMPDIR=" + directory + "\n"));
  EXPECT_EQ(CreateWorkFiles(run), kOk);
  ExpectUnique(Name1(), directory + "/dsort");
}

TEST_F(CreateWorkFilesTest, OpensBothForReadingAndWriting) {
  EXPECT_EQ(CreateWorkFiles(run), kOk);
  for (const int fd : {run.files.workFd1, run.files.workFd2}) {
    EXPECT_EQ(::fcntl(fd, F_GETFL) & O_ACCMODE, O_RDWR);
  }
  struct stat named;
  struct stat open;
  ASSERT_EQ(::stat(Name2().c_str(), &named), 0);
  ASSERT_EQ(::fstat(run.files.workFd2, &open), 0);
  EXPECT_EQ(named.st_ino, open.st_ino);
}

TEST_F(CreateWorkFilesTest, StartsTheTrainsInTheFirstAndTheMergeInTheSecond) {
  EXPECT_EQ(CreateWorkFiles(run), kOk);
  EXPECT_EQ(run.files.workFile, run.files.workFd1);
  EXPECT_EQ(run.files.mergeInput, run.files.workFd2);
}

TEST_F(CreateWorkFilesTest, TellsTheirNamesInDebugMode) {
  run.control.debugMode = true;
  EXPECT_EQ(CreateWorkFiles(run), kOk);
  EXPECT_EQ(console.Text(),
            "Created " + Name1() + " as temp file 1\nCreated " + Name2() + " as temp file 2\n");
}

TEST_F(CreateWorkFilesTest, RefusesAMissingDirectory) {
  environment.Set("TMPDIR", scratch.Path("none"));
  EXPECT_EQ(CreateWorkFiles(run), -110);
  EXPECT_EQ(run.files.workFd1, kNoFile);
}

TEST_F(CreateWorkFilesTest, RefusesANameThatDoesNotFit) {
  environment.Set("TMPDIR", "/tmp" + std::string(254, '/'));  // 258 + 12 characters
  EXPECT_EQ(CreateWorkFiles(run), -110);
  EXPECT_EQ(run.files.workFd1, kNoFile);
}

TEST_F(CreateWorkFilesTest, TakesTheLongestNameThatFits) {
  environment.Set("TMPDIR", "/tmp" + std::string(253, '/'));  // 257 + 12 = 269 and a terminator
  EXPECT_EQ(CreateWorkFiles(run), kOk);
  EXPECT_EQ(Name1().size(), 269U);
}

TEST_F(CreateWorkFilesTest, RemovesAFileThatCannotBeOpenedAgain) {
  calls.FailNth<&SystemCalls::open>(1, EACCES);
  EXPECT_EQ(CreateWorkFiles(run), -110);
  EXPECT_EQ(scratch.FileCount(), 0U);
}

TEST_F(CreateWorkFilesTest, LeavesTheFirstToTheCleanUpWhenTheSecondFails) {
  calls.FailNth<&SystemCalls::mkstemp>(2, ENOSPC);
  EXPECT_EQ(CreateWorkFiles(run), -110);
  EXPECT_GE(run.files.workFd1, 0);
  EXPECT_EQ(run.files.workFd2, kNoFile);
  EXPECT_TRUE(std::filesystem::exists(Name1()));
}

TEST_F(RemoveWorkFilesTest, ClosesRemovesAndForgetsBoth) {
  CreateWorkFiles(run);
  const int fd1 = run.files.workFd1;
  const int fd2 = run.files.workFd2;
  RemoveWorkFiles(run);
  EXPECT_EQ(scratch.FileCount(), 0U);
  EXPECT_EQ(::fcntl(fd1, F_GETFD), -1);
  EXPECT_EQ(::fcntl(fd2, F_GETFD), -1);
  EXPECT_EQ(run.files.workFd1, kNoFile);
  EXPECT_EQ(run.files.workFd2, kNoFile);
  EXPECT_TRUE(Name1().empty() && Name2().empty());
}

TEST_F(RemoveWorkFilesTest, RemovesThemAlsoInDebugMode) {
  run.control.debugMode = true;
  CreateWorkFiles(run);
  RemoveWorkFiles(run);
  EXPECT_EQ(scratch.FileCount(), 0U);
}

TEST_F(RemoveWorkFilesTest, LeavesTheFileOfAClosedDescriptor) {
  const std::string kept = scratch.Write("kept", "");
  run.files.workFileName1.Assign(kept);
  RemoveWorkFiles(run);
  EXPECT_TRUE(scratch.Exists("kept"));
}

}  // namespace
}  // namespace tavindex::test
