#include "driver/messages.h"

#include <cstring>

#include "support/run_test.h"

namespace tavindex::test {
namespace {

struct CodeText {
  Result code;
  const char* text;
};

void PrintTo(const CodeText& parameter, std::ostream* out) { *out << parameter.code; }

// The name of a parameterized test from its code.
std::string CodeName(const ::testing::TestParamInfo<CodeText>& parameter) {
  return "Code" + std::to_string(-parameter.param.code);
}

class MessagesTest : public RunTest {
 protected:
  MessagesTest() {
    run.files.dataFileName.Assign("data.TXT");
    run.files.outputFileName.Assign("data.ISI");
    run.files.workFileName1.Assign("/tmp/dsortA");
    run.files.workFileName2.Assign("/tmp/dsortB");
    std::strcpy(run.console.messageBuffer.data(), "left by 100% of the failing step");
  }
  ~MessagesTest() override {
    // The numbers below stand for descriptors; none is open.
    run.files.workFd1 = run.files.workFd2 = kNoFile;
  }
};

// --- set-up
// ----------------------------------------------------------------------------------------

class ShowSetUpFailureTest : public MessagesTest, public ::testing::WithParamInterface<CodeText> {};

TEST_P(ShowSetUpFailureTest, PrintsTheFixedTextAndALineEnd) {
  ShowSetUpFailure(run, GetParam().code);
  EXPECT_EQ(console.Text(), std::string(GetParam().text) + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Table, ShowSetUpFailureTest,
    ::testing::Values(
        CodeText{-104, "The command line is incomplete.  Use -? option."},
        CodeText{-107, "One of the filenames is too long."},
        CodeText{-108, "Invalid record length specification."},
        CodeText{-109, "Temporary file name creation failed. (system)"},
        CodeText{-110, "One of the temporary files could not be opened."},
        CodeText{-111, "A key specification is too large."},
        CodeText{-112, "Invalid key specification syntax."},
        CodeText{-113, "Overlapping keys are not allowed."},
        CodeText{-114, "Too many key bytes have been selected in each record."},
        CodeText{-115, "Cannot use more than 32 key specifications!"},
        CodeText{-118, "Invalid primary key information."},
        CodeText{-124, "Conflicting utility options specified. (f, s, & v)."},
        CodeText{-126, "The Output file name can not be same as Input name."},
        CodeText{-127, "Record size not valid for file length found."},
        CodeText{-128, "Conflicting key options."},
        CodeText{-129, "Invalid Max sector fill percent specification"},
        CodeText{-130, "Invalid reformat specification syntax!"},
        CodeText{-131, "Insufficient memory to support Reformat option!"},
        CodeText{-132, "Output file not specified for tag file specification."},
        CodeText{-133, "Options '-f or -g' require record length specification."},
        CodeText{-134, "Output file not specified for reformat file specification!"},
        CodeText{-135, "Cannot use more than 10 'P' option parameters!"},
        CodeText{-136, "Uppercase option must be given prior to key specifications."},
        CodeText{-137, "Conflicting record length specifications."},
        CodeText{-138, "File too large to use space compression or variable length records."},
        CodeText{-159, "Invalid 'O' option value!"},
        CodeText{-161, "A record longer than 65533 bytes was found."},
        CodeText{-171, "Invalid compact option!"}),
    CodeName);

class ShowOtherSetUpFailureTest : public MessagesTest,
                                  public ::testing::WithParamInterface<Result> {};

TEST_P(ShowOtherSetUpFailureTest, PrintsWhatTheFailingStepLeft) {
  ShowSetUpFailure(run, GetParam());
  EXPECT_EQ(console.Text(), "left by 100% of the failing step\n");
  EXPECT_EQ(FixedTextOf(GetParam()), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Codes, ShowOtherSetUpFailureTest,
                         ::testing::Values(-4, -100, -101, -102, -103, -105, -106, -116, -117, -119,
                                           -120, -121, -122, -123, -125, -139, -158, -160, -162,
                                           -170, -172));

TEST_F(MessagesTest, SetUpFailurePrintsALineEndBehindNothing) {
  run.console.messageBuffer[0] = '\0';
  ShowSetUpFailure(run, -105);
  EXPECT_EQ(console.Text(), "\n");
}

// --- build
// -----------------------------------------------------------------------------------------

using ShowBuildFailureTest = MessagesTest;

TEST_F(ShowBuildFailureTest, WorkFileRead) {
  ShowBuildFailure(run, -3);
  EXPECT_EQ(console.Text(),
            "WARNING!  INDEX failed reading temporary work file.\n"
            "WARNING!  INDEX failed writing to file data.ISI.\n");
}

TEST_F(ShowBuildFailureTest, InputRead) {
  ShowBuildFailure(run, -4);
  EXPECT_EQ(console.Text(),
            "WARNING!  INDEX failed reading input file data.TXT.\n"
            "WARNING!  INDEX failed writing to file data.ISI.\n");
}

TEST_F(ShowBuildFailureTest, WrongEndOfRecord) {
  run.scan.nextLfa = 12345;
  ShowBuildFailure(run, -5);
  EXPECT_EQ(console.Text(),
            "WARNING!  INDEX failed reading input file data.TXT.\n"
            "Invalid EOR found for record starting at byte offset: 12345.\n"
            "WARNING!  INDEX failed writing to file data.ISI.\n");
}

TEST_F(ShowBuildFailureTest, WrongEndOfRecordShowsTheLowHalfOfItsPlace) {
  run.scan.nextLfa = 0x100000007;
  ShowBuildFailure(run, -5);
  EXPECT_NE(console.Take().find("byte offset: 7.\n"), std::string::npos);
  run.scan.nextLfa = 0xFFFFFFFE;
  ShowBuildFailure(run, -5);
  EXPECT_NE(console.Take().find("byte offset: -2.\n"), std::string::npos);
}

TEST_F(ShowBuildFailureTest, RecordLengthDiffers) {
  run.data.recordLength = 90;
  run.data.eorLength = 2;
  run.options.declaredRecordLength = 82;
  ShowBuildFailure(run, -6);
  EXPECT_EQ(console.Text(),
            "WARNING!  INDEX record size invalid for data.TXT.\n"
            "\bRecord length found was 90 and specified record length was 80.\n"
            "WARNING!  INDEX failed writing to file data.ISI.\n");
  EXPECT_TRUE(run.data.longRecordSeen);
}

TEST_F(ShowBuildFailureTest, RecordOverTheMaximum) {
  run.data.recordLength = 90;
  run.options.declaredRecordLength = 81;
  ShowBuildFailure(run, -7);
  EXPECT_EQ(console.Text(),
            "WARNING!  INDEX record size invalid for data.TXT.\n"
            "\bRecord length found was 90 and maximum record length was 80.\n"
            "WARNING!  INDEX failed writing to file data.ISI.\n");
  EXPECT_TRUE(run.data.longRecordSeen);
}

TEST_F(ShowBuildFailureTest, RecordTooLongHasItsTextAlone) {
  ShowBuildFailure(run, -161);
  EXPECT_EQ(console.Text(), "A record longer than 65533 bytes was found.");
}

TEST_F(ShowBuildFailureTest, MemoryHasNothingMore) {
  ShowBuildFailure(run, -9);
  EXPECT_EQ(console.Text(), "");
}

TEST_F(ShowBuildFailureTest, TreeLimitTellsWhatTheTreeCanHold) {
  run.isi.maxEntries = 2;  // 3 to the 16th power less 1
  ShowBuildFailure(run, -13);
  EXPECT_EQ(console.Text(),
            "\nError! Tree level limit (16) can only support 43046720 records for this ISI file! ");
}

TEST_F(ShowBuildFailureTest, TreeLimitWrapsAt64Bits) {
  run.isi.maxEntries = 31;  // 2 to the 80th power is 0
  ShowBuildFailure(run, -13);
  EXPECT_NE(console.Text().find("only support 18446744073709551615 records"), std::string::npos);
}

TEST_F(ShowBuildFailureTest, EveryOtherCodeHasTheWritingWarning) {
  for (const Result code : {-1, -2, -8, -10, -21, -151, -156, -157, -158}) {
    ShowBuildFailure(run, code);
    EXPECT_EQ(console.Take(), "WARNING!  INDEX failed writing to file data.ISI.\n") << code;
    EXPECT_FALSE(run.data.longRecordSeen) << code;
  }
}

TEST_F(ShowBuildFailureTest, WritingWarningNamesTheFileThatWasBeingWritten) {
  run.files.workFd1 = 1001;
  run.files.workFd2 = 1002;
  run.files.workFile = 1001;
  ShowBuildFailure(run, -158);
  EXPECT_EQ(console.Take(), "WARNING!  INDEX failed writing to file /tmp/dsortA.\n");
  run.files.workFile = 1002;
  ShowBuildFailure(run, -158);
  EXPECT_EQ(console.Take(), "WARNING!  INDEX failed writing to file /tmp/dsortB.\n");
  run.files.workFile = 1003;
  ShowBuildFailure(run, -158);
  EXPECT_EQ(console.Take(), "WARNING!  INDEX failed writing to file data.ISI.\n");
}

TEST_F(ShowBuildFailureTest, NamesTheSortCommand) {
  run.control.commandWord = "SORT";
  ShowBuildFailure(run, -3);
  EXPECT_EQ(console.Text(),
            "WARNING!  SORT failed reading temporary work file.\n"
            "WARNING!  SORT failed writing to file data.ISI.\n");
}

// --- compact
// -----------------------------------------------------------------------------------------

class ShowCompactFailureTest : public MessagesTest,
                               public ::testing::WithParamInterface<CodeText> {};

TEST_P(ShowCompactFailureTest, PrintsTheLineOfTheCode) {
  ShowCompactFailure(run, GetParam().code);
  EXPECT_EQ(console.Text(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ShowCompactFailureTest,
    ::testing::Values(
        CodeText{-3, "WARNING!  INDEX failed reading temporary work file.\n"},
        CodeText{-4, "WARNING!  INDEX failed reading input file data.TXT.\n"},
        CodeText{-9, "WARNING!  INDEX failed writing to file data.ISI.\n"},
        CodeText{-102, "Not a valid .isi file structure for file: data.TXT.\n"},
        CodeText{-157, "WARNING!  INDEX failed writing output data!\n"},
        CodeText{-158, "WARNING!  INDEX failed writing to file data.ISI.\n"},
        CodeText{-162, "Invalid ISI version to compact file named:  data.TXT.\n"},
        CodeText{-163, "Invalid ISI Deleted Record count for file named:  data.TXT.\n"},
        CodeText{-164, "Invalid input ISI command line format found in file named:  data.TXT.\n"},
        CodeText{-165, "Invalid input compact option command line (Internal)!\n"},
        CodeText{-166, "New compact command line too long to store in ISI header!\n"},
        CodeText{-167, "Unable to execute in place ISI compact operation!\n"},
        CodeText{-169, "Unable to execute ISI compact operation with locking!\n"},
        CodeText{-170, "Unable to execute ISI compact operation!\n"}),
    CodeName);

}  // namespace
}  // namespace tavindex::test
