#include "compact/indexed_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <iterator>

#include "common/console.h"
#include "common/file.h"
#include "common/interrupt_guard.h"
#include "compact/data_lock.h"
#include "names/resolve.h"

namespace tavindex {

namespace {

Result Refuse(RunContext& run, Result code, const char* text) {
  ShowFormatted(run, "%s%s\n", text, run.compact.indexedFileName.CStr());
  return code;
}

bool Open(RunContext& run, int flags) {
  const InterruptGuard guard;
  run.files.lastOpenPath = run.compact.indexedFileName;
  run.files.lockFd = OpenRegularFile(run.files.lastOpenPath.CStr(), O_RDWR | flags);
  if (run.files.lockFd < 0) return false;
  LockRecord& lock = run.compact.lock;
  lock = LockRecord{.fd = run.files.lockFd,
                    .lockFlags = 0,
                    .dataSize = FileSize(run.files.lockFd),
                    .fileLockPos = kFileLockPosition,
                    .rangeLockPos = kRangeLockPosition};
  return true;
}

Result OpenShared(RunContext& run) {
  if (!Open(run, 0)) return Refuse(run, kLockingFailed, "Unable to open ISI data file: ");
  LockRecord& lock = run.compact.lock;
  if (ShareFileLock(lock, 0, SEEK_SET) != LockStatus::kTaken) {
    return Refuse(run, kLockingFailed, "Unable to set share lock for ISI data file: ");
  }
  if ((run.options.compactFlags & kSkipRangeLock) != 0) return kOk;
  if (RangeLock(lock, run.options.compactInPlace) != LockStatus::kTaken) {
    return Refuse(run, kLockingFailed, "Unable to lock ISI data file: ");  // GCOVR_EXCL_LINE: waits
  }
  return kOk;
}

Result OpenExclusive(RunContext& run, const TreeReader& reader) {
  if (!Open(run, O_EXCL)) {
    return Refuse(run, kCompactFailed, "Unable to open ISI data file in exclusive mode: ");
  }
  const LockRecord& lock = run.compact.lock;
  if (ExclusiveFileLock(lock, 0, SEEK_SET) != LockStatus::kTaken) {
    return Refuse(run, kCompactFailed, "Unable to exclusive lock for ISI data file: ");
  }
  if (lock.dataSize == 0 && reader.header.recordsIndexed != 0) {
    return Refuse(run, kCompactFailed, "Unexpected file size truncated for ISI data file: ");
  }
  return kOk;
}

}  // namespace

Result OpenIndexedFile(RunContext& run, const TreeReader& reader) {
  FindStoredFile(run, reader.header.dataFileName.View(), run.compact.indexedFileName);
  return run.options.compactLocking ? OpenShared(run) : OpenExclusive(run, reader);
}

Result CheckSpinCounter(RunContext& run, TreeReader& reader) {
  std::array<std::uint8_t, sizeof(std::uint32_t)> bytes{};
  const bool read = ReadAt(reader.fd, header::kSpinCounter, bytes) == std::ssize(bytes);
  if (read && Load32(bytes.data(), reader.order) == reader.header.spinCounter) return kOk;
  if (read && LoadFront(reader, reader.fd)) return CheckFront(reader);
  ShowMessage(run, "Unable to access ISI spin counter!\n");
  return kNotAnIsi;
}

void ReleaseIndexedFile(RunContext& run) {
  const InterruptGuard guard;
  if (run.options.compactLocking && run.files.lockFd >= 0) RangeUnlock(run.compact.lock);
  CloseFile(run.files.lockFd);
  run.compact.lock = LockRecord{};
}

}  // namespace tavindex
