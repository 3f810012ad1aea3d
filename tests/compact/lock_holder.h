// Record locks seen from another process. A process that holds a lock until it is told to let go,
// and a look at the locks that this process holds.

#ifndef TESTS_COMPACT_LOCK_HOLDER_H_
#define TESTS_COMPACT_LOCK_HOLDER_H_

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <string>

namespace tavindex::test {

// The places of the protocol, as the other programs of the system know them.
inline constexpr off_t kFileLockByte = 0x7FFFFFFFFFFFFFFF;
inline constexpr off_t kRangeLockBytes = 0x7FFFFFFFFFFFFFFD;

inline struct flock LockRequest(short type, off_t start, off_t length) {
  struct flock request {};
  request.l_type = type;
  request.l_whence = SEEK_SET;
  request.l_start = start;
  request.l_len = length;
  return request;
}

class LockHolder {
 public:
  LockHolder(const std::string& path, short type, off_t start, off_t length) {
    int ready[2];
    int release[2];
    if (::pipe2(ready, O_CLOEXEC) != 0 || ::pipe2(release, O_CLOEXEC) != 0) return;
    child_ = ::fork();
    if (child_ == 0) {
      ::close(release[1]);
      Hold(path, LockRequest(type, start, length), ready[1], release[0]);
    }
    ::close(ready[1]);
    ::close(release[0]);
    release_ = release[1];
    char taken = 0;
    held_ = ::read(ready[0], &taken, 1) == 1 && taken == 'y';
    ::close(ready[0]);
  }
  ~LockHolder() { Release(); }
  LockHolder(const LockHolder&) = delete;
  LockHolder& operator=(const LockHolder&) = delete;

  bool Held() const { return held_; }

  // Lets go, after a while if wanted, without waiting for it.
  void ReleaseAfter(int milliseconds) {
    if (release_ < 0) return;
    const int wait = milliseconds;
    [[maybe_unused]] const ssize_t count = ::write(release_, &wait, sizeof wait);
  }
  void Release() {
    if (child_ <= 0) return;
    ::close(release_);
    release_ = -1;
    ::waitpid(child_, nullptr, 0);
    child_ = -1;
  }

 private:
  [[noreturn]] static void Hold(const std::string& path, struct flock request, int ready,
                                int release) {
    const int fd = ::open(path.c_str(), O_RDWR);
    const char answer = fd >= 0 && ::fcntl(fd, F_SETLK, &request) == 0 ? 'y' : 'n';
    if (::write(ready, &answer, 1) != 1) ::_exit(1);
    int milliseconds = 0;
    const ssize_t count = ::read(release, &milliseconds, sizeof milliseconds);
    if (count == static_cast<ssize_t>(sizeof milliseconds)) {
      ::usleep(static_cast<useconds_t>(milliseconds) * 1000);
    }
    ::_exit(0);
  }

  pid_t child_ = -1;
  int release_ = -1;
  bool held_ = false;
};

// What another process sees at this place of the file: F_UNLCK, F_RDLCK or F_WRLCK.
inline struct flock LockSeenFromOutside(const std::string& path, off_t start, off_t length) {
  struct flock seen = LockRequest(F_WRLCK, start, length);
  int answer[2];
  if (::pipe2(answer, O_CLOEXEC) != 0) return seen;
  const pid_t child = ::fork();
  if (child == 0) {
    const int fd = ::open(path.c_str(), O_RDWR);
    const bool asked = fd >= 0 && ::fcntl(fd, F_GETLK, &seen) == 0;
    const ssize_t count = asked ? ::write(answer[1], &seen, sizeof seen) : 0;
    ::_exit(count > 0 ? 0 : 1);
  }
  ::close(answer[1]);
  if (::read(answer[0], &seen, sizeof seen) != static_cast<ssize_t>(sizeof seen)) seen.l_type = -1;
  ::close(answer[0]);
  ::waitpid(child, nullptr, 0);
  return seen;
}

}  // namespace tavindex::test

#endif  // TESTS_COMPACT_LOCK_HOLDER_H_
