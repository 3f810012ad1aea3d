#include "setup/work_files.h"

#include <fcntl.h>

#include "common/console.h"
#include "common/file.h"
#include "common/interrupt_guard.h"
#include "common/system_calls.h"
#include "names/environment.h"

namespace tavindex {

namespace {

constexpr std::string_view kWorkNamePattern = "/dsortXXXXXX";

// A trailing '/' of TMPDIR stays: the name then holds "//", which is the same directory.
bool WorkNamePattern(RunContext& run, WorkName& name) {
  const char* environment = GetEnvironmentValue(run, "TMPDIR");
  std::string_view directory = run.options.workDirectory.View();
  if (directory.empty()) directory = environment == nullptr ? "/tmp" : environment;
  return name.Assign(directory) && name.Append(kWorkNamePattern);
}

// The unique name is made by creating the file; it is opened again as the file of the run.
bool CreateWorkFile(RunContext& run, WorkName& name, int& fd) {
  if (!WorkNamePattern(run, name)) return false;
  const InterruptGuard guard;
  int created = systemCalls.mkstemp(name.Data());
  if (created < 0) return false;
  CloseFile(created);
  run.files.lastOpenPath.Assign(name.View());
  fd = OpenFile(name.CStr(), O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW, kReadWriteAll);
  if (fd < 0) RemoveFile(name.CStr());
  return fd >= 0;
}

void RemoveWorkFile(WorkName& name, int& fd) {
  if (fd >= 0) {
    CloseFile(fd);
    RemoveFile(name.CStr());
  }
  name.Clear();
}

}  // namespace

Result CreateWorkFiles(RunContext& run) {
  FileState& files = run.files;
  if (!CreateWorkFile(run, files.workFileName1, files.workFd1)) return kWorkFileNotOpened;
  files.workFile = files.workFd1;
  ShowDebug(run, "Created %s as temp file 1\n", files.workFileName1.CStr());
  if (!CreateWorkFile(run, files.workFileName2, files.workFd2)) return kWorkFileNotOpened;
  files.mergeInput = files.workFd2;
  ShowDebug(run, "Created %s as temp file 2\n", files.workFileName2.CStr());
  return kOk;
}

void RemoveWorkFiles(RunContext& run) {
  const InterruptGuard guard;
  FileState& files = run.files;
  RemoveWorkFile(files.workFileName1, files.workFd1);
  RemoveWorkFile(files.workFileName2, files.workFd2);
  files.workFile = kNoFile;
  files.mergeInput = kNoFile;
}

}  // namespace tavindex
