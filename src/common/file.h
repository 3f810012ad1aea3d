// The file layer: thin wrappers over the system-call table that retry interrupted calls and
// finish short ones; only a call that is interrupted without end fails with EINTR. All sizes and
// offsets are in bytes; descriptors are plain integers, kNoFile when closed. Failures leave errno
// set.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace tavindex {

inline constexpr int kNoFile = -1;
inline constexpr mode_t kReadWriteAll = 0666;  // of every file created, before the umask

// Opens with close-on-exec set. Returns the descriptor or kNoFile.
int OpenFile(const char* path, int flags, mode_t mode = 0);

// Opens an existing regular file without ever blocking on it (a FIFO, a device). Anything but a
// regular file is refused. Returns the descriptor or kNoFile.
int OpenRegularFile(const char* path, int flags);

// Closes and sets `fd` to kNoFile, whatever close() answers; does nothing when it is closed.
// Returns false when close() reported a failure.
bool CloseFile(int& fd);

// One read, as the system gives it: the count (0 at the end of the file) or -1. The pieces of more
// than 1 GiB count as one.
std::int64_t ReadOnce(int fd, std::span<std::uint8_t> bytes);

// Reads until `bytes` is full or the file ends. Returns the count, or -1 after an error.
std::int64_t ReadFully(int fd, std::span<std::uint8_t> bytes);

// ReadFully at a place in the file.
std::int64_t ReadAt(int fd, std::int64_t offset, std::span<std::uint8_t> bytes);

// Writes all of `bytes`. A short write is continued, so that errno tells why the rest did not go.
bool WriteAll(int fd, std::span<const std::uint8_t> bytes);

// Both return the resulting offset or size, or -1.
std::int64_t SeekTo(int fd, std::int64_t offset);
std::int64_t FileSize(int fd);  // leaves the position at the end

bool TruncateFile(int fd, std::int64_t size);
bool SyncFile(int fd);
bool RemoveFile(const char* path);

// Two descriptors or paths that name one file (device and inode).
bool SameFile(const struct stat& a, const struct stat& b);
bool StatPath(const char* path, struct stat& status);
bool StatFile(int fd, struct stat& status);

}  // namespace tavindex
