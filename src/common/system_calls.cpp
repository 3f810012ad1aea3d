#include "common/system_calls.h"

#include <unistd.h>

#include <cstdlib>

namespace tavindex {

namespace {

int OpenCall(const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); }
int StatCall(const char* path, struct stat* status) { return ::stat(path, status); }
int FstatCall(int fd, struct stat* status) { return ::fstat(fd, status); }
int LockCall(int fd, int command, struct flock* lock) { return ::fcntl(fd, command, lock); }

}  // namespace

SystemCalls systemCalls = {
    .open = OpenCall,
    .close = ::close,
    .read = ::read,
    .write = ::write,
    .lseek = ::lseek,
    .ftruncate = ::ftruncate,
    .fsync = ::fsync,
    .unlink = ::unlink,
    .link = ::link,
    .chmod = ::chmod,
    .stat = StatCall,
    .fstat = FstatCall,
    .mkstemp = ::mkstemp,
    .lock = LockCall,
    .allocate = std::malloc,
    .allocateZeroed = std::calloc,
};

}  // namespace tavindex
