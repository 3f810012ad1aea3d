// The lock protocol on the data file of an ISI. The programs that share a data file lock bytes at
// the very top of the 64-bit offset range, where no data ever stands:
//
//   the last byte            share lock of every reader, exclusive lock of one that wants it alone
//   the two bytes before it  range lock, held while the index is read or rewritten
//
// On a file system without record locks (EINVAL) every lock counts as taken.
#pragma once

#include <cstdint>

#include "common/run_context.h"

namespace tavindex {

inline constexpr std::int64_t kFileLockPosition = 0x7FFFFFFFFFFFFFFF;
inline constexpr std::int64_t kRangeLockPosition = 0x7FFFFFFFFFFFFFFD;
inline constexpr std::uint8_t kRangeLockHeld = 0x80;

enum class LockStatus : std::int32_t {
  kTaken = 0,
  kNoDescriptor = -1,
  kNotUnlocked = -2,
  kLockedElsewhere = -3,
  kFailed = -4,
};

// Take the file lock without waiting, then set the file position to (`pos`, `whence`) - except that
// a position other than 0 from the start leaves it where it is.
LockStatus ShareFileLock(const LockRecord& record, std::int64_t pos, int whence);
LockStatus ExclusiveFileLock(const LockRecord& record, std::int64_t pos, int whence);

// Waits for the range lock, for as long as it takes.
LockStatus RangeLock(LockRecord& record, bool exclusive);

// Gives the range lock back, if it is held. The record goes on saying that it is.
LockStatus RangeUnlock(const LockRecord& record);

}  // namespace tavindex
