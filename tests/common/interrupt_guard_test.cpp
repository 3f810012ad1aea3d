#include "common/interrupt_guard.h"

#include <gtest/gtest.h>

namespace tavindex::test {
namespace {

bool IsBlocked(int signal) {
  sigset_t mask;
  sigprocmask(SIG_BLOCK, nullptr, &mask);
  return sigismember(&mask, signal) == 1;
}

volatile sig_atomic_t delivered = 0;

TEST(InterruptGuard, BlocksTheEndingSignals) {
  {
    const InterruptGuard guard;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) EXPECT_TRUE(IsBlocked(signal)) << signal;
    EXPECT_FALSE(IsBlocked(SIGALRM));
  }
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) EXPECT_FALSE(IsBlocked(signal)) << signal;
}

TEST(InterruptGuard, InnerOneLeavesTheOuterInForce) {
  const InterruptGuard outer;
  { const InterruptGuard inner; }
  EXPECT_TRUE(IsBlocked(SIGINT));
}

TEST(InterruptGuard, DeliversASignalThatCameMeanwhile) {
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) { delivered = 1; };
  sigaction(SIGINT, &action, &before);
  delivered = 0;
  {
    const InterruptGuard guard;
    raise(SIGINT);
    EXPECT_EQ(delivered, 0);
  }
  EXPECT_EQ(delivered, 1);
  sigaction(SIGINT, &before, nullptr);
}

}  // namespace
}  // namespace tavindex::test
