#include "compact/data_lock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "common/system_calls.h"

namespace tavindex {

namespace {

constexpr useconds_t kRetryMicroseconds = 100;
constexpr off_t kFileLockLength = 1;
constexpr off_t kRangeLockLength = 2;

bool SetLock(const LockRecord& record, int command, short type, std::int64_t start, off_t length) {
  struct flock request {};
  request.l_type = type;
  request.l_whence = SEEK_SET;
  request.l_start = start;
  request.l_len = length;
  return systemCalls.lock(record.fd, command, &request) >= 0 || errno == EINVAL;
}

bool HeldElsewhere(int error) {
  return error == EAGAIN || error == EACCES || error == EDEADLK || error == ENOLCK;
}

LockStatus FileLock(const LockRecord& record, short type, std::int64_t pos, int whence) {
  if (record.fd < 0) return LockStatus::kNoDescriptor;
  while (!SetLock(record, F_SETLK, type, kFileLockPosition, kFileLockLength)) {
    if (errno == EINTR) continue;
    return HeldElsewhere(errno) ? LockStatus::kLockedElsewhere : LockStatus::kFailed;
  }
  if (pos == 0 || whence != SEEK_SET) systemCalls.lseek(record.fd, pos, whence);
  return LockStatus::kTaken;
}

std::int64_t RangeStart(const LockRecord& record) { return record.lockBase | record.rangeLockPos; }

}  // namespace

LockStatus ShareFileLock(const LockRecord& record, std::int64_t pos, int whence) {
  return FileLock(record, F_RDLCK, pos, whence);
}

LockStatus ExclusiveFileLock(const LockRecord& record, std::int64_t pos, int whence) {
  return FileLock(record, F_WRLCK, pos, whence);
}

LockStatus RangeLock(LockRecord& record, bool exclusive) {
  const short type = exclusive ? F_WRLCK : F_RDLCK;
  while (!SetLock(record, F_SETLKW, type, RangeStart(record), kRangeLockLength)) {
    ::usleep(kRetryMicroseconds);
  }
  record.lockFlags |= kRangeLockHeld;
  return LockStatus::kTaken;
}

LockStatus RangeUnlock(const LockRecord& record) {
  if ((record.lockFlags & kRangeLockHeld) == 0) return LockStatus::kTaken;
  const bool unlocked = SetLock(record, F_SETLK, F_UNLCK, RangeStart(record), kRangeLockLength);
  return unlocked ? LockStatus::kTaken : LockStatus::kNotUnlocked;
}

}  // namespace tavindex
