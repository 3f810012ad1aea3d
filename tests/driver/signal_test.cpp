// Runs that are interrupted at any moment: a build of several trains and merge passes, a rebuild, a
// compaction in place and one into a new file. Every one says so and ends with status 1, leaves no
// work file, and no index but the old one or the complete new one. A run that was over before the
// signal came is complete.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "common/wait_for_room.h"
#include "program_process.h"
#include "program_test.h"
#include "sample_commands.h"
#include "signal_at_call.h"

namespace tavindex::test {
namespace {

constexpr const char* kInterrupted = "Processing aborted via user interrupt.\n";

const std::vector<int> kSignals = {SIGINT, SIGTERM, SIGHUP};

bool EndsWithTimes(const std::string& text) {
  const std::size_t last = text.rfind("Start time = ");
  return last != std::string::npos && text.find("Elapsed time = ", last) != std::string::npos;
}

struct Tally {
  int early = 0;
  int interrupted = 0;
  int finished = 0;

  void Print() const {
    std::printf("%d signals: %d before the run began, %d in it, %d behind it\n",
                early + interrupted + finished, early, interrupted, finished);
  }
};

class Signals : public ProgramTest, public ::testing::WithParamInterface<SampleCommand> {
 protected:
  // How the process ended, with a wait status, and what it printed.
  void Judge(int status, const std::string& text) {
    if (text.empty()) {
      // Before the program had its handlers, or its console: nothing had begun.
      ++tally_.early;
      EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 1);
      EXPECT_TRUE(ReadFiles() == Command().start);
      return;
    }
    ASSERT_FALSE(WIFSIGNALED(status)) << text;
    const bool over = EndsWithTimes(text);
    ++(over ? tally_.finished : tally_.interrupted);
    if (WEXITSTATUS(status) == 0) {
      EXPECT_TRUE(over) << text;
    } else {
      EXPECT_EQ(WEXITSTATUS(status), 1);
      EXPECT_TRUE(over || text.ends_with(kInterrupted)) << text;
    }
    ExpectFiles(over);
  }

  static const SampleCommand& Command() { return GetParam(); }

  Tally tally_;

 private:
  void ExpectFiles(bool over) const {
    SampleFiles files = ReadFiles();
    const SampleCommand& command = Command();
    if (over) {
      EXPECT_TRUE(files == command.complete);
      return;
    }
    ExpectNothingLost(files);
    // Besides the output and its backup there is what was there before, and nothing else.
    SampleFiles before = command.start;
    for (const std::string& name : {command.output, command.output + ".bak"}) {
      files.erase(name);
      before.erase(name);
    }
    EXPECT_TRUE(files == before);
  }

  // The output is gone, the old one or complete. One that is compacted in place may be anything
  // while its backup is whole; a backup that is there is.
  void ExpectNothingLost(const SampleFiles& files) const {
    const SampleCommand& command = Command();
    const auto backup = files.find(command.output + ".bak");
    if (backup != files.end()) {
      EXPECT_TRUE(command.inPlace && backup->second == command.start.at(command.output));
      return;
    }
    const auto output = files.find(command.output);
    if (output == files.end()) {
      EXPECT_FALSE(command.inPlace);
      return;
    }
    const auto old = command.start.find(command.output);
    EXPECT_TRUE(output->second == command.complete.at(command.output) ||
                (old != command.start.end() && output->second == old->second));
  }
};

// ---- The program, at moments of its time -------------------------------------------------------

class SignalInTime : public Signals {
 protected:
  using Clock = std::chrono::steady_clock;

  // How long an undisturbed run takes: the middle one of some.
  Clock::duration Measure() {
    std::vector<Clock::duration> times;
    for (int i = 0; i < 5; ++i) {
      PutFiles(Command().start);
      const auto start = Clock::now();
      ProgramProcess process(Command().arguments, scratch.Path());
      EXPECT_EQ(process.Wait(), 0) << process.Text();
      times.push_back(Clock::now() - start);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
  }
  void Signal(int signal, Clock::duration moment) {
    PutFiles(Command().start);
    ProgramProcess process(Command().arguments, scratch.Path());
    ::usleep(static_cast<useconds_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(moment).count()));
    process.Send(signal);
    const int status = process.Wait();
    Judge(status, process.Text());
  }
};

TEST_P(SignalInTime, EndsTheRunCleanly) {
  constexpr int kRuns = 65;
  std::mt19937 random(7);
  const Clock::duration whole = Measure();
  for (int i = 0; i < kRuns && !HasFailure(); ++i) {
    const auto share = static_cast<Clock::rep>(random() % 1000);
    SCOPED_TRACE("at " + std::to_string(share) + " thousandths of the time");
    Signal(kSignals[static_cast<std::size_t>(i) % kSignals.size()], whole * share / 1000);
  }
  tally_.Print();
  EXPECT_GT(tally_.interrupted, 0);
}

INSTANTIATE_TEST_SUITE_P(Long, SignalInTime, ::testing::ValuesIn(SampleCommands(SampleSize::kLong)),
                         ::testing::PrintToStringParamName());

// ---- At the calls that a run makes -------------------------------------------------------------

class SignalAtCalls : public Signals {
 protected:
  // False when the run made fewer calls.
  bool Signal(const SignalAtCall& signal) {
    SCOPED_TRACE("call " + std::to_string(signal.at) + (signal.behind ? ", behind it" : ""));
    PutFiles(Command().start);
    signalPlan = signal;
    const ConsoleCapture console;
    const pid_t child = ::fork();
    if (child == 0) {
      CountEveryCall();
      RunInterruptible(Command().arguments, console.Stream());
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_FALSE(WIFSIGNALED(status));
    Judge(status, console.Text());
    return WEXITSTATUS(status) != 0 && !HasFailure();
  }
  int CallsOfARun() {
    PutFiles(Command().start);
    const ConsoleCapture console;
    int made[2];
    if (::pipe(made) != 0) return 0;
    const pid_t child = ::fork();
    if (child == 0) CountAndTell(made[1], console);
    int count = 0;
    EXPECT_EQ(::read(made[0], &count, sizeof count), static_cast<ssize_t>(sizeof count));
    EXPECT_EQ(::waitpid(child, nullptr, 0), child);
    ::close(made[0]);
    ::close(made[1]);
    return count;
  }

 private:
  [[noreturn]] void CountAndTell(int pipe, const ConsoleCapture& console) const {
    signalPlan = {};
    CountEveryCall();
    RunTavindex(Command().arguments, console.Stream());
    const bool told = ::write(pipe, &signalPlan.calls, sizeof signalPlan.calls) > 0;
    ::_exit(told ? 0 : 1);
  }
};

TEST_P(SignalAtCalls, ByChanceEndsTheRunCleanly) {
  constexpr int kRuns = 60;
  std::mt19937 random(11);
  const int ofARun = CallsOfARun();
  ASSERT_GT(ofARun, 20);
  for (int i = 0; i < kRuns && !HasFailure(); ++i) {
    const int at = 1 + static_cast<int>(random() % static_cast<unsigned>(ofARun));
    Signal({.signal = kSignals[static_cast<std::size_t>(i) % kSignals.size()],
            .at = at,
            .behind = random() % 2 == 0});
  }
  tally_.Print();
  EXPECT_GT(tally_.interrupted, 0);
}

INSTANTIATE_TEST_SUITE_P(Short, SignalAtCalls,
                         ::testing::ValuesIn(SampleCommands(SampleSize::kShort)),
                         ::testing::PrintToStringParamName());

class SignalAtEveryCall : public SignalAtCalls {};

TEST_P(SignalAtEveryCall, EndsTheRunCleanly) {
  for (const bool behind : {false, true}) {
    int at = 1;
    while (Signal({.signal = kSignals[static_cast<std::size_t>(at) % kSignals.size()],
                   .at = at,
                   .behind = behind})) {
      ++at;
    }
  }
  tally_.Print();
  EXPECT_GE(tally_.finished, 2);
}

INSTANTIATE_TEST_SUITE_P(Many, SignalAtEveryCall,
                         ::testing::ValuesIn(SampleCommands(SampleSize::kShort)),
                         ::testing::PrintToStringParamName());

// ---- At a console that nobody reads ------------------------------------------------------------

class UnreadConsole : public ProgramTest {
 protected:
  UnreadConsole() { EXPECT_EQ(::pipe(pipe_), 0); }
  ~UnreadConsole() override {
    ::close(pipe_[0]);
    ::close(pipe_[1]);
  }

  // Runs with its output into the pipe until it waits there, and sends it a signal.
  int SignalWhileItWaits(const std::vector<std::string>& arguments, int signal) {
    ProgramProcess process(arguments, scratch.Path(), [this] { ::dup2(pipe_[1], STDOUT_FILENO); });
    WaitUntilFull();
    process.Send(signal);
    ::alarm(20);  // ends the test if the run does not end
    const int status = process.Wait();
    ::alarm(0);
    return status;
  }
  void Fill() const {
    const std::string filling(static_cast<std::size_t>(::fcntl(pipe_[1], F_GETPIPE_SZ)), '.');
    ASSERT_EQ(::write(pipe_[1], filling.data(), filling.size()), std::ssize(filling));
  }
  static void ExpectFailed(int status) {
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 1);
  }

 private:
  // Nothing more came for a while, and there is no room for more.
  void WaitUntilFull() const {
    int before = -1;
    for (int now = 0; now != before || WaitForRoom(pipe_[1], 0);) {
      before = now;
      ::usleep(100000);
      ::ioctl(pipe_[0], FIONREAD, &now);
    }
  }

  int pipe_[2] = {-1, -1};
};

class UnreadLines : public UnreadConsole, public ::testing::WithParamInterface<int> {};

// What it listed so far are whole lines.
TEST_P(UnreadLines, AreNoReasonToStay) {
  std::string data;
  for (int i = 0; i < 20000; ++i) data += "aaaa\n";
  PutFiles({{"data.TXT", data}});
  ExpectFailed(SignalWhileItWaits({"data,new", "-n0,1-4"}, GetParam()));
  EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT", "new.ERR"}));
  EXPECT_EQ(scratch.Read("data.TXT"), data);
  const std::string line = "Duplicate Key ignored at:               5 Key:aaaa \r\n";
  const std::string listed = scratch.Read("new.ERR");
  EXPECT_TRUE(listed.starts_with(line));
  EXPECT_EQ(listed.size() % line.size(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Signals, UnreadLines, ::testing::ValuesIn(kSignals));

TEST_F(UnreadConsole, IsNoReasonToStayBeforeTheFirstMessage) {
  PutFiles({{"data.TXT", "aaaa\n"}});
  Fill();
  ExpectFailed(SignalWhileItWaits({"data,new", "-1-4"}, SIGTERM));
  EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT"}));
}

}  // namespace
}  // namespace tavindex::test
