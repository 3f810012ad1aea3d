#include "names/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "common/file.h"

namespace tavindex {

int CreateOutputFile(const char* path) {
  const int fd = OpenFile(path, O_RDWR | O_CREAT | O_EXCL | O_TRUNC, kReadWriteAll);
  return fd >= 0 ? fd : OpenFile(path, O_RDWR | O_TRUNC | O_NONBLOCK | O_NOCTTY);
}

PathState LookAt(const char* path, struct stat& status) {
  if (StatPath(path, status)) return PathState::kThere;
  return errno == ENOENT || errno == ENOTDIR ? PathState::kAbsent : PathState::kUnknown;
}

bool IsOneOf(const char* path, std::span<const int> descriptors) {
  struct stat wanted;
  const PathState state = LookAt(path, wanted);
  if (state != PathState::kThere) return state == PathState::kUnknown;
  for (const int fd : descriptors) {
    struct stat open;
    if (fd >= 0 && (!StatFile(fd, open) || SameFile(wanted, open))) return true;
  }
  return false;
}

bool IsSameFile(const char* a, const char* b) {
  struct stat first;
  struct stat second;
  const PathState state = LookAt(a, first);
  const PathState other = LookAt(b, second);
  if (state == PathState::kAbsent || other == PathState::kAbsent) return false;
  return state == PathState::kUnknown || other == PathState::kUnknown || SameFile(first, second);
}

bool IsRegularOrAbsent(const char* path) {
  struct stat status;
  const PathState state = LookAt(path, status);
  return state == PathState::kAbsent || (state == PathState::kThere && S_ISREG(status.st_mode));
}

}  // namespace tavindex
