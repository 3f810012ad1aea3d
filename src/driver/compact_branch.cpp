#include "driver/compact_branch.h"

#include "common/file.h"
#include "driver/messages.h"

namespace tavindex {

Result CompactBranch(RunContext& run) {
  if (run.files.outputFd >= 0 && run.files.outputFd != run.files.inputFd) {
    CloseFile(run.files.outputFd);
    RemoveFile(run.files.outputFileName.CStr());
  }
  ShowCompactFailure(run, kCompactFailed);
  return kCompactFailed;
}

}  // namespace tavindex
