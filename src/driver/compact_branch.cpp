#include "driver/compact_branch.h"

#include "common/console.h"
#include "common/file.h"
#include "common/interrupt_guard.h"
#include "compact/backup.h"
#include "compact/compact_operation.h"
#include "compact/indexed_file.h"
#include "driver/messages.h"

namespace tavindex {

namespace {

bool InPlace(const RunContext& run) {
  return run.files.outputFd >= 0 && run.files.outputFd == run.files.inputFd;
}

void RemovePartialCopy(RunContext& run) {
  const InterruptGuard guard;
  CloseFile(run.files.outputFd);
  RemoveFile(run.files.outputFileName.CStr());
}

void RestoreInPlace(RunContext& run) {
  const char* name = run.files.dataFileName.CStr();
  if (RestoreIsi(run) == kOk) {
    ShowFormatted(run, "ISI has been restored after fatal compact error for file: %s\n", name);
    return;
  }
  ShowFormatted(run, "ISI can not be restored after fatal compact error for file: %s\n", name);
  TruncateFile(run.files.outputFd, 0);
}

void UndoOutput(RunContext& run) {
  if (InPlace(run)) {
    if ((run.options.compactFlags & kBackupMade) != 0) RestoreInPlace(run);
  } else if (run.files.outputFd >= 0) {
    RemovePartialCopy(run);
  }
}

}  // namespace

Result CompactBranch(RunContext& run) {
  const Result result = CompactIsi(run);
  if (result != kOk) {
    UndoOutput(run);
    ShowCompactFailure(run, result);
  }
  if (InPlace(run)) RemoveBackup(run);
  ReleaseIndexedFile(run);
  return result;
}

}  // namespace tavindex
