#include "compact/backup.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

#include "common/console.h"
#include "common/file.h"
#include "common/interrupt_guard.h"

namespace tavindex {

namespace {

constexpr std::size_t kCopySize = 65535;

enum class CopyStatus { kDone, kReadFailed, kWriteFailed };

// Copies `from` over `to`, both from their starts. A source that ends early ends the copy.
CopyStatus CopyFile(RunContext& run, int from, int to) {
  std::int64_t left = FileSize(from);
  if (left < 0 || SeekTo(from, 0) < 0) return CopyStatus::kReadFailed;
  if (SeekTo(to, 0) < 0) return CopyStatus::kWriteFailed;
  while (left > 0) {
    const std::size_t wanted = std::min(static_cast<std::size_t>(left), kCopySize);
    const std::span<std::uint8_t> block = run.compact.copyBuffer.Bytes().first(wanted);
    const std::int64_t count = ReadFully(from, block);
    if (count < 0) return CopyStatus::kReadFailed;
    if (count == 0) break;
    if (!WriteAll(to, block.first(static_cast<std::size_t>(count)))) {
      return CopyStatus::kWriteFailed;
    }
    left -= count;
  }
  return CopyStatus::kDone;
}

// Removes the backup, tells what was wrong with which file, and gives the code.
Result Fail(RunContext& run, Result code, const char* text, const PathText& name) {
  RemoveBackup(run);
  ShowFormatted(run, "%s%s\n", text, name.CStr());
  return code;
}

// A backup left by an interrupted run is the good copy of that ISI, so only a new file will do.
bool CreateBackup(RunContext& run) {
  CompactState& compact = run.compact;
  compact.backupName = run.files.dataFileName;
  if (!compact.backupName.Append(".bak")) return false;
  const InterruptGuard guard;
  run.files.lastOpenPath = compact.backupName;
  compact.backupFd = OpenFile(compact.backupName.CStr(), O_RDWR | O_CREAT | O_EXCL, kReadWriteAll);
  return compact.backupFd >= 0;
}

// The name of a new file is on disk only when its directory is. A directory that may not be read,
// or that the file system cannot sync, is no reason to refuse.
bool SyncDirectoryOf(const PathText& path) {
  const std::size_t slash = path.View().rfind('/');
  PathText directory;
  directory.Assign(slash == std::string_view::npos ? "." : path.View().substr(0, slash + 1));
  int fd = OpenFile(directory.CStr(), O_RDONLY | O_DIRECTORY);
  if (fd < 0) return errno == EACCES;
  const bool synced = SyncFile(fd) || errno == EINVAL;
  CloseFile(fd);
  return synced;
}

}  // namespace

Result BackupIsi(RunContext& run) {
  CompactState& compact = run.compact;
  if (!CreateBackup(run)) {
    return Fail(run, kInPlaceFailed, "Unable to create backup file: ", compact.backupName);
  }
  if (!compact.copyBuffer.Allocate(kCopySize)) {
    RemoveBackup(run);
    ShowMessage(run, "Insufficient memory to backup ISI for in place compact option!\n");
    return kInPlaceFailed;
  }
  const CopyStatus copied = CopyFile(run, run.files.inputFd, compact.backupFd);
  if (copied == CopyStatus::kReadFailed) {
    return Fail(run, kInPlaceFailed, "Error reading the ISI file: ", run.files.dataFileName);
  }
  const bool onDisk = copied == CopyStatus::kDone && SyncFile(compact.backupFd) &&
                      SyncDirectoryOf(compact.backupName);
  if (!onDisk) {
    return Fail(run, kInPlaceFailed, "Error writing the ISI backup file: ", compact.backupName);
  }
  run.options.compactFlags |= kBackupMade;
  return kOk;
}

Result RestoreIsi(RunContext& run) {
  CompactState& compact = run.compact;
  if (compact.backupFd < 0) return kOk;
  const CopyStatus copied = CopyFile(run, compact.backupFd, run.files.outputFd);
  if (copied == CopyStatus::kReadFailed) {
    return Fail(run, kRestoreFailed, "Error reading the ISI backup file: ", compact.backupName);
  }
  if (copied == CopyStatus::kWriteFailed || !SyncFile(run.files.outputFd)) {
    return Fail(run, kRestoreFailed,
                "Error restoring/writing the ISI file: ", run.files.dataFileName);
  }
  RemoveBackup(run);
  return kOk;
}

void RemoveBackup(RunContext& run) {
  CompactState& compact = run.compact;
  if (compact.backupFd >= 0) {
    const InterruptGuard guard;
    CloseFile(compact.backupFd);
    RemoveFile(compact.backupName.CStr());
  }
  compact.copyBuffer.Free();
}

}  // namespace tavindex
