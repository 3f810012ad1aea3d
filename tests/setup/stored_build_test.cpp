#include "setup/stored_build.h"

#include <fcntl.h>

#include "setup/set_up_run.h"
#include "support/isi_image.h"
#include "support/run_test.h"

namespace tavindex::test {
namespace {

// Where the older layout has its version pair and its command line.
constexpr std::size_t kOlderVersionOffset = 52;
constexpr std::size_t kOlderLineOffset = 128;

class StoredBuildTest : public RunTest {
 protected:
  StoredBuildTest() : here(scratch.MakeDirectory("here")) {
    environment.Set("TMPDIR", scratch.MakeDirectory("work"));
    scratch.Write("here/data.TXT", "abcde\nfghij\n");
  }

  static std::string OlderHeader(std::string_view dataName, std::string_view line) {
    std::string header = EmptyIsi(dataName, "");
    PutBytes(header, 5, "\x03");  // no complement of the version
    PutBytes(header, kOlderVersionOffset, "\x08\xF7");
    PutBytes(header, kOlderLineOffset, line);
    return header;
  }
  void WriteIsi(const std::string& bytes) { scratch.Write("here/x.ISI", bytes); }

  // The first step of the routine alone: option i of `isi`.
  Result Display(std::string_view isi = "x") {
    run.files.dataFileName.Assign(isi);
    run.options.displayRun = true;
    return ReadStoredBuild(run);
  }
  void ExpectRefusal(Result expected, Result result, const std::string& words) {
    EXPECT_EQ(result, expected);
    EXPECT_EQ(Message(), words);
    EXPECT_EQ(run.files.outputFileName.View(), "");
  }

  CurrentDirectory here;
};

using ReadStoredBuildTest = StoredBuildTest;
using RebuildTest = StoredBuildTest;

TEST_F(ReadStoredBuildTest, ShowsTheStoredLine) {
  WriteIsi(EmptyIsi("data.TXT", "data -n,1-5"));
  EXPECT_EQ(Display(), kOk);
  EXPECT_EQ(console.Text(), "\ntavindex data -n,1-5\n");
  EXPECT_EQ(run.files.outputFileName.View(), "x.ISI");
  EXPECT_EQ(run.files.dataFileName.View(), "data.TXT");
}

TEST_F(ReadStoredBuildTest, ShowsPercentSignsAsTheyStand) {
  WriteIsi(EmptyIsi("data.TXT", "data%s -p1=%,1-5"));
  EXPECT_EQ(Display(), kOk);
  EXPECT_EQ(console.Text(), "\ntavindex data%s -p1=%,1-5\n");
}

TEST_F(ReadStoredBuildTest, ReadsTheLongestLineAndName) {
  const std::string line = "data -1" + std::string(520, ',');
  WriteIsi(EmptyIsi(std::string(256, 'n'), line));
  EXPECT_EQ(Display(), kOk);
  EXPECT_EQ(console.Text(), "\ntavindex " + line + "\n");
  EXPECT_EQ(run.files.dataFileName.View(), std::string(256, 'n'));
}

TEST_F(ReadStoredBuildTest, ReadsABigEndianHeader) {
  std::string header = EmptyIsi("data.TXT", "data -1");
  PutBytes(header, 4, "\xFC\x03");
  WriteIsi(header);
  EXPECT_EQ(Display(), kOk);
  EXPECT_EQ(console.Text(), "\ntavindex data -1\n");
}

TEST_F(ReadStoredBuildTest, ReadsAnyVersionWhoseCheckIsItsComplement) {
  std::string header = EmptyIsi("data.TXT", "data -1");
  PutBytes(header, 4, "\x21\xDE");
  WriteIsi(header);
  EXPECT_EQ(Display(), kOk);
}

TEST_F(ReadStoredBuildTest, OpensTheIsiForReadingOnly) {
  WriteIsi(EmptyIsi("data.TXT", "data -1"));
  int flagsSeen = -1;
  calls.Replace<&SystemCalls::open>([&](const char* path, int flags, mode_t mode) {
    flagsSeen = flags;
    return calls.Original().open(path, flags, mode);
  });
  calls.Watch<&SystemCalls::close>();
  EXPECT_EQ(Display(), kOk);
  EXPECT_EQ(flagsSeen & O_ACCMODE, O_RDONLY);
  EXPECT_EQ(calls.Count<&SystemCalls::close>(), 1);
  EXPECT_EQ(run.files.lastOpenPath.View(), "x.ISI");
}

TEST_F(ReadStoredBuildTest, ConvertsTheOlderLayout) {
  WriteIsi(OlderHeader("data.TXT", "data -1-5"));
  EXPECT_EQ(Display(), kOk);
  EXPECT_EQ(console.Text(), "\nConverting from 8.x to 9.x format\n\ntavindex data -1-5\n");
  EXPECT_EQ(run.files.dataFileName.View(), "data.TXT");
}

TEST_F(ReadStoredBuildTest, EndsTheOlderLineBehind256Characters) {
  // The name begins at 240, inside the 256 bytes from 128 on, so no terminator need stand there.
  std::string header = OlderHeader("", "");
  PutBytes(header, kOlderLineOffset, std::string(256, 'q'));
  PutBytes(header, kOlderLineOffset + 256, "more");
  WriteIsi(header);
  EXPECT_EQ(Display(), kOk);
  EXPECT_EQ(console.Text(),
            "\nConverting from 8.x to 9.x format\n\ntavindex " + std::string(256, 'q') + "\n");
}

TEST_F(ReadStoredBuildTest, PrefersTheCurrentLayout) {
  std::string header = EmptyIsi("data.TXT", "data -1");
  PutBytes(header, kOlderVersionOffset, "\x08\xF7");
  WriteIsi(header);
  EXPECT_EQ(Display(), kOk);
  EXPECT_EQ(console.Text(), "\ntavindex data -1\n");
}

TEST_F(ReadStoredBuildTest, RefusesAnyOtherContent) {
  WriteIsi(std::string(2048, 'x'));
  ExpectRefusal(-102, Display(), "Not a valid .isi file x.ISI");
}

TEST_F(ReadStoredBuildTest, RefusesAVersionPairWithoutTheSignature) {
  std::string header = EmptyIsi("data.TXT", "data -1");
  PutBytes(header, 0, "XISI");
  WriteIsi(header);
  ExpectRefusal(-102, Display(), "Not a valid .isi file x.ISI");
}

TEST_F(ReadStoredBuildTest, RefusesAShortFile) {
  WriteIsi("");
  ExpectRefusal(-102, Display(), "Not a valid .isi file x.ISI");
  WriteIsi("KISI\x03");
  ExpectRefusal(-102, Display(), "Not a valid .isi file x.ISI");
}

TEST_F(ReadStoredBuildTest, RefusesAFileThatCannotBeRead) {
  WriteIsi(EmptyIsi("data.TXT", "data -1"));
  calls.FailFrom<&SystemCalls::read>(1, EIO);
  ExpectRefusal(-102, Display(), "Not a valid .isi file x.ISI");
}

TEST_F(ReadStoredBuildTest, RefusesAnEmptyLine) {
  WriteIsi(EmptyIsi("data.TXT", ""));
  ExpectRefusal(-103, Display(), "No key information available for x.ISI");
}

TEST_F(ReadStoredBuildTest, RefusesAnIsiThatIsNotThere) {
  ExpectRefusal(-101, Display("none"), "Can't open .isi file none.ISI");
}

TEST_F(ReadStoredBuildTest, RefusesAnIsiThatIsNoFile) {
  ASSERT_EQ(::mkfifo("x.ISI", 0600), 0);
  ExpectRefusal(-101, Display(), "Can't open .isi file x.ISI");
}

TEST_F(ReadStoredBuildTest, RefusesANameThatCannotBeResolved) {
  environment.Set("KVRVOL_FULL", "/" + std::string(253, 'v'));
  ExpectRefusal(-100, Display("isi:full"), "Unable to resolve name for output file isi:full");
}

TEST_F(ReadStoredBuildTest, LooksAlongTheSearchPath) {
  scratch.MakeDirectory("p");
  scratch.Write("p/x.ISI", EmptyIsi("data.TXT", "data -1"));
  run.names.searchPath.Assign(scratch.Path("p"));
  EXPECT_EQ(Display(), kOk);
  EXPECT_EQ(run.files.outputFileName.View(), scratch.Path("p/x.ISI"));
}

TEST_F(ReadStoredBuildTest, EndsTheDisplayWithItsOwnCode) {
  WriteIsi(EmptyIsi("data.TXT", "data -1-5"));
  EXPECT_EQ(SetUpRun(run, "x.ISI -i"), -20);
  EXPECT_EQ(console.Text(), "\ntavindex data -1-5\n");
  EXPECT_EQ(run.files.inputFd, kNoFile);
}

TEST_F(ReadStoredBuildTest, GivesTheDisplaysRefusals) {
  EXPECT_EQ(SetUpRun(run, "none -i"), -101);
  EXPECT_EQ(Message(), "Can't open .isi file none.ISI");
}

TEST_F(RebuildTest, SetsTheRunUpWithTheStoredLine) {
  WriteIsi(EmptyIsi("data.TXT", "data,x -n,2-3"));
  EXPECT_EQ(SetUpRun(run, "x -r"), kOk);
  EXPECT_EQ(console.Text(),
            "\ntavindex data,x -n,2-3\n"
            "Indexing data.TXT into x.ISI\n");
  EXPECT_EQ(run.options.buildLine.View(), "data,x -n,2-3");
  EXPECT_FALSE(run.options.reindexRun);
  EXPECT_TRUE(run.options.rejectDups);
  EXPECT_EQ(run.keys.keyLength, 2U);
}

TEST_F(RebuildTest, SetsNothingOfTheFirstLine) {
  WriteIsi(EmptyIsi("data.TXT", "data,x -2-3"));
  EXPECT_EQ(SetUpRun(run, "x,other,l77 -unvm50,o,p1=A,1-9,r"), kOk);
  const OptionState& options = run.options;
  EXPECT_FALSE(options.upperCaseKeys || options.rejectDups || options.variableRecords);
  EXPECT_FALSE(options.errorFileWanted);
  EXPECT_EQ(options.fillPercent, 100U);
  EXPECT_EQ(options.osType, 0);
  EXPECT_EQ(options.declaredRecordLength, 0U);
  EXPECT_EQ(run.keys.keyLength, 2U);
  EXPECT_EQ(run.keys.keyTableCount, 1U);
  EXPECT_EQ(run.keys.conditionTableCount, 0U);
  EXPECT_EQ(run.files.outputFileName.View(), "x.ISI");
}

TEST_F(RebuildTest, ShowsTheLineAlsoWithBothOptions) {
  WriteIsi(EmptyIsi("data.TXT", "data,x -2-3"));
  EXPECT_EQ(SetUpRun(run, "x -ir"), kOk);
  EXPECT_EQ(console.Text(), "\ntavindex data,x -2-3\nIndexing data.TXT into x.ISI\n");
}

TEST_F(RebuildTest, ReplacesTheWorkFiles) {
  WriteIsi(EmptyIsi("data.TXT", "data,x -2-3"));
  run.control.debugMode = true;  // the first pair goes all the same
  EXPECT_EQ(SetUpRun(run, "x -r"), kOk);
  using std::filesystem::directory_iterator;
  EXPECT_EQ(std::distance(directory_iterator(scratch.Path("work")), directory_iterator()), 2);
  EXPECT_TRUE(std::filesystem::exists(run.files.workFileName1.CStr()));
  EXPECT_TRUE(std::filesystem::exists(run.files.workFileName2.CStr()));
  EXPECT_EQ(run.files.workFile, run.files.workFd1);
}

TEST_F(RebuildTest, RebuildsFromTheOlderLayout) {
  WriteIsi(OlderHeader("data.TXT", "data,x -1-5"));
  EXPECT_EQ(SetUpRun(run, "x -r"), kOk);
  EXPECT_EQ(console.Text(),
            "\nConverting from 8.x to 9.x format\n"
            "\ntavindex data,x -1-5\n"
            "Indexing data.TXT into x.ISI\n");
}

TEST_F(RebuildTest, TakesTheHeadersDataFile) {
  scratch.MakeDirectory("here/sub");
  scratch.Write("here/sub/moved.TXT", "abcde\nfghij\n");
  WriteIsi(EmptyIsi("sub/moved.TXT", "data,./x -2-3"));
  EXPECT_EQ(SetUpRun(run, "x -r"), kOk);
  EXPECT_EQ(run.files.dataFileName.View(), "sub/moved.TXT");
}

TEST_F(RebuildTest, ResolvesTheHeadersNameAnew) {
  scratch.MakeDirectory("p");
  scratch.Write("p/far.TXT", "abcde\nfghij\n");
  environment.Set("KVR_PATH", scratch.Path("p"));
  WriteIsi(EmptyIsi("far.TXT", "gone,./x -2-3"));
  EXPECT_EQ(SetUpRun(run, "x -r"), kOk);
  EXPECT_EQ(run.files.dataFileName.View(), scratch.Path("p/far.TXT"));
}

TEST_F(RebuildTest, FallsBackToTheStoredLinesFirstField) {
  WriteIsi(EmptyIsi("gone/away.TXT", "data,x -2-3"));
  EXPECT_EQ(SetUpRun(run, "x -r"), kOk);
  EXPECT_EQ(run.files.dataFileName.View(), "data.TXT");
}

TEST_F(RebuildTest, FallsBackWhenTheHeadersNameIsNoFile) {
  scratch.MakeDirectory("here/dir.TXT");
  WriteIsi(EmptyIsi("dir.TXT", "data,x -2-3"));
  EXPECT_EQ(SetUpRun(run, "x -r"), kOk);
  EXPECT_EQ(run.files.dataFileName.View(), "data.TXT");
}

TEST_F(RebuildTest, NeverCreatesADataFile) {
  const std::string header = EmptyIsi("gone.TXT", "gone,x,l5 -2-3");
  WriteIsi(header);
  EXPECT_EQ(SetUpRun(run, "x -r"), -120);
  EXPECT_EQ(Message(), "Can't open source file gone.TXT");
  EXPECT_FALSE(scratch.Exists("here/gone.TXT"));
  EXPECT_EQ(scratch.Read("here/x.ISI"), header);
}

TEST_F(RebuildTest, RefusesAStoredLineThatIsNoBuild) {
  for (const char* line : {"x -r", "x -i", "x -ir", "x,y -c", "data,x -1-5,r"}) {
    const std::string header = EmptyIsi("data.TXT", line);
    WriteIsi(header);
    ExpectRefusal(-103, SetUpRun(run, "x -r"), "No key information available for x.ISI");
    EXPECT_EQ(scratch.Read("here/x.ISI"), header) << line;
    EXPECT_EQ(run.files.outputFd, kNoFile) << line;
  }
}

TEST_F(RebuildTest, GivesTheRepeatedSetUpsRefusal) {
  WriteIsi(EmptyIsi("data.TXT", "data,x -1-5-7"));
  EXPECT_EQ(SetUpRun(run, "x -r"), -112);
}

}  // namespace
}  // namespace tavindex::test
