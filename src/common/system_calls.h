// Every call the program makes to the system goes through this one table. A test replaces an
// entry to make the Nth call fail; nothing else in the program knows the difference.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>

namespace tavindex {

struct SystemCalls {
  int (*open)(const char* path, int flags, mode_t mode);
  int (*close)(int fd);
  ssize_t (*read)(int fd, void* bytes, std::size_t count);
  ssize_t (*write)(int fd, const void* bytes, std::size_t count);
  off_t (*lseek)(int fd, off_t offset, int whence);
  int (*ftruncate)(int fd, off_t size);
  int (*fsync)(int fd);
  int (*unlink)(const char* path);
  int (*link)(const char* from, const char* to);
  int (*chmod)(const char* path, mode_t mode);
  int (*stat)(const char* path, struct stat* status);
  int (*fstat)(int fd, struct stat* status);
  int (*mkstemp)(char* pattern);
  int (*lock)(int fd, int command, struct flock* lock);
  void* (*allocate)(std::size_t size);
  void* (*allocateZeroed)(std::size_t count, std::size_t size);
};

// The table in use; starts as the system's own calls.
extern SystemCalls systemCalls;

}  // namespace tavindex
