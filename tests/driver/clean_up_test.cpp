#include "driver/clean_up.h"

#include <fcntl.h>
#include <signal.h>

#include <map>
#include <utility>
#include <vector>

#include "common/console.h"
#include "isi/error_lines.h"
#include "support/child_process.h"
#include "support/run_test.h"

namespace tavindex::test {
namespace {

// --- sort memory
// -------------------------------------------------------------------------------------

class GetSortMemoryTest : public RunTest {
 protected:
  // The sizes asked for; the system grants at most `limit` bytes.
  void GrantUpTo(std::size_t limit) {
    calls.Replace<&SystemCalls::allocate>([this, limit](std::size_t size) -> void* {
      asked.push_back(size);
      return size > limit ? nullptr : calls.Original().allocate(size);
    });
  }

  std::vector<std::size_t> asked;
};

TEST_F(GetSortMemoryTest, TakesWhatTheSystemGrants) {
  EXPECT_EQ(GetSortMemory(run, 1048576), 1048576U);
  EXPECT_EQ(run.sort.sortMemoryBase, run.sort.sortMemory.Data());
  EXPECT_EQ(run.sort.sortMemory.Size(), 1048576U);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(run.sort.sortMemoryBase) % 8, 0U);
}

TEST_F(GetSortMemoryTest, HalvesWhatTheSystemRefuses) {
  GrantUpTo(140000);
  EXPECT_EQ(GetSortMemory(run, 1048576), 131072U);
  EXPECT_EQ(asked, (std::vector<std::size_t>{1048576, 524288, 262144, 131072}));
  EXPECT_EQ(run.sort.sortMemory.Size(), 131072U);
}

TEST_F(GetSortMemoryTest, TriesDownTo8192Bytes) {
  GrantUpTo(8192);
  EXPECT_EQ(GetSortMemory(run, 1048576), 8192U);
  GrantUpTo(8191);
  asked.clear();
  EXPECT_EQ(GetSortMemory(run, 1048576), 0U);
  EXPECT_EQ(asked.size(), 8U);
  EXPECT_EQ(asked.back(), 8192U);
}

TEST_F(GetSortMemoryTest, HalvesAnOddSizeDownwards) {
  GrantUpTo(9000);
  EXPECT_EQ(GetSortMemory(run, 16389), 8194U);
}

TEST_F(GetSortMemoryTest, TriesASmallSizeOnce) {
  EXPECT_EQ(GetSortMemory(run, 57), 57U);
  GrantUpTo(0);
  EXPECT_EQ(GetSortMemory(run, 57), 0U);
  EXPECT_EQ(asked.size(), 1U);
}

TEST_F(GetSortMemoryTest, GivesNothingForNothing) { EXPECT_EQ(GetSortMemory(run, 0), 0U); }

TEST_F(GetSortMemoryTest, TriesASizeWithANegativeHalfOnce) {
  GrantUpTo(65536);
  EXPECT_EQ(GetSortMemory(run, 0x80000000), 0U);
  EXPECT_EQ(asked, (std::vector<std::size_t>{0x80000000}));
  EXPECT_EQ(GetSortMemory(run, 0xFFFFFFFF), 0U);
  EXPECT_EQ(asked.back(), 0xFFFFFFFFU);
}

TEST_F(GetSortMemoryTest, HalvesTheLargestPositiveSize) {
  GrantUpTo(65536);
  EXPECT_EQ(GetSortMemory(run, 0x7FFFFFFF), 65535U);
}

// --- buffers
// -------------------------------------------------------------------------------------------

using FreeBuffersTest = RunTest;

TEST_F(FreeBuffersTest, GivesEveryBufferBackAndForgetsIt) {
  GetSortMemory(run, 1000);
  run.sort.trainTable.Allocate(100);
  run.isi.sectors.Allocate(100);
  run.scan.scanPtr = run.scan.inputBuffer.Data();
  FreeBuffers(run);
  for (const Buffer* buffer :
       {&run.writer.ioBuffer, &run.scan.inputBuffer, &run.control.commandLine, &run.sort.trainTable,
        &run.sort.sortMemory, &run.isi.sectors}) {
    EXPECT_FALSE(buffer->Allocated());
  }
  EXPECT_EQ(run.scan.scanPtr, nullptr);
  EXPECT_EQ(run.scan.spareArea, nullptr);
  EXPECT_EQ(run.sort.sortMemoryBase, nullptr);
}

TEST_F(FreeBuffersTest, TwiceIsHarmless) {
  FreeBuffers(run);
  FreeBuffers(run);
  EXPECT_FALSE(run.writer.ioBuffer.Allocated());
}

// --- files
// -----------------------------------------------------------------------------------------------

class CleanUpTest : public RunTest {
 protected:
  int OpenIn(const std::string& name) {
    return ::open(scratch.Path(name).c_str(), O_RDWR | O_CREAT, 0600);
  }
  void OpenAll() {
    FileState& files = run.files;
    scratch.Write("data", "records");
    files.inputFd = OpenIn("data");
    files.outputFd = OpenIn("isi");
    files.errorFd = OpenIn("err");
    files.workFd1 = OpenIn("work1");
    files.workFd2 = OpenIn("work2");
    files.dataFileName.Assign(scratch.Path("data"));
    files.outputFileName.Assign(scratch.Path("isi"));
    files.errorFileName.Assign(scratch.Path("err"));
    files.workFileName1.Assign(scratch.Path("work1"));
    files.workFileName2.Assign(scratch.Path("work2"));
  }
  // Notes what is closed and what is removed, by the files' names.
  void Note() {
    names[run.files.inputFd] = "data";
    names[run.files.outputFd] = run.files.outputFd == run.files.inputFd ? "data" : "isi";
    names[run.files.errorFd] = "err";
    names[run.files.workFd1] = "work1";
    names[run.files.workFd2] = "work2";
    calls.Replace<&SystemCalls::close>([this](int fd) {
      steps.push_back("close " + names[fd]);
      return calls.Original().close(fd);
    });
    calls.Replace<&SystemCalls::unlink>([this](const char* path) {
      const std::string text = path;
      steps.push_back("unlink " + text.substr(text.rfind('/') + 1));
      return calls.Original().unlink(path);
    });
  }
  void ExpectAllClosed() {
    const FileState& files = run.files;
    EXPECT_EQ(files.inputFd, kNoFile);
    EXPECT_EQ(files.outputFd, kNoFile);
    EXPECT_EQ(files.workFd1, kNoFile);
    EXPECT_EQ(files.workFd2, kNoFile);
  }

  using Steps = std::vector<std::string>;
  std::map<int, std::string> names;
  Steps steps;
};

TEST_F(CleanUpTest, AtANormalEndRemovesTheWorkFilesOnly) {
  OpenAll();
  Note();
  CleanUp(run, Ending::kNormal);
  EXPECT_EQ(steps, (Steps{"close data", "close isi", "close work1", "unlink work1", "close work2",
                          "unlink work2"}));
  ExpectAllClosed();
  EXPECT_GE(run.files.errorFd, 0);  // the driver closes it
  EXPECT_EQ(run.console.consoleStream, console.Stream());
}

TEST_F(CleanUpTest, AtAnAbortRemovesTheIndexToo) {
  OpenAll();
  Note();
  CleanUp(run, Ending::kAbort);
  EXPECT_EQ(steps, (Steps{"close err", "close data", "close isi", "unlink isi", "close work1",
                          "unlink work1", "close work2", "unlink work2"}));
  ExpectAllClosed();
  EXPECT_EQ(run.files.errorFd, kNoFile);
  EXPECT_TRUE(scratch.Exists("data"));
  EXPECT_TRUE(scratch.Exists("err"));
}

TEST_F(CleanUpTest, AtAnAbortWritesTheErrorLinesThatAreWaiting) {
  OpenAll();
  ASSERT_TRUE(AddErrorLine(run, "one\r\n"));
  CleanUp(run, Ending::kAbort);
  EXPECT_EQ(scratch.Read("err"), "one\r\n");
}

TEST_F(CleanUpTest, AtAnAbortShowsTheLinesThatAreWaiting) {
  ShowLine(run, "one\n");
  CleanUp(run, Ending::kAbort);
  EXPECT_EQ(console.Text(), "one\n");
}

TEST_F(CleanUpTest, AtAnAbortEndsTheOutput) {
  OpenAll();
  CleanUp(run, Ending::kAbort);
  EXPECT_EQ(run.console.consoleStream, nullptr);
}

TEST_F(CleanUpTest, KeepsTheWorkFilesInDebugMode) {
  run.control.debugMode = true;
  OpenAll();
  Note();
  CleanUp(run, Ending::kAbort);
  EXPECT_EQ(steps, (Steps{"close err", "close data", "close isi", "unlink isi", "close work1",
                          "close work2"}));
  ExpectAllClosed();
}

TEST_F(CleanUpTest, AtAnAbortRemovesADataFileOfThisRun) {
  OpenAll();
  scratch.Write("data", "");
  run.files.createdInput = true;
  Note();
  CleanUp(run, Ending::kAbort);
  EXPECT_EQ(steps, (Steps{"close err", "close data", "unlink data", "close isi", "unlink isi",
                          "close work1", "unlink work1", "close work2", "unlink work2"}));
}

TEST_F(CleanUpTest, KeepsADataFileOfThisRunThatIsNoLongerEmpty) {
  OpenAll();
  run.files.createdInput = true;
  CleanUp(run, Ending::kAbort);
  EXPECT_EQ(scratch.Read("data"), "records");
}

TEST_F(CleanUpTest, AtANormalEndKeepsADataFileOfThisRun) {
  OpenAll();
  scratch.Write("data", "");
  run.files.createdInput = true;
  CleanUp(run, Ending::kNormal);
  EXPECT_TRUE(scratch.Exists("data"));
}

TEST_F(CleanUpTest, KeepsAnEmptyDataFileOfTheUser) {
  OpenAll();
  scratch.Write("data", "");
  CleanUp(run, Ending::kAbort);
  EXPECT_TRUE(scratch.Exists("data"));
}

TEST_F(CleanUpTest, RemovesNoIndexWithoutAName) {
  OpenAll();
  run.files.outputFileName.Clear();
  CleanUp(run, Ending::kAbort);
  EXPECT_TRUE(scratch.Exists("isi"));
}

TEST_F(CleanUpTest, RemovesNoIndexThatWasNotOpened) {
  OpenAll();
  ::close(run.files.outputFd);
  run.files.outputFd = kNoFile;
  CleanUp(run, Ending::kAbort);
  EXPECT_TRUE(scratch.Exists("isi"));
}

TEST_F(CleanUpTest, ClosesADescriptorSharedByACompactionOnce) {
  OpenAll();
  ::close(run.files.outputFd);
  run.files.outputFd = run.files.inputFd;
  run.files.outputFileName = run.files.dataFileName;
  run.options.compactFlags = 1;
  Note();
  CleanUp(run, Ending::kAbort);
  EXPECT_EQ(steps, (Steps{"close err", "close data", "close work1", "unlink work1", "close work2",
                          "unlink work2"}));
  EXPECT_EQ(scratch.Read("data"), "records");
  ExpectAllClosed();
}

TEST_F(CleanUpTest, ClosesNothingTwice) {
  OpenAll();
  CleanUp(run, Ending::kNormal);
  Note();
  CleanUp(run, Ending::kNormal);
  EXPECT_EQ(steps, Steps{});
}

TEST_F(CleanUpTest, RemovesNoIndexAfterANormalEnd) {
  OpenAll();
  CleanUp(run, Ending::kNormal);
  CleanUp(run, Ending::kAbort);
  EXPECT_TRUE(scratch.Exists("isi"));
}

TEST_F(CleanUpTest, IgnoresFailures) {
  OpenAll();
  calls.Replace<&SystemCalls::close>([this](int fd) {
    calls.Original().close(fd);
    errno = EIO;
    return -1;
  });
  calls.FailFrom<&SystemCalls::unlink>(1, EPERM);
  CleanUp(run, Ending::kAbort);
  ExpectAllClosed();
  EXPECT_EQ(console.Text(), "");
}

TEST_F(CleanUpTest, CopiesTheNameOfWhatItRemoves) {
  OpenAll();
  CleanUp(run, Ending::kAbort);
  EXPECT_EQ(run.files.lastOpenPath.View(), scratch.Path("isi"));
}

// --- the log
// ---------------------------------------------------------------------------------------------

using CloseLogTest = RunTest;

TEST_F(CloseLogTest, LeavesTheConsoleOpen) {
  CloseLog(run);
  EXPECT_EQ(run.console.consoleStream, nullptr);
  EXPECT_EQ(run.console.consoleFd, kNoFile);
  EXPECT_NE(::fcntl(console.Descriptor(), F_GETFD), -1);
}

TEST_F(CloseLogTest, ClosesALog) {
  std::FILE* log = std::fopen(scratch.Path("log").c_str(), "w");
  const int fd = ::fileno(log);
  std::fputs("waiting", log);
  run.console.consoleStream = log;
  run.console.logOpened = true;
  CloseLog(run);
  EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
  EXPECT_EQ(scratch.Read("log"), "waiting");
  EXPECT_EQ(run.console.consoleStream, nullptr);
}

TEST_F(CloseLogTest, FlushesTheConsole) {
  std::setvbuf(console.Stream(), nullptr, _IOFBF, 4096);
  std::fputs("waiting", console.Stream());
  CloseLog(run);
  char bytes[16] = {};
  EXPECT_EQ(::pread(console.Descriptor(), bytes, sizeof bytes, 0), 7);
}

TEST_F(CloseLogTest, LetsNothingBePrintedBehindIt) {
  CloseLog(run);
  ShowMessage(run, "lost");
  CloseLog(run);
  EXPECT_EQ(console.Text(), "");
}

// --- the interrupt
// ---------------------------------------------------------------------------------------

constexpr char kInterruptText[] = "Processing aborted via user interrupt.\n";

class OnInterruptTest : public CleanUpTest {
 protected:
  // The child's own files are open when the signal comes.
  int Interrupt(int signal) {
    return RunInChild([&] {
      InstallInterruptHandler();
      ::raise(signal);
    });
  }
};

TEST_F(OnInterruptTest, SaysSoCleansUpAndEndsWithStatusOne) {
  OpenAll();
  EXPECT_EQ(Interrupt(SIGINT), 1);
  EXPECT_EQ(console.Text(), kInterruptText);
  for (const char* name : {"isi", "work1", "work2"}) EXPECT_FALSE(scratch.Exists(name)) << name;
  EXPECT_EQ(scratch.Read("data"), "records");
}

TEST_F(OnInterruptTest, TakesTheOtherEndingSignalsToo) {
  for (const int signal : {SIGTERM, SIGHUP}) {
    OpenAll();
    EXPECT_EQ(Interrupt(signal), 1) << signal;
    EXPECT_EQ(console.Take(), kInterruptText) << signal;
    EXPECT_FALSE(scratch.Exists("isi")) << signal;
    for (int* fd : {&run.files.inputFd, &run.files.outputFd, &run.files.errorFd, &run.files.workFd1,
                    &run.files.workFd2}) {
      ::close(std::exchange(*fd, kNoFile));
    }
  }
}

TEST_F(OnInterruptTest, LeavesAnIgnoredHangUpIgnored) {
  OpenAll();
  const int status = RunInChild([] {
    ::signal(SIGHUP, SIG_IGN);
    InstallInterruptHandler();
    ::raise(SIGHUP);
  });
  EXPECT_EQ(status, kBodyReturned);
  EXPECT_TRUE(scratch.Exists("isi"));
}

TEST_F(OnInterruptTest, ShowsTheLinesThatAreWaitingFirst) {
  OpenAll();
  ShowLine(run, "one\n");
  EXPECT_EQ(Interrupt(SIGINT), 1);
  EXPECT_EQ(console.Text(), std::string("one\n") + kInterruptText);
}

TEST_F(OnInterruptTest, WritesTheErrorLinesThatAreWaiting) {
  OpenAll();
  ASSERT_TRUE(AddErrorLine(run, "one\r\n"));
  EXPECT_EQ(Interrupt(SIGTERM), 1);
  EXPECT_EQ(scratch.Read("err"), "one\r\n");
}

TEST_F(OnInterruptTest, KeepsTheWorkFilesInDebugMode) {
  run.control.debugMode = true;
  OpenAll();
  EXPECT_EQ(Interrupt(SIGINT), 1);
  EXPECT_FALSE(scratch.Exists("isi"));
  EXPECT_TRUE(scratch.Exists("work1"));
  EXPECT_TRUE(scratch.Exists("work2"));
}

TEST_F(OnInterruptTest, RemovesADataFileOfThisRun) {
  OpenAll();
  scratch.Write("data", "");
  run.files.createdInput = true;
  EXPECT_EQ(Interrupt(SIGINT), 1);
  EXPECT_FALSE(scratch.Exists("data"));
}

TEST_F(OnInterruptTest, NeverRemovesAnIsiThatIsCompactedInPlace) {
  OpenAll();
  ::close(run.files.outputFd);
  run.files.outputFd = run.files.inputFd;
  run.files.outputFileName = run.files.dataFileName;
  run.options.compactFlags = 1;
  EXPECT_EQ(Interrupt(SIGINT), 1);
  EXPECT_EQ(scratch.Read("data"), "records");
}

TEST_F(OnInterruptTest, WritesToTheLog) {
  OpenAll();
  const int log = OpenIn("log");
  run.console.consoleFd = log;
  run.console.logOpened = true;
  EXPECT_EQ(Interrupt(SIGINT), 1);
  EXPECT_EQ(scratch.Read("log"), kInterruptText);
  ::close(log);
}

TEST_F(OnInterruptTest, PrintsNothingBehindTheLogsEnd) {
  CloseLog(run);
  EXPECT_EQ(Interrupt(SIGINT), 1);
  EXPECT_EQ(console.Text(), "");
}

}  // namespace
}  // namespace tavindex::test
