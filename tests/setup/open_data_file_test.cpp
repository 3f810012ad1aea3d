#include "setup/open_data_file.h"

#include <fcntl.h>

#include <utility>
#include <vector>

#include "support/isi_image.h"
#include "support/run_test.h"

namespace tavindex::test {
namespace {

class OpenDataFileTest : public RunTest {
 protected:
  // The names as typed; both without a directory stand in the scratch directory.
  Result Open(const std::string& data, const std::string& isi = "") {
    run.files.dataFileName.Assign(InScratch(data));
    run.files.outputFileName.Assign(isi.empty() ? "" : InScratch(isi));
    return OpenDataFile(run);
  }
  std::string InScratch(const std::string& name) const {
    return name[0] == '/' ? name : scratch.Path(name);
  }
  std::string DataName() const { return run.files.dataFileName.CStr(); }
  std::string IsiName() const { return run.files.outputFileName.CStr(); }
  void ExpectRefusal(Result expected, Result result, const std::string& words) {
    EXPECT_EQ(result, expected);
    EXPECT_EQ(Message(), words);
  }
  // A volume whose directory leaves room for no name.
  void SetFullVolume() { environment.Set("KVRVOL_FULL", "/" + std::string(253, 'v')); }
  // The open of one path fails.
  void RefuseOpen(const std::string& refused, int flagsOf) {
    calls.Replace<&SystemCalls::open>([=, this](const char* path, int flags, mode_t mode) {
      if (refused != path || (flags & flagsOf) != flagsOf) {
        return calls.Original().open(path, flags, mode);
      }
      errno = EACCES;
      return -1;
    });
  }
  void MakeHugeFile(std::string_view name, off_t size) {
    scratch.Write(name, "");
    ASSERT_EQ(::truncate(scratch.Path(name).c_str(), size), 0);
  }
};

constexpr off_t kFourGiB = off_t{1} << 32;
constexpr char kTwoLines[] = "abcd\nabcd\n";

// --- the data file -------------------------------------------------------------------------------

TEST_F(OpenDataFileTest, OpensTheDataFileForReading) {
  scratch.Write("cust.TXT", kTwoLines);
  EXPECT_EQ(Open("cust"), kOk);
  EXPECT_EQ(DataName(), scratch.Path("cust.TXT"));
  EXPECT_EQ(::fcntl(run.files.inputFd, F_GETFL) & O_ACCMODE, O_RDONLY);
  EXPECT_FALSE(run.files.createdInput);
  EXPECT_EQ(run.data.recordLength, 5U);
  EXPECT_EQ(run.data.eorFlags, 0x80);
  EXPECT_EQ(run.data.fileSize, 10);
}

TEST_F(OpenDataFileTest, RefusesADataNameThatCannotBeResolved) {
  SetFullVolume();
  run.files.dataFileName.Assign("cust:full");
  ExpectRefusal(-116, OpenDataFile(run), "Unable to resolve name for source file cust:full");
}

TEST_F(OpenDataFileTest, CreatesAMissingDataFileEmpty) {
  run.options.declaredRecordLength = 80;
  EXPECT_EQ(Open("cust"), kOk);
  EXPECT_TRUE(run.files.createdInput);
  EXPECT_TRUE(scratch.Exists("cust.TXT"));
  EXPECT_EQ(scratch.Read("cust.TXT"), "");
  EXPECT_EQ(run.data.recordLength, 81U);
}

TEST_F(OpenDataFileTest, CreatesAMissingDataFileForEverybody) {
  run.options.declaredRecordLength = 80;
  const mode_t mask = ::umask(0);
  Open("cust");
  ::umask(mask);
  struct stat status;
  ASSERT_EQ(::stat(scratch.Path("cust.TXT").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0666U);
}

TEST_F(OpenDataFileTest, CreatesNoDataFileWithOptionQ) {
  run.options.quitIfNotOpened = true;
  ExpectRefusal(-120, Open("cust"), "Can't open source file " + scratch.Path("cust.TXT"));
  EXPECT_FALSE(scratch.Exists("cust.TXT"));
}

TEST_F(OpenDataFileTest, CreatesNoDataFileInARebuild) {
  run.rebuild.rebuildRun = true;
  ExpectRefusal(-120, Open("cust"), "Can't open source file " + scratch.Path("cust.TXT"));
  EXPECT_FALSE(scratch.Exists("cust.TXT"));
}

TEST_F(OpenDataFileTest, RefusesADataFileThatCannotBeCreated) {
  ExpectRefusal(-120, Open("none/sub/cust"),
                "Can't open source file " + scratch.Path("none/sub/cust.TXT"));
}

TEST_F(OpenDataFileTest, RefusesADataFileThatIsNoFile) {
  ASSERT_EQ(::mkfifo(scratch.Path("fifo.TXT").c_str(), 0600), 0);
  ExpectRefusal(-120, Open("fifo"), "Can't open source file " + scratch.Path("fifo.TXT"));
  scratch.MakeDirectory("dir.TXT");
  ExpectRefusal(-120, Open("dir"), "Can't open source file " + scratch.Path("dir.TXT"));
  EXPECT_FALSE(run.files.createdInput);
}

TEST_F(OpenDataFileTest, CopiesTheNameBeforeItIsOpened) {
  run.options.quitIfNotOpened = true;
  Open("cust");
  EXPECT_EQ(run.files.lastOpenPath.View(), scratch.Path("cust.TXT"));
}

// --- limits of the stored name -------------------------------------------------------------------

TEST_F(OpenDataFileTest, TakesAFullNameOf255Characters) {
  run.options.quitIfNotOpened = true;
  EXPECT_EQ(Open("/" + std::string(250, 'b')), -120);  // with ".TXT" 255, not there
}

TEST_F(OpenDataFileTest, RefusesAFullNameOf256Characters) {
  run.options.quitIfNotOpened = true;
  ExpectRefusal(-123, Open("/" + std::string(251, 'b')),
                "Full Path+Filename+Extension size limited to 255 characters without 'z' option!");
}

TEST_F(OpenDataFileTest, CountsTheDirectoryOnlyWithoutOptionZ) {
  run.options.quitIfNotOpened = true;
  const std::string name = "/srv/directory/" + std::string(245, 'b');
  EXPECT_EQ(Open(name), -123);
  run.options.discardPath = true;
  EXPECT_EQ(Open(name), -120);
}

TEST_F(OpenDataFileTest, RefusesABaseAndExtensionOf256WithOptionZ) {
  run.options.quitIfNotOpened = true;
  run.options.discardPath = true;
  EXPECT_EQ(Open("/" + std::string(251, 'b')), -120);
  ExpectRefusal(-122, Open("/" + std::string(252, 'b')),
                "Filename+Extension size limited to 255 characters with 'z' option!");
}

TEST_F(OpenDataFileTest, HasNoLimitInACompactRun) {
  run.options.compactFlags = 1;
  run.options.compactLocking = true;
  EXPECT_EQ(Open("/" + std::string(300, 'b')), -120);
}

// --- sizes and record formats
// ----------------------------------------------------------------------

TEST_F(OpenDataFileTest, RefusesVariableLengthFromFourGiBOn) {
  MakeHugeFile("huge.TXT", kFourGiB);
  run.options.variableRecords = true;
  EXPECT_EQ(Open("huge"), -138);
}

TEST_F(OpenDataFileTest, TakesVariableLengthBelowFourGiB) {
  MakeHugeFile("huge.TXT", kFourGiB - 1);
  run.options.variableRecords = true;
  EXPECT_EQ(Open("huge"), kOk);
  EXPECT_FALSE(run.isi.recordNumberMode);
}

TEST_F(OpenDataFileTest, NumbersTheRecordsOfFixedLengthFromFourGiBOn) {
  MakeHugeFile("huge.TXT", kFourGiB);
  run.options.declaredRecordLength = 127;
  EXPECT_EQ(Open("huge"), kOk);
  EXPECT_TRUE(run.isi.recordNumberMode);
}

TEST_F(OpenDataFileTest, RefusesAFileWhoseSizeCannotBeFound) {
  scratch.Write("cust.TXT", kTwoLines);
  calls.FailFrom<&SystemCalls::lseek>(1, EIO);
  ExpectRefusal(-121, Open("cust"),
                "Unable to determine file size for input file: " + scratch.Path("cust.TXT"));
}

TEST_F(OpenDataFileTest, RefusesAFileThatCannotBeReadForItsMarks) {
  scratch.Write("cust.TXT", kTwoLines);
  calls.FailFrom<&SystemCalls::read>(1, EIO);
  ExpectRefusal(-121, Open("cust"),
                "Unable to determine file size for input file: " + scratch.Path("cust.TXT"));
}

TEST_F(OpenDataFileTest, RefusesAFixedLengthThatCannotBeFound) {
  const std::string words =
      "Unable to determine record length for fixed record length file: " + scratch.Path("cust.TXT");
  scratch.Write("cust.TXT", "");
  ExpectRefusal(-160, Open("cust"), words);
  scratch.Write("cust.TXT", "no mark at all");
  ExpectRefusal(-160, Open("cust"), words);
  scratch.Write("cust.TXT", "a\rb\r");
  ExpectRefusal(-160, Open("cust"), words);
}

TEST_F(OpenDataFileTest, NeedsNoLengthForVariableRecords) {
  scratch.Write("cust.TXT", "");
  run.options.variableRecords = true;
  EXPECT_EQ(Open("cust"), kOk);
}

TEST_F(OpenDataFileTest, TakesTheLongestRecords) {
  scratch.Write("lf.TXT", std::string(65533, 'x') + "\n");
  EXPECT_EQ(Open("lf"), kOk);
  EXPECT_EQ(run.data.recordLength, 65534U);
}

TEST_F(OpenDataFileTest, TakesTheLongestRecordsWithAMarkOfTwo) {
  scratch.Write("crlf.TXT", std::string(65531, 'x') + "\r\n");
  EXPECT_EQ(Open("crlf"), kOk);
  EXPECT_EQ(run.data.recordLength, 65533U);
}

TEST_F(OpenDataFileTest, RefusesLongerRecords) {
  scratch.Write("lf.TXT", std::string(65534, 'x') + "\n");
  EXPECT_EQ(Open("lf"), -161);
  EXPECT_FALSE(scratch.Exists("lf.ISI"));
}

TEST_F(OpenDataFileTest, RefusesLongerRecordsWithAMarkOfTwo) {
  scratch.Write("crlf.TXT", std::string(65532, 'x') + "\r\n");
  EXPECT_EQ(Open("crlf"), -161);
}

// --- declared lengths
// ------------------------------------------------------------------------------

TEST_F(OpenDataFileTest, AddsTheMarkToADeclaredLength) {
  scratch.Write("cust.TXT", "abcd\r\nabcd\r\n");
  run.options.declaredRecordLength = 4;
  EXPECT_EQ(Open("cust"), kOk);
  EXPECT_EQ(run.options.declaredRecordLength, 6U);
  EXPECT_EQ(run.data.recordLength, 6U);
  EXPECT_EQ(run.data.eorLength, 2);
}

TEST_F(OpenDataFileTest, SearchesNoMarkInBinaryData) {
  scratch.Write("cust.TXT", std::string(300, '\n'));
  run.options.binaryRecords = run.options.binaryPlain = true;
  run.options.declaredRecordLength = run.data.recordLength = 100;
  EXPECT_EQ(Open("cust"), kOk);
  EXPECT_EQ(run.data.eorLength, 0);
  EXPECT_EQ(run.data.eorFlags, 0);
  EXPECT_EQ(run.options.declaredRecordLength, 100U);
  EXPECT_EQ(run.data.recordLength, 100U);
  EXPECT_EQ(run.data.trailerLength, 0);
}

TEST_F(OpenDataFileTest, RefusesBinaryDataOfAnotherSize) {
  scratch.Write("cust.TXT", std::string(250, 'x'));
  run.options.binaryRecords = run.options.binaryPlain = true;
  run.options.declaredRecordLength = run.data.recordLength = 100;
  EXPECT_EQ(Open("cust"), -127);
}

TEST_F(OpenDataFileTest, KeepsTheMarkInsideBinaryRecordsAsTheirTrailer) {
  scratch.Write("cust.TXT", "abc\r\nabc\r\n");
  run.options.binaryRecords = run.options.binaryWithEor = true;
  run.options.declaredRecordLength = run.data.recordLength = 3;
  EXPECT_EQ(Open("cust"), kOk);
  EXPECT_EQ(run.data.trailerLength, 2);
  EXPECT_EQ(run.data.eorLength, 0);
  EXPECT_EQ(run.data.recordLength, 5U);
  EXPECT_EQ(run.options.declaredRecordLength, 5U);
  EXPECT_EQ(run.data.eorFlags, 0x40);
}

TEST_F(OpenDataFileTest, RefusesBinaryDataWithMarksOfAnotherSize) {
  scratch.Write("cust.TXT", "abc\nabc\nab\n");
  run.options.binaryRecords = run.options.binaryWithEor = true;
  run.options.declaredRecordLength = run.data.recordLength = 3;
  EXPECT_EQ(Open("cust"), -127);
}

TEST_F(OpenDataFileTest, MeasuresNoSizeOfTextRecords) {
  scratch.Write("cust.TXT", "abc\nabc\nab\n");
  run.options.declaredRecordLength = 3;
  EXPECT_EQ(Open("cust"), kOk);
}

// --- the index
// ---------------------------------------------------------------------------------------

TEST_F(OpenDataFileTest, CreatesTheIndexBesideTheData) {
  scratch.Write("cust.TXT", kTwoLines);
  EXPECT_EQ(Open("cust"), kOk);
  EXPECT_EQ(IsiName(), scratch.Path("cust.ISI"));
  EXPECT_EQ(::fcntl(run.files.outputFd, F_GETFL) & O_ACCMODE, O_RDWR);
  EXPECT_TRUE(scratch.Exists("cust.ISI"));
}

TEST_F(OpenDataFileTest, EmptiesTheIndexThatIsThere) {
  scratch.Write("cust.TXT", kTwoLines);
  scratch.Write("byname.ix", "old");
  EXPECT_EQ(Open("cust", "byname.ix"), kOk);
  EXPECT_EQ(scratch.Read("byname.ix"), "");
}

TEST_F(OpenDataFileTest, RefusesAnIndexNameThatCannotBeResolved) {
  scratch.Write("cust.TXT", kTwoLines);
  SetFullVolume();
  run.files.dataFileName.Assign(scratch.Path("cust"));
  run.files.outputFileName.Assign("isi:full");
  ExpectRefusal(-100, OpenDataFile(run), "Unable to resolve name for output file isi:full");
  EXPECT_EQ(IsiName(), "");
}

TEST_F(OpenDataFileTest, RefusesAnIndexOfTheDataFilesName) {
  scratch.Write("TEST.ISI", kTwoLines);
  EXPECT_EQ(Open("TEST.ISI"), -126);
  EXPECT_EQ(IsiName(), "");
  EXPECT_EQ(scratch.Read("TEST.ISI"), kTwoLines);
}

TEST_F(OpenDataFileTest, RefusesTheDataFilesNameAlsoInAnotherDirectory) {
  scratch.Write("TEST.ISI", kTwoLines);
  scratch.MakeDirectory("other");
  EXPECT_EQ(Open("TEST.ISI", "other/TEST.ISI"), -126);
  EXPECT_EQ(IsiName(), "");
}

TEST_F(OpenDataFileTest, ComparesTheNamesExactly) {
  scratch.Write("TEST.ISI", kTwoLines);
  EXPECT_EQ(Open("TEST.ISI", "test.ISI"), kOk);
}

TEST_F(OpenDataFileTest, RefusesTheDataFileUnderAnotherName) {
  const std::string data = scratch.Write("cust.TXT", kTwoLines);
  ASSERT_EQ(::link(data.c_str(), scratch.Path("hard.ISI").c_str()), 0);
  ASSERT_EQ(::symlink(data.c_str(), scratch.Path("soft.ISI").c_str()), 0);
  EXPECT_EQ(Open("cust", "hard"), -126);
  EXPECT_EQ(Open("cust", "soft"), -126);
  EXPECT_EQ(IsiName(), "");
  EXPECT_EQ(scratch.Read("cust.TXT"), kTwoLines);
}

TEST_F(OpenDataFileTest, RefusesAnIndexThatIsNoFile) {
  scratch.Write("cust.TXT", kTwoLines);
  scratch.MakeDirectory("dir.ISI");
  ExpectRefusal(-106, Open("cust", "dir"), "Can't create output file " + scratch.Path("dir.ISI"));
  EXPECT_EQ(IsiName(), "");
  ASSERT_EQ(::mkfifo(scratch.Path("fifo.ISI").c_str(), 0600), 0);
  ExpectRefusal(-106, Open("cust", "fifo"), "Can't create output file " + scratch.Path("fifo.ISI"));
}

TEST_F(OpenDataFileTest, RefusesAWorkFileForTheIndex) {
  scratch.Write("cust.TXT", kTwoLines);
  const std::string work = scratch.Write("work.ISI", "work");
  run.files.workFd2 = ::open(work.c_str(), O_RDWR);
  ExpectRefusal(-106, Open("cust", "work"), "Can't create output file " + work);
  EXPECT_EQ(scratch.Read("work.ISI"), "work");
}

// Whether the run opened it or the shell did.
TEST_F(OpenDataFileTest, RefusesTheLogForTheIndex) {
  scratch.Write("cust.TXT", kTwoLines);
  const std::string log = scratch.Write("log.ISI", "log");
  const int fd = ::open(log.c_str(), O_RDWR);
  run.console.consoleFd = fd;
  ExpectRefusal(-106, Open("cust", "log"), "Can't create output file " + log);
  EXPECT_EQ(scratch.Read("log.ISI"), "log");
  ::close(fd);
}

TEST_F(OpenDataFileTest, OpensTheDataFileToAllWhenTheIndexCannotBeCreated) {
  const std::string data = scratch.Write("cust.TXT", kTwoLines);
  ASSERT_EQ(::chmod(data.c_str(), 0600), 0);
  RefuseOpen(scratch.Path("cust.ISI"), O_RDWR);
  ExpectRefusal(-106, Open("cust"), "Can't create output file " + scratch.Path("cust.ISI"));
  EXPECT_EQ(IsiName(), "");
  struct stat status;
  ASSERT_EQ(::stat(data.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0666U);
}

TEST_F(OpenDataFileTest, OpensTheDataFileToAllWhenTheIndexCannotBeLookedAt) {
  const std::string data = scratch.Write("cust.TXT", kTwoLines);
  ASSERT_EQ(::chmod(data.c_str(), 0600), 0);
  ASSERT_EQ(::symlink("cust.ISI", scratch.Path("cust.ISI").c_str()), 0);
  ExpectRefusal(-106, Open("cust"), "Can't create output file " + scratch.Path("cust.ISI"));
  struct stat status;
  ASSERT_EQ(::stat(data.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0666U);
}

// --- the error file
// ------------------------------------------------------------------------------------

TEST_F(OpenDataFileTest, CreatesTheErrorFileBesideTheIndex) {
  scratch.Write("cust.TXT", kTwoLines);
  scratch.MakeDirectory("idx");
  scratch.Write("idx/byname.ERR", "old");
  run.options.errorFileWanted = true;
  EXPECT_EQ(Open("cust", "idx/byname.ix"), kOk);
  EXPECT_EQ(run.files.errorFileName.View(), scratch.Path("idx/byname.ERR"));
  EXPECT_EQ(::fcntl(run.files.errorFd, F_GETFL) & O_ACCMODE, O_RDWR);
  EXPECT_EQ(scratch.Read("idx/byname.ERR"), "");
}

TEST_F(OpenDataFileTest, CreatesNoErrorFileUnlessWanted) {
  scratch.Write("cust.TXT", kTwoLines);
  EXPECT_EQ(Open("cust"), kOk);
  EXPECT_EQ(run.files.errorFd, kNoFile);
  EXPECT_FALSE(scratch.Exists("cust.ERR"));
}

TEST_F(OpenDataFileTest, RefusesAnErrorFileThatCannotBeCreated) {
  scratch.Write("cust.TXT", kTwoLines);
  run.options.errorFileWanted = true;
  RefuseOpen(scratch.Path("cust.ERR"), O_CREAT);
  ExpectRefusal(-106, Open("cust"), "Can't create output file " + scratch.Path("cust.ERR"));
}

TEST_F(OpenDataFileTest, RefusesTheDataFileForTheErrorFile) {
  scratch.Write("cust.ERR", kTwoLines);
  run.options.errorFileWanted = true;
  ExpectRefusal(-106, Open("cust.ERR"), "Can't create output file " + scratch.Path("cust.ERR"));
  EXPECT_EQ(scratch.Read("cust.ERR"), kTwoLines);
}

TEST_F(OpenDataFileTest, RefusesTheIndexForTheErrorFile) {
  scratch.Write("cust.TXT", kTwoLines);
  scratch.Write("cust.x.ERR", "old index");
  run.options.errorFileWanted = true;
  ExpectRefusal(-106, Open("cust", "cust.x.ERR"),
                "Can't create output file " + scratch.Path("cust.x.ERR"));
}

TEST_F(OpenDataFileTest, RefusesTheIndexUnderAnotherNameForTheErrorFile) {
  scratch.Write("cust.TXT", kTwoLines);
  const std::string isi = scratch.Write("cust.ISI", "old index");
  ASSERT_EQ(::link(isi.c_str(), scratch.Path("cust.ERR").c_str()), 0);
  run.options.errorFileWanted = true;
  ExpectRefusal(-106, Open("cust"), "Can't create output file " + scratch.Path("cust.ERR"));
  EXPECT_EQ(scratch.Read("cust.ISI"), "old index");
}

// The link leads nowhere until the index is there.
TEST_F(OpenDataFileTest, RefusesALinkToTheNewIndexForTheErrorFile) {
  scratch.Write("cust.TXT", kTwoLines);
  ASSERT_EQ(::symlink("cust.ISI", scratch.Path("cust.ERR").c_str()), 0);
  run.options.errorFileWanted = true;
  EXPECT_EQ(Open("cust"), -106);
  EXPECT_EQ(console.Text(), "");
  EXPECT_STREQ(run.console.messageBuffer.data(),
               ("Can't create output file " + scratch.Path("cust.ERR")).c_str());
  EXPECT_EQ(run.files.errorFd, kNoFile);
}

TEST_F(OpenDataFileTest, RefusesTheLogForTheErrorFile) {
  scratch.Write("cust.TXT", kTwoLines);
  const std::string log = scratch.Write("cust.ERR", "log");
  const int fd = ::open(log.c_str(), O_RDWR);
  run.console.consoleFd = fd;
  run.options.errorFileWanted = true;
  ExpectRefusal(-106, Open("cust"), "Can't create output file " + log);
  EXPECT_EQ(scratch.Read("cust.ERR"), "log");
  ::close(fd);
}

TEST_F(OpenDataFileTest, RefusesAWorkFileForTheErrorFile) {
  scratch.Write("cust.TXT", kTwoLines);
  const std::string work = scratch.Write("cust.ERR", "work");
  run.files.workFd1 = ::open(work.c_str(), O_RDWR);
  run.options.errorFileWanted = true;
  ExpectRefusal(-106, Open("cust"), "Can't create output file " + work);
  EXPECT_EQ(scratch.Read("cust.ERR"), "work");
}

TEST_F(OpenDataFileTest, RefusesAnErrorFileThatIsNoFile) {
  scratch.Write("cust.TXT", kTwoLines);
  scratch.MakeDirectory("cust.ERR");
  run.options.errorFileWanted = true;
  ExpectRefusal(-106, Open("cust"), "Can't create output file " + scratch.Path("cust.ERR"));
}

// --- the input buffer
// --------------------------------------------------------------------------------

TEST_F(OpenDataFileTest, PrimesTheInputBuffer) {
  scratch.Write("cust.TXT", kTwoLines);
  EXPECT_EQ(Open("cust"), kOk);
  EXPECT_EQ(run.scan.bytesInBuffer, 10);
  EXPECT_EQ(run.scan.scanPtr, run.scan.inputBuffer.Data());
  EXPECT_EQ(AsText({run.scan.scanPtr, 10}), kTwoLines);
}

TEST_F(OpenDataFileTest, RefusesADataFileWhoseFirstBlockCannotBeRead) {
  scratch.Write("cust.TXT", kTwoLines);
  calls.FailFrom<&SystemCalls::read>(2, EIO);  // behind the one that finds the mark
  ExpectRefusal(-105, Open("cust"),
                "Invalid number of bytes read from input file: " + scratch.Path("cust.TXT"));
}

TEST_F(OpenDataFileTest, ReadsTheFirstBlockAgainAfterAFailure) {
  scratch.Write("cust.TXT", kTwoLines);
  calls.FailNth<&SystemCalls::read>(2, EIO);
  EXPECT_EQ(Open("cust"), kOk);
  EXPECT_EQ(run.scan.bytesInBuffer, 10);
}

TEST_F(OpenDataFileTest, LeavesOpenDescriptorsToTheCleanUp) {
  scratch.Write("cust.TXT", kTwoLines);
  calls.FailFrom<&SystemCalls::read>(2, EIO);
  Open("cust");
  EXPECT_GE(run.files.inputFd, 0);
  EXPECT_GE(run.files.outputFd, 0);
}

// --- debug mode
// ----------------------------------------------------------------------------------------

TEST_F(OpenDataFileTest, TellsItsStepsInDebugMode) {
  scratch.Write("cust.TXT", kTwoLines);
  run.control.debugMode = true;
  run.options.errorFileWanted = true;
  EXPECT_EQ(Open("cust"), kOk);
  EXPECT_EQ(console.Text(), "Opened " + scratch.Path("cust.TXT") +
                                " as input file\n"
                                "Expected End of Record for data file is LF.\n\r"
                                "Created " +
                                scratch.Path("cust.ISI") + " as output file\nCreated " +
                                scratch.Path("cust.ERR") + " as error file\n");
}

TEST_F(OpenDataFileTest, TellsNothingOtherwise) {
  scratch.Write("cust.TXT", kTwoLines);
  run.options.errorFileWanted = true;
  EXPECT_EQ(Open("cust"), kOk);
  EXPECT_EQ(console.Text(), "");
}

struct KindLine {
  const char* data;
  const char* line;
};

class OpenDataFileKindTest : public OpenDataFileTest,
                             public ::testing::WithParamInterface<KindLine> {};

TEST_P(OpenDataFileKindTest, TellsTheKindOfMark) {
  scratch.Write("cust.TXT", GetParam().data);
  run.control.debugMode = true;
  run.options.variableRecords = true;
  EXPECT_EQ(Open("cust"), kOk);
  const std::string wanted =
      std::string("Expected End of Record for data file is ") + GetParam().line + "Created ";
  EXPECT_NE(console.Text().find(wanted), std::string::npos) << console.Text();
}

INSTANTIATE_TEST_SUITE_P(Kinds, OpenDataFileKindTest,
                         ::testing::Values(KindLine{"ab\rcd\r", "CR.\n\r"},
                                           KindLine{"ab\r\n", "CRLF.\n\r"},
                                           KindLine{"ab\n", "LF.\n\r"},
                                           KindLine{"ab\n\r", "LFCR.\n\r"},
                                           KindLine{"", "OS DEFAULT (LF)'.\n\r"}));

TEST_F(OpenDataFileTest, TellsThatBinaryDataHasNoMark) {
  scratch.Write("cust.TXT", "abcd");
  run.control.debugMode = true;
  run.options.binaryRecords = run.options.binaryPlain = true;
  run.options.declaredRecordLength = run.data.recordLength = 4;
  EXPECT_EQ(Open("cust"), kOk);
  EXPECT_NE(console.Text().find("data file is not defined.\n\rCreated "), std::string::npos);
}

// --- compact runs
// --------------------------------------------------------------------------------------

class OpenForCompactTest : public OpenDataFileTest {
 protected:
  OpenForCompactTest() {
    run.options.compactFlags = 1;
    run.options.compactLocking = true;
  }

  const std::string isi = EmptyIsi("data.TXT", "data -1-3");
};

TEST_F(OpenForCompactTest, OpensTheIsiForReadingAndWriting) {
  scratch.Write("old.ISI", isi);
  EXPECT_EQ(Open("old", "new"), kOk);
  EXPECT_EQ(DataName(), scratch.Path("old.ISI"));
  EXPECT_EQ(IsiName(), scratch.Path("new.ISI"));
  EXPECT_EQ(::fcntl(run.files.inputFd, F_GETFL) & O_ACCMODE, O_RDWR);
  EXPECT_FALSE(run.options.compactInPlace);
}

TEST_F(OpenForCompactTest, RefusesAnIsiThatCannotBeOpened) {
  ExpectRefusal(-120, Open("none", "new"),
                "Unable to open input ISI file for compact: " + scratch.Path("none.ISI") + "\n");
  EXPECT_FALSE(scratch.Exists("none.ISI"));
}

TEST_F(OpenForCompactTest, RefusesAnIsiThatIsNoFile) {
  ASSERT_EQ(::mkfifo(scratch.Path("fifo.ISI").c_str(), 0600), 0);
  ExpectRefusal(-120, Open("fifo", "new"),
                "Unable to open input ISI file for compact: " + scratch.Path("fifo.ISI") + "\n");
}

TEST_F(OpenForCompactTest, RefusesAShortIsiBeforeAnOutputIsCreated) {
  scratch.Write("old.ISI", isi.substr(0, 2047));
  ExpectRefusal(-102, Open("old", "new"),
                "Not a valid .isi file structure for file: " + scratch.Path("old.ISI") + ".");
  EXPECT_FALSE(scratch.Exists("new.ISI"));
}

TEST_F(OpenForCompactTest, RefusesAHeaderThatCannotBeBelievedBeforeAnOutputIsCreated) {
  std::string other = isi;
  PutBytes(other, 10, std::string_view("\x97\x00", 2));  // a key of 151 bytes
  scratch.Write("old.ISI", other);
  EXPECT_EQ(Open("old", "new"), -102);
  EXPECT_FALSE(scratch.Exists("new.ISI"));
}

TEST_F(OpenForCompactTest, RefusesAnotherSignatureOrVersionBeforeAnOutputIsCreated) {
  for (const auto& [offset, bytes] : {std::pair{0, "X"}, std::pair{4, "\x03\x03"}}) {
    std::string other = isi;
    PutBytes(other, static_cast<std::size_t>(offset), bytes);
    scratch.Write("old.ISI", other);
    ExpectRefusal(-162, Open("old", "new"),
                  "Invalid ISI version to compact file named:  " + scratch.Path("old.ISI") + ".");
    EXPECT_FALSE(scratch.Exists("new.ISI"));
  }
}

TEST_F(OpenForCompactTest, OpensExclusivelyWithoutLockingAndWithTheBitOfValueEight) {
  scratch.Write("old.ISI", isi);
  std::vector<int> flagsSeen;
  calls.Replace<&SystemCalls::open>([&](const char* path, int flags, mode_t mode) {
    if (scratch.Path("old.ISI") == path) flagsSeen.push_back(flags & O_EXCL);
    return calls.Original().open(path, flags, mode);
  });
  Open("old", "new1");
  run.options.compactFlags = 9;
  Open("old", "new2");
  run.options.compactLocking = false;
  Open("old", "new3");
  EXPECT_EQ(flagsSeen, (std::vector<int>{0, 0, O_EXCL}));
}

TEST_F(OpenForCompactTest, CompactsInPlaceForTheSameBaseAndExtension) {
  scratch.Write("old.ISI", isi);
  EXPECT_EQ(Open("old"), kOk);
  EXPECT_TRUE(run.options.compactInPlace);
  EXPECT_EQ(run.files.outputFd, run.files.inputFd);
  EXPECT_EQ(IsiName(), scratch.Path("old.ISI"));
  EXPECT_EQ(scratch.Read("old.ISI"), isi);
}

TEST_F(OpenForCompactTest, CompactsTheFirstInPlaceWhateverTheSecondsDirectory) {
  scratch.Write("old.ISI", isi);
  scratch.MakeDirectory("other");
  EXPECT_EQ(Open("old", "other/old"), kOk);
  EXPECT_TRUE(run.options.compactInPlace);
  EXPECT_EQ(IsiName(), scratch.Path("old.ISI"));
  EXPECT_FALSE(scratch.Exists("other/old.ISI"));
}

TEST_F(OpenForCompactTest, RefusesTheInputUnderAnotherName) {
  const std::string old = scratch.Write("old.ISI", isi);
  ASSERT_EQ(::link(old.c_str(), scratch.Path("new.ISI").c_str()), 0);
  EXPECT_EQ(Open("old", "new"), -126);
  EXPECT_EQ(scratch.Read("old.ISI"), isi);
}

TEST_F(OpenForCompactTest, CreatesNoErrorFile) {
  scratch.Write("old.ISI", isi);
  run.options.errorFileWanted = true;
  EXPECT_EQ(Open("old", "new"), kOk);
  EXPECT_FALSE(scratch.Exists("new.ERR"));
}

TEST_F(OpenForCompactTest, TellsItsOutputInDebugMode) {
  scratch.Write("old.ISI", isi);
  run.control.debugMode = true;
  EXPECT_EQ(Open("old", "new"), kOk);
  EXPECT_EQ(console.Text(), "Compact mode using " + scratch.Path("new.ISI") + " as output file\n");
}

}  // namespace
}  // namespace tavindex::test
