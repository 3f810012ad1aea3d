// Holds back the signals that end a run (SIGINT, SIGTERM, SIGHUP) while a file is created and its
// name and descriptor are recorded, so that the clean-up always knows every file of the run.
#pragma once

#include <signal.h>

namespace tavindex {

inline sigset_t EndingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGHUP);
  return signals;
}

class InterruptGuard {
 public:
  InterruptGuard() {
    const sigset_t signals = EndingSignals();
    sigprocmask(SIG_BLOCK, &signals, &before_);
  }
  ~InterruptGuard() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

 private:
  sigset_t before_;
};

}  // namespace tavindex
