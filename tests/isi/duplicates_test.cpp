#include "isi/duplicates.h"

#include "common/console.h"
#include "isi/error_lines.h"
#include "tree_test.h"

namespace tavindex::test {
namespace {

class ReportDuplicateTest : public TreeTest {
 protected:
  ReportDuplicateTest() {
    run.files.errorFd = OpenFile(scratch.Path("data.ERR").c_str(), O_RDWR | O_CREAT, 0600);
    run.keys.keyLength = 4;
  }
  Result Report(std::uint64_t position, const std::string& key) {
    return ReportDuplicate(run, {.position = position, .recLength = 9, .key = AsBytes(key).data()});
  }
  std::string Console() {
    FlushLines(run);
    return console.Text();
  }
  std::string ErrorFile() {
    EXPECT_TRUE(FlushErrorLines(run));
    return scratch.Read("data.ERR");
  }
};

TEST_F(ReportDuplicateTest, WritesALineForOptionE) {
  run.options.errorFileWanted = true;
  EXPECT_EQ(Report(0x12ABC, "key1"), kOk);
  EXPECT_EQ(ErrorFile(), "Duplicate Key at:           12ABC Key:key1 \r\n");
  EXPECT_EQ(Console(), "");
}

TEST_F(ReportDuplicateTest, ShowsTheLineWhenDuplicatesAreForbidden) {
  run.options.errorFileWanted = run.options.rejectDups = true;
  EXPECT_EQ(Report(0, "key1"), kOk);
  EXPECT_EQ(ErrorFile(), "Duplicate Key at:               0 Key:key1 \r\n");
  EXPECT_EQ(Console(), "Duplicate Key at:               0 Key:key1 \n");
}

TEST_F(ReportDuplicateTest, TellsThatTheKeyIsIgnored) {
  run.options.errorFileWanted = run.options.rejectDups = run.options.ignoreDups = true;
  EXPECT_EQ(Report(255, "key1"), kOk);
  EXPECT_EQ(ErrorFile(), "Duplicate Key ignored at:              FF Key:key1 \r\n");
  EXPECT_EQ(Console(), "Duplicate Key ignored at:              FF Key:key1 \n");
}

TEST_F(ReportDuplicateTest, SaysNothingInAQuietRun) {
  run.options.errorFileWanted = run.options.rejectDups = true;
  run.options.ignoreDups = run.options.quietDups = true;
  EXPECT_EQ(Report(255, "key1"), kOk);
  EXPECT_EQ(ErrorFile() + Console(), "");
}

TEST_F(ReportDuplicateTest, SaysNothingWhenNothingWasAskedFor) {
  EXPECT_EQ(Report(255, "key1"), kOk);
  EXPECT_EQ(ErrorFile() + Console(), "");
}

TEST_F(ReportDuplicateTest, DropsTheLineWithoutAnErrorFile) {
  CloseFile(run.files.errorFd);
  run.options.errorFileWanted = run.options.rejectDups = true;
  EXPECT_EQ(Report(1, "key1"), kOk);
  EXPECT_EQ(Console(), "Duplicate Key at:               1 Key:key1 \n");
}

TEST_F(ReportDuplicateTest, ShowsThe64BitPositionAlsoInRecordNumberMode) {
  run.options.errorFileWanted = true;
  run.isi.recordNumberMode = true;
  EXPECT_EQ(Report(0x123456789ABCDEF0, "key1"), kOk);
  EXPECT_EQ(ErrorFile(), "Duplicate Key at:123456789ABCDEF0 Key:key1 \r\n");
}

TEST_F(ReportDuplicateTest, PrintsTheKeyUpToItsFirstNulAndItsLength) {
  run.options.errorFileWanted = true;
  EXPECT_EQ(Report(1, std::string("ab\0c", 4)), kOk);
  EXPECT_EQ(Report(1, "abcdXYZ"), kOk);
  EXPECT_EQ(ErrorFile(),
            "Duplicate Key at:               1 Key:ab \r\n"
            "Duplicate Key at:               1 Key:abcd \r\n");
}

TEST_F(ReportDuplicateTest, PrintsTheLongestKeyWhole) {
  run.options.errorFileWanted = true;
  run.keys.keyLength = 150;
  EXPECT_EQ(Report(1, std::string(150, '%')), kOk);
  EXPECT_EQ(ErrorFile(),
            "Duplicate Key at:               1 Key:" + std::string(150, '%') + " \r\n");
}

TEST_F(ReportDuplicateTest, TellsThatTheErrorFileCouldNotBeWritten) {
  run.options.errorFileWanted = true;
  calls.FailFrom<&SystemCalls::write>(1, ENOSPC);
  // Lines of 45 bytes: the 1457th no longer goes into 64 KiB.
  for (std::uint64_t i = 1; i <= 1456; ++i) ASSERT_EQ(Report(i, "key1"), kOk);
  EXPECT_EQ(Report(1457, "key1"), kNodeWriteFailed);
  EXPECT_EQ(run.files.workFile, run.files.errorFd);
}

TEST_F(ReportDuplicateTest, ReportTreeLimitWritesIntoTheErrorFile) {
  run.isi.maxEntries = 3;
  EXPECT_EQ(ReportTreeLimit(run), -13);
  EXPECT_EQ(ErrorFile(),
            "\nError! Tree level limit (16) can only support 4294967295 records for this ISI "
            "file! \r\n");
  EXPECT_EQ(Console(), "");
}

TEST_F(ReportDuplicateTest, ReportTreeLimitNeedsNoErrorFile) {
  CloseFile(run.files.errorFd);
  EXPECT_EQ(ReportTreeLimit(run), -13);
}

}  // namespace
}  // namespace tavindex::test
