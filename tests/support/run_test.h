// The fixture of tests that need a work area: one with its defaults, its buffers allocated, index
// mode selected and the console captured, in a scratch directory (not the current one) and an
// environment that says nothing. Descriptors that a test leaves open are closed at its end.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "common/run_context.h"
#include "driver/run_driver.h"
#include "support/console_capture.h"
#include "support/environment_guard.h"
#include "support/scratch_directory.h"
#include "support/system_calls_guard.h"

namespace tavindex::test {

// A text as the bytes of a file or record.
inline std::span<const std::uint8_t> AsBytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}
inline std::string AsText(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

class RunTest : public ::testing::Test {
 protected:
  RunTest() : owned_(std::make_unique<RunContext>()), run(*owned_) {
    before_ = runContext;
    runContext = &run;
    SetDefaults(run);
    run.control.indexMode = true;
    run.control.commandWord = "INDEX";
    run.console.consoleStream = console.Stream();
    run.console.consoleFd = console.Descriptor();
    run.console.progressOn = false;
    run.names.dataExtension.Assign(".TXT");
    run.names.indexExtension.Assign(".ISI");
    AllocateBuffers();
  }
  ~RunTest() override {
    const FileState& files = run.files;
    for (const int fd : {files.inputFd, files.outputFd, files.errorFd, files.workFd1, files.workFd2,
                         files.lockFd}) {
      if (fd >= 0) ::close(fd);  // not through the table, which a test may have replaced
    }
    runContext = before_;
  }

  // As the driver does it before the set-up.
  void AllocateBuffers() {
    run.writer.ioBuffer.Allocate(kIoBufferSize);
    run.scan.inputBuffer.AllocateZeroed(kInputBufferSize);
    run.scan.spareArea = run.scan.inputBuffer.Data() + kSpareAreaOffset;
    run.control.commandLine.AllocateZeroed(kCommandLineSize);
  }
  std::string Message() const { return run.console.messageBuffer.data(); }

  EnvironmentGuard environment;
  ScratchDirectory scratch;
  ConsoleCapture console;
  SystemCallsGuard calls;

 private:
  std::unique_ptr<RunContext> owned_;
  RunContext* before_ = nullptr;

 protected:
  RunContext& run;
};

}  // namespace tavindex::test
