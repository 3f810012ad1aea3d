// Compactions that are killed or interrupted at every call they make to the system, each in a
// process of its own: the old content is always there whole, in the ISI or in its backup.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

#include "lock_holder.h"
#include "program_test.h"
#include "signal_at_call.h"

namespace tavindex::test {
namespace {

struct Ended {
  bool bySignal = false;
  int status = 0;  // exit status or signal
  std::string text;
};

class Killed : public ProgramTest {
 protected:
  Killed() {
    tree_ = MakeTree({.entries = 200, .deleted = 300, .freedSectors = 3});
    inPlace_ = TextOf(ExpectedCompaction(tree_, "data,old -1-4"));
    copied_ = TextOf(ExpectedCompaction(tree_, "data,new -1-4"));
  }

  void PutFiles() const {
    ProgramTest::PutFiles({{"old.ISI", TextOf(tree_.image)}, {"data.TXT", "not looked at"}});
  }

  // Starts the run in a process of its own, with the program's handlers; `prepare` may change its
  // calls to the system.
  pid_t Start(
      const std::vector<std::string>& arguments, const ConsoleCapture& console,
      void (*prepare)() = [] {}) {
    const pid_t child = ::fork();
    if (child != 0) return child;
    CountEveryCall();
    prepare();
    RunInterruptible(arguments, console.Stream());
  }
  static Ended WaitFor(pid_t child, const ConsoleCapture& console) {
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) return {true, WTERMSIG(status), console.Text()};
    return {false, WEXITSTATUS(status), console.Text()};
  }
  // The run has got so far that this was printed; gives up after ten seconds.
  static void WaitForText(const ConsoleCapture& console, const std::string& text) {
    for (int i = 0; i < 1000 && console.Text().find(text) == std::string::npos; ++i) {
      ::usleep(10000);
    }
  }
  Ended RunWith(const SignalAtCall& signal, const std::vector<std::string>& arguments) {
    PutFiles();
    signalPlan = signal;
    const ConsoleCapture console;
    return WaitFor(Start(arguments, console), console);
  }

  bool OldContentIsWhole() const {
    const std::string old = TextOf(tree_.image);
    return scratch.Read("old.ISI") == old || scratch.Read("old.ISI.bak") == old;
  }
  bool NoWorkFileIsLeft() const { return std::filesystem::is_empty(scratch.Path("tmp")); }

  MadeTree tree_;
  std::string inPlace_;
  std::string copied_;
};

// At every call, before it and (for writes) in the middle of it.
TEST_F(Killed, OldContentOutlivesAKill) {
  int points = 0;
  for (const bool torn : {false, true}) {
    for (int at = 1;; ++at, ++points) {
      const Ended run = RunWith({.signal = SIGKILL, .at = at, .torn = torn}, {"old", "-c"});
      const bool complete = scratch.Read("old.ISI") == inPlace_;
      ASSERT_TRUE(OldContentIsWhole() || complete) << "call " << at;
      if (run.bySignal) continue;
      EXPECT_EQ(run.status, 0) << run.text;
      EXPECT_TRUE(complete);
      break;
    }
  }
  std::printf("%d kill points\n", points);
}

// The handler leaves the ISI alone, and its backup when that is whole.
TEST_F(Killed, OldContentOutlivesAnInterrupt) {
  int points = 0;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    for (int at = 1;; ++at, ++points) {
      const Ended run = RunWith({.signal = signal, .at = at}, {"old", "-c"});
      ASSERT_FALSE(run.bySignal) << "call " << at;
      ASSERT_TRUE(NoWorkFileIsLeft()) << "call " << at;
      const bool complete = scratch.Read("old.ISI") == inPlace_;
      ASSERT_TRUE(OldContentIsWhole() || complete) << "call " << at << run.text;
      ASSERT_TRUE(!scratch.Exists("old.ISI.bak") ||
                  scratch.Read("old.ISI.bak") == TextOf(tree_.image))
          << "call " << at;
      if (run.status != 0) continue;
      EXPECT_TRUE(complete);
      EXPECT_FALSE(scratch.Exists("old.ISI.bak"));
      break;
    }
  }
  std::printf("%d interrupt points\n", points);
}

TEST_F(Killed, InterruptedCopyIsRemoved) {
  int points = 0;
  for (int at = 1;; ++at, ++points) {
    const Ended run = RunWith({.signal = SIGINT, .at = at}, {"old,new", "-c"});
    ASSERT_FALSE(run.bySignal) << "call " << at;
    ASSERT_TRUE(NoWorkFileIsLeft()) << "call " << at;
    ASSERT_TRUE(scratch.Read("old.ISI") == TextOf(tree_.image)) << "call " << at;
    // One that came when the copy was closed leaves it: it is complete.
    ASSERT_TRUE(!scratch.Exists("new.ISI") || scratch.Read("new.ISI") == copied_) << "call " << at;
    if (run.status == 0) break;
    ASSERT_TRUE(run.text.ends_with("Processing aborted via user interrupt.\n")) << run.text;
  }
  EXPECT_TRUE(scratch.Read("new.ISI") == copied_);
  std::printf("%d interrupt points\n", points);
}

TEST_F(Killed, WaitForTheRangeLockCanBeInterrupted) {
  for (const std::string names : {"old,new", "old"}) {
    PutFiles();
    const LockHolder writer(scratch.Path("data.TXT"), F_WRLCK, kRangeLockBytes, 2);
    ASSERT_TRUE(writer.Held());
    signalPlan = {};
    const ConsoleCapture console;
    const pid_t child = Start({names, "-c"}, console);
    WaitForText(console, "Compacting");
    ::usleep(200000);
    ASSERT_EQ(::waitpid(child, nullptr, WNOHANG), 0) << "the run did not wait: " << console.Text();
    ::kill(child, SIGINT);
    const Ended run = WaitFor(child, console);
    EXPECT_FALSE(run.bySignal);
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.text.ends_with("Processing aborted via user interrupt.\n")) << run.text;
    EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT", "old.ISI"}));
    EXPECT_TRUE(scratch.Read("old.ISI") == TextOf(tree_.image));
  }
}

}  // namespace
}  // namespace tavindex::test
