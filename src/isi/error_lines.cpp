#include "isi/error_lines.h"

#include <span>

#include "common/file.h"
#include "common/interrupt_guard.h"

namespace tavindex {

bool AddErrorLine(RunContext& run, std::string_view line) {
  if (run.files.errorFd < 0) return true;
  if (!run.isi.errorLines.HasRoomFor(line) && !FlushErrorLines(run)) return false;
  run.isi.errorLines.Add(line);
  return true;
}

bool FlushErrorLines(RunContext& run) {
  if (run.isi.errorLines.Empty()) return true;
  const InterruptGuard guard;
  const std::string_view lines = run.isi.errorLines.Take();
  const std::span bytes{reinterpret_cast<const std::uint8_t*>(lines.data()), lines.size()};
  if (run.files.errorFd < 0 || WriteAll(run.files.errorFd, bytes)) return true;
  run.files.workFile = run.files.errorFd;
  return false;
}

}  // namespace tavindex
