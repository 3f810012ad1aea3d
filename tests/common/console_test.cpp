#include "common/console.h"

#include <fcntl.h>

#include <utility>

#include "support/run_test.h"

namespace tavindex::test {
namespace {

// Makes the poll answer that the user wants to cancel.
class CancelRequest {
 public:
  CancelRequest() : before_(cancelPoll) {
    cancelPoll = [] { return true; };
  }
  ~CancelRequest() { cancelPoll = before_; }

 private:
  CancelPoll before_;
};

using ShowMessageTest = RunTest;
using ShowProgressTest = RunTest;
using ShowLineTest = RunTest;
using ComposeTest = RunTest;
using ShowFormattedTest = RunTest;
using ShowDebugTest = RunTest;
using ReportCancelTest = RunTest;

TEST_F(ShowMessageTest, PrintsPercentSignsUnchanged) {
  ShowMessage(run, "100%s of %d%% %n\n");
  EXPECT_EQ(console.Text(), "100%s of %d%% %n\n");
}

TEST_F(ShowMessageTest, FlushesAfterEachWrite) {
  std::setvbuf(run.console.consoleStream, nullptr, _IOFBF, 4096);
  ShowMessage(run, "out at once");
  char bytes[32] = {};
  ASSERT_EQ(::pread(console.Descriptor(), bytes, sizeof bytes, 0), 11);
  EXPECT_STREQ(bytes, "out at once");
}

TEST_F(ShowLineTest, WaitsForTheNextMessage) {
  ShowLine(run, "one\n");
  ShowLine(run, "two\n");
  EXPECT_EQ(console.Text(), "");
  ShowMessage(run, "message\n");
  EXPECT_EQ(console.Text(), "one\ntwo\nmessage\n");
}

TEST_F(ShowLineTest, WaitsForFlushLines) {
  ShowLine(run, "one\n");
  FlushLines(run);
  EXPECT_EQ(console.Text(), "one\n");
  FlushLines(run);
  EXPECT_EQ(console.Text(), "one\n");
}

TEST_F(ShowLineTest, IsSeenAtOnceOnATerminal) {
  run.console.progressOn = true;
  ShowLine(run, "one\n");
  EXPECT_EQ(console.Text(), "one\n");
}

// As much as a pipe that can be written to takes at once.
TEST_F(ShowLineTest, GoesOutInBlocksOf4Kib) {
  const std::string line = std::string(255, 'x') + "\n";
  std::string all;
  for (int i = 0; i < 16; ++i) {
    ShowLine(run, line);
    EXPECT_EQ(console.Text(), "");
    all += line;
  }
  ShowLine(run, "y\n");
  EXPECT_EQ(console.Text(), all);
  FlushLines(run);
  EXPECT_EQ(console.Text(), all + "y\n");
}

TEST_F(ShowLineTest, IsDroppedWithoutAStream) {
  ShowLine(run, "one\n");
  std::FILE* stream = std::exchange(run.console.consoleStream, nullptr);
  FlushLines(run);
  run.console.consoleStream = stream;
  FlushLines(run);
  EXPECT_EQ(console.Text(), "");
}

TEST_F(ShowMessageTest, AnswersNoWhenNobodyCancels) { EXPECT_FALSE(ShowMessage(run, "x")); }

TEST_F(ShowMessageTest, GivesThePollsAnswer) {
  const CancelRequest request;
  EXPECT_TRUE(ShowMessage(run, "x"));
  EXPECT_EQ(console.Text(), "x");
}

TEST_F(ShowMessageTest, WithoutAStreamStillGivesThePollsAnswer) {
  run.console.consoleStream = nullptr;
  EXPECT_FALSE(ShowMessage(run, "x"));
  const CancelRequest request;
  EXPECT_TRUE(ShowMessage(run, "x"));
  EXPECT_EQ(console.Text(), "");
}

TEST_F(ShowMessageTest, IgnoresAFailedWrite) {
  std::FILE* full = std::fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  run.console.consoleStream = full;
  EXPECT_FALSE(ShowMessage(run, "lost"));
  run.console.consoleStream = console.Stream();
  std::fclose(full);
  ShowMessage(run, "kept");
  EXPECT_EQ(console.Text(), "kept");
}

TEST_F(ShowProgressTest, PrintsWhileProgressIsOn) {
  run.console.progressOn = true;
  EXPECT_FALSE(ShowProgress(run, "Merge pass 1\r"));
  EXPECT_EQ(console.Text(), "Merge pass 1\r");
}

TEST_F(ShowProgressTest, PrintsNothingWhileProgressIsOff) {
  EXPECT_FALSE(ShowProgress(run, "Merge pass 1\r"));
  EXPECT_EQ(console.Text(), "");
}

TEST_F(ShowProgressTest, GivesThePollsAnswerAlsoWhenOff) {
  const CancelRequest request;
  EXPECT_TRUE(ShowProgress(run, "Merge pass 1\r"));
  EXPECT_EQ(console.Text(), "");
}

TEST_F(ShowProgressTest, FormatsAndEmptiesTheBuffer) {
  run.console.progressOn = true;
  EXPECT_FALSE(ShowProgressFormatted(run, "Sort train %u\r", 12U));
  EXPECT_EQ(console.Text(), "Sort train 12\r");
  EXPECT_EQ(Message(), "");
}

TEST_F(ComposeTest, LeavesTheTextForTheDriver) {
  Compose(run, "Can't open source file %s", "a%db");
  EXPECT_EQ(Message(), "Can't open source file a%db");
  EXPECT_EQ(console.Text(), "");
}

TEST_F(ComposeTest, CutsBehind8191Characters) {
  const std::string text(9000, 'm');
  Compose(run, "%s", text.c_str());
  EXPECT_EQ(Message(), std::string(8191, 'm'));
}

TEST_F(ShowFormattedTest, ShowsAndEmptiesTheBuffer) {
  EXPECT_FALSE(ShowFormatted(run, "%s has %d%%\n", "50%s", 7));
  EXPECT_EQ(console.Text(), "50%s has 7%\n");
  EXPECT_EQ(Message(), "");
}

TEST_F(ShowFormattedTest, GivesThePollsAnswer) {
  const CancelRequest request;
  EXPECT_TRUE(ShowFormatted(run, "x"));
}

TEST_F(ShowDebugTest, PrintsInDebugModeOnly) {
  ShowDebug(run, "Created %s as error file\n", "e.ERR");
  EXPECT_EQ(console.Text(), "");
  run.control.debugMode = true;
  ShowDebug(run, "Created %s as error file\n", "e.ERR");
  EXPECT_EQ(console.Text(), "Created e.ERR as error file\n");
  EXPECT_EQ(Message(), "");
}

TEST_F(ReportCancelTest, TellsAndGivesTheCode) {
  EXPECT_EQ(ReportCancel(run), -21);
  EXPECT_EQ(console.Text(), "The operation was canceled by the user!\n");
}

}  // namespace
}  // namespace tavindex::test
