#include "driver/sort_command.h"

#include <fcntl.h>

#include "support/run_test.h"

namespace tavindex::test {
namespace {

int sourceCalls = 0;

class SortCommandTest : public RunTest {
 protected:
  SortCommandTest() {
    sourceCalls = 0;
    run.control.sortMode = true;
    run.control.indexMode = false;
    run.keys.keyLength = 3;
    run.files.dataFileName.Assign(scratch.Path("data"));
    run.files.outputFileName.Assign(scratch.Path("out"));
    run.isi.itemSource = [](RunContext&) -> Result {
      ++sourceCalls;
      return -42;
    };
  }
  void OpenOutput() {
    run.files.outputFd = ::open(scratch.Path("out").c_str(), O_RDWR | O_CREAT, 0600);
  }
};

using RunSortCommandTest = SortCommandTest;
using ReplaceInputFileTest = SortCommandTest;

TEST_F(RunSortCommandTest, WritesAHeaderRecordBeforeTagRecords) {
  OpenOutput();
  run.control.recordWritingLevel = 20;
  EXPECT_EQ(RunSortCommand(run), -42);
  EXPECT_EQ(scratch.Read("out"), "0000000011xxxyyyyyyy");
  EXPECT_EQ(sourceCalls, 1);
}

TEST_F(RunSortCommandTest, FillsNothingUpWhenTheItemIsTheRecord) {
  OpenOutput();
  run.control.recordWritingLevel = 13;
  RunSortCommand(run);
  EXPECT_EQ(scratch.Read("out"), "0000000011xxx");
}

TEST_F(RunSortCommandTest, WritesNoHeaderRecordUpToLevelFour) {
  OpenOutput();
  run.control.recordWritingLevel = 4;
  EXPECT_EQ(RunSortCommand(run), -42);
  EXPECT_EQ(scratch.Read("out"), "");
}

TEST_F(RunSortCommandTest, TellsWhenTheHeaderRecordCannotBeWritten) {
  OpenOutput();
  run.control.recordWritingLevel = 20;
  calls.FailNth<&SystemCalls::write>(1, ENOSPC);
  EXPECT_LT(RunSortCommand(run), 0);
  EXPECT_EQ(console.Text(), "Tag file header record write failed.\n");
}

TEST_F(ReplaceInputFileTest, GivesTheOutputTheInputsName) {
  scratch.Write("data", "old");
  scratch.Write("out", "sorted");
  EXPECT_EQ(ReplaceInputFile(run), kOk);
  EXPECT_EQ(scratch.Read("data"), "sorted");
  EXPECT_FALSE(scratch.Exists("out"));
  EXPECT_EQ(console.Text(), "");
}

TEST_F(ReplaceInputFileTest, TellsTheNamesInDebugMode) {
  scratch.Write("data", "old");
  scratch.Write("out", "sorted");
  run.control.debugMode = true;
  ReplaceInputFile(run);
  EXPECT_EQ(console.Text(),
            "Renaming " + scratch.Path("out") + " to " + scratch.Path("data") + "\n");
}

TEST_F(ReplaceInputFileTest, TellsWhenTheInputCannotBeDeleted) {
  scratch.Write("out", "sorted");
  EXPECT_EQ(ReplaceInputFile(run), 1);
  EXPECT_EQ(console.Text(), "Error deleting input file.\n");
  EXPECT_TRUE(scratch.Exists("out"));
}

TEST_F(ReplaceInputFileTest, TellsWhenTheOutputCannotBeLinked) {
  scratch.Write("data", "old");
  scratch.Write("out", "sorted");
  calls.FailNth<&SystemCalls::link>(1, EPERM);
  EXPECT_EQ(ReplaceInputFile(run), 1);
  EXPECT_EQ(console.Text(), "Unable to rename output file.\n");
  EXPECT_EQ(scratch.Read("out"), "sorted");
}

TEST_F(ReplaceInputFileTest, TellsWhenTheOutputsNameCannotBeDeleted) {
  scratch.Write("data", "old");
  scratch.Write("out", "sorted");
  calls.FailNth<&SystemCalls::unlink>(2, EPERM);
  EXPECT_EQ(ReplaceInputFile(run), 1);
  EXPECT_EQ(console.Text(), "Unable to rename output file.\n");
  EXPECT_EQ(scratch.Read("data"), "sorted");
}

}  // namespace
}  // namespace tavindex::test
