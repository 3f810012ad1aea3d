#include "isi/error_lines.h"

#include <algorithm>
#include <atomic>

#include "common/file.h"
#include "common/interrupt_guard.h"

namespace tavindex {

bool AddErrorLine(RunContext& run, std::string_view line) {
  if (run.files.errorFd < 0) return true;
  ErrorLines& lines = run.isi.errorLines;
  if (line.size() > lines.text.size() - lines.used && !FlushErrorLines(run)) return false;
  std::copy(line.begin(), line.end(), lines.text.begin() + static_cast<std::ptrdiff_t>(lines.used));
  // An interrupt finds whole lines only.
  std::atomic_signal_fence(std::memory_order_release);
  lines.used += line.size();
  return true;
}

bool FlushErrorLines(RunContext& run) {
  ErrorLines& lines = run.isi.errorLines;
  if (lines.used == 0) return true;
  const InterruptGuard guard;
  const std::size_t waiting = lines.used;
  lines.used = 0;
  if (run.files.errorFd < 0 || WriteAll(run.files.errorFd, {lines.text.data(), waiting})) {
    return true;
  }
  run.files.workFile = run.files.errorFd;
  return false;
}

}  // namespace tavindex
