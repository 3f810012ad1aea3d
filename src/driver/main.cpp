// The program entry.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "common/run_context.h"
#include "driver/clean_up.h"
#include "driver/run_driver.h"

namespace {

// Descriptors 0 to 2 that are closed would be given to the first files opened, and messages would
// go into the user's data.
void ReserveStandardDescriptors() {
  int fd = 0;
  do {
    fd = ::open("/dev/null", O_RDWR);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  if (fd >= 0) ::close(fd);
}

// A console that goes away, or a file that may not grow, is a failed write and nothing more.
void IgnoreWriteSignals() {
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace

int main(int argc, char** argv) {
  static tavindex::RunContext context;
  ReserveStandardDescriptors();
  IgnoreWriteSignals();
  tavindex::runContext = &context;
  tavindex::InstallInterruptHandler();
  const tavindex::Result result = tavindex::RunDriver(argc, argv, nullptr, 0, stdout, false);
  return result == tavindex::kOk ? EXIT_SUCCESS : EXIT_FAILURE;
}
