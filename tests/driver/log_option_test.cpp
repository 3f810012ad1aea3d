#include "driver/log_option.h"

#include <fcntl.h>

#include "common/console.h"
#include "driver/clean_up.h"
#include "support/run_test.h"
#include "support/token_arguments.h"

namespace tavindex::test {
namespace {

class ReadLogOptionTest : public RunTest {
 protected:
  ReadLogOptionTest() : here(scratch.Path()) {}
  ~ReadLogOptionTest() override { CloseLog(run); }

  void Read(std::vector<std::string> texts) {
    TokenArguments tokens(std::move(texts));
    ReadLogOption(run, tokens.arguments);
    next = tokens.arguments.next;
  }
  void ExpectLog(std::vector<std::string> texts, std::size_t scanned) {
    Read(std::move(texts));
    EXPECT_TRUE(run.console.logOpened);
    EXPECT_NE(run.console.consoleStream, console.Stream());
    EXPECT_EQ(run.console.consoleFd, ::fileno(run.console.consoleStream));
    EXPECT_EQ(next, scanned);
  }
  void ExpectNoLog(std::vector<std::string> texts, std::size_t scanned) {
    Read(std::move(texts));
    EXPECT_FALSE(run.console.logOpened);
    EXPECT_EQ(run.console.consoleStream, console.Stream());
    EXPECT_EQ(next, scanned);
    EXPECT_EQ(console.Text(), "");
  }
  // A log over `file` is not opened and the file stays.
  void ExpectProtected(const std::string& file, const std::vector<std::string>& remaining) {
    scratch.Write(file, "precious");
    for (const char* option : {"-l", "-q"}) {
      std::vector<std::string> texts = {option + file};
      texts.insert(texts.end(), remaining.begin(), remaining.end());
      ExpectNoLog(std::move(texts), 2);
      EXPECT_EQ(scratch.Read(file), "precious") << option;
    }
  }

  CurrentDirectory here;
  std::size_t next = 0;
};

TEST_F(ReadLogOptionTest, SendsMessagesToAnEmptyLog) {
  scratch.Write("run.log", "old");
  ExpectLog({"-lrun.log", "data"}, 2);
  EXPECT_EQ(scratch.Read("run.log"), "");
  ShowMessage(run, "new\n");
  EXPECT_EQ(scratch.Read("run.log"), "new\n");
}

TEST_F(ReadLogOptionTest, AppendsToALog) {
  scratch.Write("run.log", "old\n");
  ExpectLog({"-qrun.log", "data"}, 2);
  ShowMessage(run, "new\n");
  EXPECT_EQ(scratch.Read("run.log"), "old\nnew\n");
}

TEST_F(ReadLogOptionTest, AppendsToANewLog) {
  ExpectLog({"-qrun.log", "data"}, 2);
  ShowMessage(run, "new\n");
  EXPECT_EQ(scratch.Read("run.log"), "new\n");
}

TEST_F(ReadLogOptionTest, TakesTheNameFromTheNextArgument) {
  ExpectLog({"-l", "run.log", "data"}, 3);
  EXPECT_TRUE(scratch.Exists("run.log"));
}

TEST_F(ReadLogOptionTest, TakesTheLetterInEitherCase) {
  ExpectLog({"-Lrun.log", "data"}, 2);
  CloseLog(run);
  run.console.consoleStream = console.Stream();
  ExpectLog({"-Q", "run.log", "data"}, 3);
}

TEST_F(ReadLogOptionTest, CreatesTheLogForEverybody) {
  const mode_t mask = ::umask(0);
  ExpectLog({"-lrun.log", "data"}, 2);
  ::umask(mask);
  struct stat status;
  ASSERT_EQ(::stat("run.log", &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0666U);
}

TEST_F(ReadLogOptionTest, OpensNoLogWhoseNameBeginsWithADash) {
  ExpectNoLog({"-l", "-x", "data"}, 3);
  ExpectNoLog({"-l-x", "data"}, 2);
  EXPECT_EQ(scratch.FileCount(), 0U);
}

TEST_F(ReadLogOptionTest, NeedsMoreThanTwoArguments) {
  ExpectNoLog({"-lrun.log"}, 1);
  ExpectNoLog({"-?"}, 1);
  EXPECT_EQ(scratch.FileCount(), 0U);
}

TEST_F(ReadLogOptionTest, IsTheFirstArgumentOnly) {
  ExpectNoLog({"-d", "-lrun.log", "data"}, 1);
  ExpectNoLog({"lrun.log", "data"}, 1);
  EXPECT_EQ(scratch.FileCount(), 0U);
}

TEST_F(ReadLogOptionTest, StaysOnTheConsoleWhenTheLogCannotBeOpened) {
  ExpectNoLog({"-lnone/run.log", "data"}, 2);
  scratch.MakeDirectory("dir");
  ExpectNoLog({"-ldir", "data"}, 2);
}

TEST_F(ReadLogOptionTest, StaysOnTheConsoleForAFifo) {
  ASSERT_EQ(::mkfifo("fifo", 0600), 0);
  ExpectNoLog({"-lfifo", "data"}, 2);
}

TEST_F(ReadLogOptionTest, TakesTheNullDevice) { ExpectLog({"-l/dev/null", "data"}, 2); }

TEST_F(ReadLogOptionTest, NeverTakesTheDataFile) { ExpectProtected("data", {"data", "-1"}); }

TEST_F(ReadLogOptionTest, NeverTakesTheDataFileWithItsDefaultExtension) {
  ExpectProtected("data.TXT", {"data,isi", "-1"});
}

TEST_F(ReadLogOptionTest, NeverTakesTheIsi) {
  ExpectProtected("isi.ix", {"data,isi.ix", "-1"});
  ExpectProtected("isi.ISI", {"data,isi", "-1"});
  ExpectProtected("isi.ISI", {"data", "isi", "-1"});
}

TEST_F(ReadLogOptionTest, NeverTakesTheIsiThatIsNamedAfterTheDataFile) {
  ExpectProtected("data.ISI", {"data", "-1"});
}

TEST_F(ReadLogOptionTest, NeverTakesTheIsiThatIsRebuilt) {
  ExpectProtected("isi.ISI", {"isi", "-r"});
  ExpectProtected("isi.ISI", {"isi.ISI", "-i"});
}

TEST_F(ReadLogOptionTest, NeverTakesAFileOfTheRunUnderAnotherName) {
  scratch.Write("data.TXT", "precious");
  ASSERT_EQ(::link("data.TXT", "other.log"), 0);
  ExpectNoLog({"-lother.log", "data", "-1"}, 2);
  EXPECT_EQ(scratch.Read("data.TXT"), "precious");
}

TEST_F(ReadLogOptionTest, NeverTakesAFileThatAResolvedNameLeadsTo) {
  ExpectProtected("data", {"data.", "-1"});
  ExpectProtected("data.txt", {"data/txt", "-1"});
  ExpectProtected("data.ISI", {"data.txt", "-1"});
  scratch.MakeDirectory("dir");
  ExpectProtected("dir/isi.ISI", {"dir/data,isi", "-1"});
  environment.Set("KVR_FNC", "lower");
  ExpectProtected("data.txt", {"DATA", "-1"});
}

TEST_F(ReadLogOptionTest, NeverTakesAFileOfAVolumeOrOnTheSearchPath) {
  scratch.MakeDirectory("dir");
  environment.Set("KVRVOL_V", "dir");
  ExpectProtected("dir/data.TXT", {"data:v", "-1"});
  environment.Set("KVR_PATH", "dir");
  ExpectProtected("dir/data.TXT", {"data", "-1"});
  ExpectProtected("dir/isi.ISI", {"isi", "-i"});
}

TEST_F(ReadLogOptionTest, FollowsTheConfigurationFileOfThePreOptions) {
  scratch.MakeDirectory("dir");
  scratch.Write("conf.ini", "[environment]\nKVRVOL_V=dir\n");
  ExpectProtected("dir/data.TXT", {"-iconf", "data:v", "-1"});
  ExpectProtected("dir/data.TXT", {"-d", "-I", "conf", "data:v", "-1"});
}

// An ISI's header: signature, the data file's name, the command line.
TEST_F(ReadLogOptionTest, NeverTakesAFileOfTheBuildThatAnIsiKeeps) {
  std::string header(1024, '\0');
  header.replace(0, 6, "KISI\x03\xFC");
  header.replace(240, 9, "heads.TXT");
  header.replace(496, 17, "lines,other.ix -1");
  const std::vector<std::string> lines = {"heads.TXT", "lines.TXT", "other.ix"};
  for (const char* option : {"-r", "-c", "-i"}) {
    for (const std::string& file : lines) {
      scratch.Write("isi.ISI", header);
      ExpectProtected(file, {"isi", option});
      EXPECT_EQ(scratch.Read("isi.ISI"), header);
    }
  }
}

TEST_F(ReadLogOptionTest, LeavesTheNamesOfTheRunAlone) {
  ExpectLog({"-lrun.log", "data,isi", "-1"}, 2);
  EXPECT_TRUE(run.files.dataFileName.Empty());
  EXPECT_TRUE(run.files.outputFileName.Empty());
}

TEST_F(ReadLogOptionTest, LooksBehindThePreOptionsForTheFiles) {
  ExpectProtected("data.TXT", {"-d", "-m9000", "data", "-1"});
}

TEST_F(ReadLogOptionTest, LooksBehindTheConfigurationFilesName) {
  ExpectProtected("data.TXT", {"-i", "conf", "data", "-1"});
  ExpectProtected("isi.ISI", {"-i", "conf", "data,isi", "-1"});
}

TEST_F(ReadLogOptionTest, NeverTakesTheDataFileOfALineThatWillBeRefused) {
  ExpectProtected("data", {"data"});
  ExpectProtected("data", {"data,i?i", "-1"});
  ExpectProtected("data", {"data," + std::string(251, 'n'), "-1"});
}

TEST_F(ReadLogOptionTest, KnowsQuotedNames) {
  ExpectProtected("my data", {"\"my data\"", "-1"});
  ExpectProtected("isi.ix", {"data,\"isi.ix\"", "-1"});
}

}  // namespace
}  // namespace tavindex::test
