#include "driver/clean_up.h"

#include <signal.h>
#include <unistd.h>

#include <string_view>

#include "common/console.h"
#include "common/file.h"
#include "common/interrupt_guard.h"
#include "isi/error_lines.h"

namespace tavindex {

namespace {

constexpr std::int32_t kSmallestHalf = 8192;
constexpr int kInterruptedStatus = 1;

// A file that was made by this run and is still empty goes again when the run fails.
void RemoveCreatedInput(FileState& files, bool stillEmpty) {
  if (!files.createdInput || !stillEmpty) return;
  files.lastOpenPath = files.dataFileName;
  RemoveFile(files.lastOpenPath.CStr());
}

void CloseInput(RunContext& run, Ending ending) {
  FileState& files = run.files;
  if (files.inputFd < 0) return;
  struct stat status;
  const bool empty = StatFile(files.inputFd, status) && status.st_size == 0;
  if (run.options.CompactRun() && files.outputFd == files.inputFd) files.outputFd = kNoFile;
  CloseFile(files.inputFd);
  if (ending == Ending::kAbort) RemoveCreatedInput(files, empty);
}

void CloseOutput(RunContext& run, Ending ending) {
  FileState& files = run.files;
  if (files.outputFd < 0) return;
  CloseFile(files.outputFd);
  if (ending != Ending::kAbort || files.outputFileName.Empty()) return;
  files.lastOpenPath = files.outputFileName;
  RemoveFile(files.lastOpenPath.CStr());
}

void CloseWorkFile(const RunContext& run, int& fd, const WorkName& name) {
  if (fd < 0) return;
  CloseFile(fd);
  if (!run.control.debugMode) RemoveFile(name.CStr());
}

// The descriptors and files of the run; safe in a signal handler.
void CloseFiles(RunContext& run, Ending ending) {
  if (ending == Ending::kAbort) {
    FlushErrorLines(run);
    CloseFile(run.files.errorFd);
  }
  CloseInput(run, ending);
  CloseOutput(run, ending);
  CloseWorkFile(run, run.files.workFd1, run.files.workFileName1);
  CloseWorkFile(run, run.files.workFd2, run.files.workFileName2);
}

// Safe in a signal handler. A text that cannot be shown within a second is dropped: nobody reads
// it, and the files of the run must go. False then.
bool ShowAtEnd(int fd, std::string_view text) {
  constexpr int kPatience = 1000;  // milliseconds
  if (!WaitForRoom(fd, kPatience)) return false;
  return ::write(fd, text.data(), text.size()) >= 0;
}

// A backup that is not complete protects nothing, and its name would refuse the next run; the ISI
// is untouched then. A complete one stays: it is the good copy.
void RemovePartialBackup(RunContext& run) {
  const bool partial = (run.options.compactFlags & kBackupMade) == 0;
  if (run.compact.backupFd < 0 || !partial) return;
  CloseFile(run.compact.backupFd);
  RemoveFile(run.compact.backupName.CStr());
}

}  // namespace

std::uint32_t GetSortMemory(RunContext& run, std::uint32_t size) {
  while (!run.sort.sortMemory.Allocate(size)) {
    // The half is signed: a request of 2 GiB or more has a negative one, and is not tried again.
    const std::int32_t half = static_cast<std::int32_t>(size) >> 1;
    if (half < kSmallestHalf) return 0;
    size = static_cast<std::uint32_t>(half);
  }
  run.sort.sortMemoryBase = run.sort.sortMemory.Data();
  return size;
}

void FreeBuffers(RunContext& run) {
  for (Buffer* buffer :
       {&run.writer.ioBuffer, &run.scan.inputBuffer, &run.control.commandLine, &run.sort.trainTable,
        &run.sort.sortMemory, &run.sort.prefixMemory, &run.isi.sectors}) {
    buffer->Free();
  }
  run.scan.scanPtr = nullptr;
  run.scan.spareArea = nullptr;
  run.sort.sortMemoryBase = nullptr;
}

void CleanUp(RunContext& run, Ending ending) {
  const InterruptGuard guard;
  if (ending == Ending::kAbort) CloseLog(run);
  CloseFiles(run, ending);
}

void CloseLog(RunContext& run) {
  ConsoleState& console = run.console;
  if (console.consoleStream == nullptr) return;
  FlushLines(run);
  std::fflush(console.consoleStream);
  if (console.logOpened) std::fclose(console.consoleStream);
  console.consoleStream = nullptr;
  console.consoleFd = kNoFile;
  console.logOpened = false;
}

void InstallInterruptHandler() {
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  action.sa_mask = EndingSignals();
  sigaction(SIGINT, &action, nullptr);
  for (const int signal : {SIGTERM, SIGHUP}) {
    struct sigaction before {};
    if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
      sigaction(signal, &action, nullptr);
    }
  }
}

void OnInterrupt(int /*signal*/) {
  RunContext& run = *runContext;
  const ConsoleState& console = run.console;
  if (ShowAtEnd(console.consoleFd, console.waiting.Text())) {
    ShowAtEnd(console.consoleFd, "Processing aborted via user interrupt.\n");
  }
  CloseFiles(run, Ending::kAbort);
  RemovePartialBackup(run);
  ::_exit(kInterruptedStatus);
}

}  // namespace tavindex
