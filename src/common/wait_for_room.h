// Waits until a console takes more bytes. What a pipe or terminal takes at once is limited, and
// behind that a write waits for the reader, however long.
#pragma once

#include <poll.h>

#include <climits>
#include <cstddef>

namespace tavindex {

// A console that has room takes as many bytes in one write.
inline constexpr std::size_t kRoom = PIPE_BUF;

// False when there is none yet: after so many milliseconds (negative: waits for ever), or when a
// signal came. Safe in a signal handler.
inline bool WaitForRoom(int fd, int milliseconds) {
  pollfd console{.fd = fd, .events = POLLOUT, .revents = 0};
  return fd >= 0 && ::poll(&console, 1, milliseconds) > 0;
}

}  // namespace tavindex
