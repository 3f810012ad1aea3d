// A signal that comes at one of the calls that a run makes to the system: before it, in the middle
// of a write, or behind it, when the system has done it and the program does not know yet.

#ifndef TESTS_COMPACT_SIGNAL_AT_CALL_H_
#define TESTS_COMPACT_SIGNAL_AT_CALL_H_

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <type_traits>
#include <vector>

#include "common/system_calls.h"
#include "driver/clean_up.h"
#include "driver/run_driver.h"

namespace tavindex::test {

struct SignalAtCall {
  int signal = 0;
  int at = 0;           // counted from 1
  bool torn = false;    // a write does its first half before
  bool behind = false;  // the call is made first
  int calls = 0;

  void Count() {
    if (++calls == at && !behind) ::raise(signal);
  }
  void Counted() const {
    if (calls == at && behind) ::raise(signal);
  }
};

inline SignalAtCall signalPlan;
inline SystemCalls signalOriginal;

template <auto kMember,
          typename Function = std::remove_reference_t<decltype(signalOriginal.*kMember)>>
struct CountedCall;

template <auto kMember, typename R, typename... Arguments>
struct CountedCall<kMember, R (*)(Arguments...)> {
  static R Call(Arguments... arguments) {
    signalPlan.Count();
    const R result = (signalOriginal.*kMember)(arguments...);
    signalPlan.Counted();
    return result;
  }
};

inline ssize_t CountedWrite(int fd, const void* bytes, std::size_t count) {
  const bool torn = signalPlan.torn && signalPlan.calls + 1 == signalPlan.at;
  if (torn) signalOriginal.write(fd, bytes, count / 2);
  return CountedCall<&SystemCalls::write>::Call(fd, bytes, count);
}

// Nothing of a test must outlive a power cut, and syncing is slow.
inline int CountedSync(int) {
  signalPlan.Count();
  signalPlan.Counted();
  return 0;
}

template <auto... kMembers>
void CountCalls() {
  ((systemCalls.*kMembers = CountedCall<kMembers>::Call), ...);
}

// Makes every call that touches files go through the counter.
inline void CountEveryCall() {
  signalOriginal = systemCalls;
  CountCalls<&SystemCalls::open, &SystemCalls::close, &SystemCalls::read, &SystemCalls::lseek,
             &SystemCalls::ftruncate, &SystemCalls::unlink, &SystemCalls::mkstemp,
             &SystemCalls::stat, &SystemCalls::fstat, &SystemCalls::lock>();
  systemCalls.write = CountedWrite;
  systemCalls.fsync = CountedSync;
}

// Runs "tavindex" with these arguments.
inline Result RunTavindex(std::vector<std::string> arguments, std::FILE* console) {
  arguments.insert(arguments.begin(), "tavindex");
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  return RunDriver(static_cast<int>(argv.size()), argv.data(), nullptr, 0, console, false);
}

// What a process of its own does: a run with the program's handlers.
[[noreturn]] inline void RunInterruptible(const std::vector<std::string>& arguments,
                                          std::FILE* console) {
  InstallInterruptHandler();
  ::_exit(RunTavindex(arguments, console) == kOk ? 0 : 1);
}

}  // namespace tavindex::test

#endif  // TESTS_COMPACT_SIGNAL_AT_CALL_H_
