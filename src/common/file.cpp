#include "common/file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "common/system_calls.h"

namespace tavindex {

namespace {

// A call that is interrupted more often than this fails: signals do not come that fast.
constexpr int kMostInterrupts = 1000;

// A single read gives less than 2 GiB, whatever it is asked for.
constexpr std::size_t kLargestRead = std::size_t{1} << 30;  // bytes

// Repeats a call that a signal interrupted.
template <typename Call>
auto Uninterrupted(Call call) {
  auto result = call();
  for (int i = 0; i < kMostInterrupts && result < 0 && errno == EINTR; ++i) result = call();
  return result;
}

}  // namespace

int OpenFile(const char* path, int flags, mode_t mode) {
  return Uninterrupted([&] { return systemCalls.open(path, flags | O_CLOEXEC, mode); });
}

int OpenRegularFile(const char* path, int flags) {
  int fd = OpenFile(path, flags | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) return kNoFile;
  struct stat status;
  if (StatFile(fd, status) && S_ISREG(status.st_mode)) return fd;
  CloseFile(fd);
  errno = EINVAL;
  return kNoFile;
}

bool CloseFile(int& fd) {
  if (fd < 0) return true;
  const int closing = fd;
  fd = kNoFile;
  // After EINTR the descriptor is gone on this system; closing again could hit another file.
  return systemCalls.close(closing) == 0 || errno == EINTR;
}

std::int64_t ReadOnce(int fd, std::span<std::uint8_t> bytes) {
  std::size_t filled = 0;
  for (;;) {
    const auto piece = bytes.subspan(filled, std::min(bytes.size() - filled, kLargestRead));
    const std::int64_t count =
        Uninterrupted([&] { return systemCalls.read(fd, piece.data(), piece.size()); });
    if (count < 0) return -1;
    filled += static_cast<std::size_t>(count);
    const bool complete = static_cast<std::size_t>(count) == piece.size();
    if (!complete || filled == bytes.size()) return static_cast<std::int64_t>(filled);
  }
}

std::int64_t ReadFully(int fd, std::span<std::uint8_t> bytes) {
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    const std::int64_t count = ReadOnce(fd, bytes.subspan(filled));
    if (count < 0) return -1;
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
  }
  return static_cast<std::int64_t>(filled);
}

std::int64_t ReadAt(int fd, std::int64_t offset, std::span<std::uint8_t> bytes) {
  if (SeekTo(fd, offset) < 0) return -1;
  return ReadFully(fd, bytes);
}

bool WriteAll(int fd, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const std::int64_t count =
        Uninterrupted([&] { return systemCalls.write(fd, bytes.data(), bytes.size()); });
    if (count < 0) return false;
    if (count == 0) {
      errno = ENOSPC;
      return false;
    }
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return true;
}

std::int64_t SeekTo(int fd, std::int64_t offset) { return systemCalls.lseek(fd, offset, SEEK_SET); }

std::int64_t FileSize(int fd) { return systemCalls.lseek(fd, 0, SEEK_END); }

bool TruncateFile(int fd, std::int64_t size) {
  return Uninterrupted([&] { return systemCalls.ftruncate(fd, size); }) == 0;
}

bool SyncFile(int fd) {
  return Uninterrupted([&] { return systemCalls.fsync(fd); }) == 0;
}

bool RemoveFile(const char* path) { return systemCalls.unlink(path) == 0; }

bool SameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool StatPath(const char* path, struct stat& status) {
  return systemCalls.stat(path, &status) == 0;
}

bool StatFile(int fd, struct stat& status) { return systemCalls.fstat(fd, &status) == 0; }

}  // namespace tavindex
