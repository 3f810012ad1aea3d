// Runs a body in a child process and tells how it ended: for what ends the process.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tavindex::test {

inline constexpr int kBodyReturned = 99;

// The exit status of the child, kBodyReturned when the body came to its end, or the negative
// number of the signal that killed it.
template <typename Body>
int RunInChild(Body body) {
  const pid_t child = ::fork();
  if (child == 0) {
    body();
    ::_exit(kBodyReturned);
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace tavindex::test
