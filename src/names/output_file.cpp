#include "names/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "common/file.h"

namespace tavindex {

int CreateOutputFile(const char* path) {
  constexpr mode_t kReadWriteAll = 0666;
  const int fd = OpenFile(path, O_RDWR | O_CREAT | O_EXCL | O_TRUNC, kReadWriteAll);
  return fd >= 0 ? fd : OpenFile(path, O_RDWR | O_TRUNC | O_NONBLOCK | O_NOCTTY);
}

bool IsOneOf(const char* path, std::span<const int> descriptors) {
  struct stat wanted;
  if (!StatPath(path, wanted)) return false;
  for (const int fd : descriptors) {
    struct stat open;
    if (fd >= 0 && StatFile(fd, open) && SameFile(wanted, open)) return true;
  }
  return false;
}

bool IsRegularOrAbsent(const char* path) {
  struct stat status;
  return !StatPath(path, status) || S_ISREG(status.st_mode);
}

}  // namespace tavindex
