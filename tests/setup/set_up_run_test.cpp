#include "setup/set_up_run.h"

#include <algorithm>
#include <cstring>

#include "common/file.h"
#include "support/isi_image.h"
#include "support/run_test.h"

namespace tavindex::test {
namespace {

class SetUpRunTest : public RunTest {
 protected:
  SetUpRunTest() : here(scratch.MakeDirectory("here")) {
    environment.Set("TMPDIR", scratch.MakeDirectory("work"));
    scratch.Write("here/data.TXT", "abcde\nfghij\n");
  }
  std::size_t WorkFiles() const {
    using std::filesystem::directory_iterator;
    return static_cast<std::size_t>(
        std::distance(directory_iterator(scratch.Path("work")), directory_iterator()));
  }
  std::string CreatedLines() const {
    return std::string("Created ") + run.files.workFileName1.CStr() + " as temp file 1\nCreated " +
           run.files.workFileName2.CStr() + " as temp file 2\n";
  }

  CurrentDirectory here;
};

TEST_F(SetUpRunTest, OpensEverythingForABuild) {
  EXPECT_EQ(SetUpRun(run, "data -1-3"), kOk);
  EXPECT_EQ(console.Text(), "Indexing data.TXT into data.ISI\n");
  EXPECT_EQ(run.keys.keyLength, 3U);
  EXPECT_GE(run.files.inputFd, 0);
  EXPECT_GE(run.files.outputFd, 0);
  EXPECT_EQ(WorkFiles(), 2U);
  EXPECT_EQ(run.options.buildLine.View(), "data -1-3");
}

TEST_F(SetUpRunTest, TakesATenByteKeyAndNoIsiName) {
  EXPECT_EQ(SetUpRun(run, "data -1-10"), kOk);
  EXPECT_EQ(run.keys.keyLength, 10U);
  EXPECT_EQ(run.files.outputFileName.View(), "data.ISI");
}

TEST_F(SetUpRunTest, TakesTheUsagesExample) {
  scratch.Write("here/test.TXT", std::string(100, 'A') + "\n");
  EXPECT_EQ(SetUpRun(run, "test,test,l100 -un,p11=A,1-10,20,30-40"), kOk);
  EXPECT_EQ(run.keys.keyLength, 22U);
  EXPECT_EQ(run.data.recordLength, 101U);
  EXPECT_TRUE(run.options.upperCaseKeys && run.options.rejectDups);
  EXPECT_EQ(run.keys.conditionCount, 1);
}

TEST_F(SetUpRunTest, TellsItsStepsInOrderInDebugMode) {
  run.control.debugMode = true;
  environment.Set("KVR_NOPATH", "no");
  EXPECT_EQ(SetUpRun(run, "data -30-32,1"), kOk);
  EXPECT_EQ(console.Text(),
            "Command line is:data -30-32,1\n"
            "Temporary file path is:\n" +
                CreatedLines() +
                "'KVR_NOPATH=no'\n"
                "  Col   Pos Char  Other\n"
                "    1     4       Key;\n"
                "   30     1       Key;\n"
                "   31     2       Key;\n"
                "   32     3       Key;\n"
                "Opened data.TXT as input file\n"
                "Expected End of Record for data file is LF.\n\r"
                "Created data.ISI as output file\n"
                "Indexing data.TXT into data.ISI\n");
}

TEST_F(SetUpRunTest, ListsTheKeyMapInRecordOrderWithKeyPositions) {
  run.control.debugMode = true;
  EXPECT_EQ(SetUpRun(run, "data -u,3-4,1-2,p2=x,p9#y"), kOk);
  const std::string text = console.Text();
  const std::size_t start = text.find("  Col");
  const std::string list = text.substr(start, text.find("Opened") - start);
  EXPECT_EQ(list,
            "  Col   Pos Char  Other\n"
            "    1     3       Key;  Upper Case;\n"
            "    2     4  'x'  Key;  = match;  Upper Case;\n"
            "    3     1       Key;  Upper Case;\n"
            "    4     2       Key;  Upper Case;\n"
            "    9     0  'y'  != match;\n");
}

TEST_F(SetUpRunTest, TellsTheWorkDirectoryInDebugMode) {
  run.control.debugMode = true;
  const std::string line = "data,data,l5," + scratch.Path("work") + " -1";
  EXPECT_EQ(SetUpRun(run, line), kOk);
  EXPECT_NE(console.Text().find("Temporary file path is:" + scratch.Path("work") + "\n"),
            std::string::npos);
}

TEST_F(SetUpRunTest, AddsASlashToADriveAsWorkDirectory) {
  scratch.MakeDirectory("here/C:");
  run.control.debugMode = true;
  EXPECT_EQ(SetUpRun(run, "data,data,l5,C: -1"), kOk);
  EXPECT_EQ(run.options.workDirectory.View(), "C:/");
  EXPECT_NE(console.Text().find("Temporary file path is:C:/\n"), std::string::npos);
  EXPECT_EQ(run.files.workFileName1.View().substr(0, 9), "C://dsort");
}

TEST_F(SetUpRunTest, KeepsOtherDirectoriesOfTwoCharacters) {
  scratch.MakeDirectory("here/ab");
  EXPECT_EQ(SetUpRun(run, "data,data,l5,ab -1"), kOk);
  EXPECT_EQ(run.files.workFileName1.View().substr(0, 8), "ab/dsort");
}

TEST_F(SetUpRunTest, MakesNoWorkFilesForAnIncompleteLine) {
  for (const char* line : {"", "data", "data,isi,l5", "data,isi,x -1"}) {
    EXPECT_LT(SetUpRun(run, line), 0) << line;
    EXPECT_EQ(WorkFiles(), 0U) << line;
  }
}

TEST_F(SetUpRunTest, MakesTheWorkFilesBeforeItReadsTheOptions) {
  EXPECT_EQ(SetUpRun(run, "data -h"), -112);
  EXPECT_EQ(WorkFiles(), 2U);
  EXPECT_FALSE(scratch.Exists("here/data.ISI"));
}

TEST_F(SetUpRunTest, RefusesAWorkDirectoryThatIsNotThere) {
  EXPECT_EQ(SetUpRun(run, "data,data,l5,/none/at/all -1"), -110);
  EXPECT_FALSE(scratch.Exists("here/data.ISI"));
}

TEST_F(SetUpRunTest, ShowsTheUsage) {
  EXPECT_EQ(SetUpRun(run, "data -?"), -12);
  EXPECT_NE(console.Text().find("\nopts:\n"), std::string::npos);
}

TEST_F(SetUpRunTest, EmptiesTheMessageBuffer) {
  std::strcpy(run.console.messageBuffer.data(), "older message");
  EXPECT_EQ(SetUpRun(run, ""), -104);
  EXPECT_EQ(Message(), "");
}

TEST_F(SetUpRunTest, KeepsTheLineAsGivenWhenQuotesAreClosedUp) {
  EXPECT_EQ(SetUpRun(run, "data -1-3,p=1='a''b'"), kOk);
  EXPECT_EQ(run.options.buildLine.View(), "data -1-3,p=1='a''b'");
  ASSERT_EQ(run.keys.termCount, 1U);
  EXPECT_EQ(run.keys.terms[0].value, "a'b");
}

TEST_F(SetUpRunTest, CopiesTheLine) {
  std::string line = "data -1-3,p=1='abc'";
  EXPECT_EQ(SetUpRun(run, line), kOk);
  std::fill(line.begin(), line.end(), '?');
  EXPECT_EQ(run.keys.terms[0].value, "abc");
}

TEST_F(SetUpRunTest, StartsAnewWithEveryLine) {
  EXPECT_EQ(SetUpRun(run, "data,byname,l5 -unv,m75,o=1,p1=a,1-3"), kOk);
  CloseFile(run.files.inputFd);
  CloseFile(run.files.outputFd);
  CloseFile(run.files.errorFd);
  CloseFile(run.files.workFd1);
  CloseFile(run.files.workFd2);
  EXPECT_EQ(SetUpRun(run, "data -2"), kOk);
  const OptionState& options = run.options;
  EXPECT_FALSE(options.upperCaseKeys || options.rejectDups || options.variableRecords);
  EXPECT_FALSE(options.errorFileWanted);
  EXPECT_EQ(options.fillPercent, 100U);
  EXPECT_EQ(options.osType, 0);
  EXPECT_EQ(options.declaredRecordLength, 0U);
  EXPECT_EQ(run.keys.keyLength, 1U);
  EXPECT_EQ(run.keys.keyTableCount, 1U);
  EXPECT_EQ(run.keys.conditionTableCount, 0U);
  EXPECT_EQ(run.files.outputFileName.View(), "data.ISI");
  EXPECT_EQ(run.data.recordLength, 6U);
}

TEST_F(SetUpRunTest, KeepsWhatThePreOptionsSaid) {
  run.control.maxMemory = 9000;
  run.control.maxSortTrains = 7;
  run.control.sortMethod = 1;
  EXPECT_EQ(SetUpRun(run, "data -2"), kOk);
  EXPECT_EQ(run.control.maxMemory, 9000U);
  EXPECT_EQ(run.control.maxSortTrains, 7);
  EXPECT_EQ(run.control.sortMethod, 1U);
}

TEST_F(SetUpRunTest, TakesBinaryDataOfWholeRecordsOnly) {
  scratch.Write("here/b.TXT", std::string(300, 'x'));
  EXPECT_EQ(SetUpRun(run, "b -f=100,1-3"), kOk);
  EXPECT_EQ(run.data.recordLength, 100U);
  scratch.Write("here/c.TXT", std::string(250, 'x'));
  EXPECT_EQ(SetUpRun(run, "c -f=100,1-3"), -127);
}

TEST_F(SetUpRunTest, RefusesBinaryDataOfAnotherSizeWithoutTouchingTheIndex) {
  scratch.Write("here/c.TXT", std::string(250, 'x'));
  scratch.Write("here/c.ISI", "old index");
  EXPECT_EQ(SetUpRun(run, "c -f=100,1-3"), -127);
  EXPECT_EQ(scratch.Read("here/c.ISI"), "old index");
}

TEST_F(SetUpRunTest, TellsThatItCompacts) {
  scratch.Write("here/old.ISI", EmptyIsi("data.TXT", "data -1-3"));
  EXPECT_EQ(SetUpRun(run, "old,new -c"), kOk);
  EXPECT_EQ(console.Text(), "Compacting old.ISI into new.ISI\n");
}

TEST_F(SetUpRunTest, NamesTheSameFileTwiceWhenItCompactsInPlace) {
  scratch.Write("here/old.ISI", EmptyIsi("data.TXT", "data -1-3"));
  scratch.MakeDirectory("here/sub");
  EXPECT_EQ(SetUpRun(run, "old,sub/old.ISI -c"), kOk);
  EXPECT_EQ(console.Text(), "Compacting old.ISI into old.ISI\n");
}

TEST_F(SetUpRunTest, OpensNothingForTheSortCommand) {
  run.control.indexMode = false;
  run.control.sortMode = true;
  EXPECT_EQ(SetUpRun(run, "data -1-3"), kOk);
  EXPECT_EQ(run.files.inputFd, kNoFile);
  EXPECT_EQ(console.Text(), "");
}

TEST_F(SetUpRunTest, ReadsTheNameSettings) {
  environment.Set("KVR_FNC", "lower");
  scratch.Write("here/abc.txt", "abcde\nfghij\n");
  EXPECT_EQ(SetUpRun(run, "ABC -1-3"), kOk);
  EXPECT_EQ(console.Text(), "Indexing abc.txt into abc.isi\n");
}

TEST_F(SetUpRunTest, RefusesALineLongerThanItCanKeep) {
  EXPECT_EQ(SetUpRun(run, "data -1-3" + std::string(2000, ' ')), -104);
}

}  // namespace
}  // namespace tavindex::test
