#include "common/console.h"

#include <cstdarg>

#include "common/interrupt_guard.h"

namespace tavindex {

namespace {

bool NeverCancelled() { return false; }

[[gnu::format(printf, 2, 0)]] void ComposeList(RunContext& run, const char* format,
                                               std::va_list values) {
  std::vsnprintf(run.console.messageBuffer.data(), kMessageSize, format, values);
}

}  // namespace

CancelPoll cancelPoll = NeverCancelled;

void ShowLine(RunContext& run, std::string_view line) {
  if (!run.console.waiting.HasRoomFor(line)) FlushLines(run);
  run.console.waiting.Add(line);
  if (run.console.progressOn) FlushLines(run);
}

void FlushLines(RunContext& run) {
  if (run.console.waiting.Empty()) return;
  // A reader that is slow holds the run up here, where an interrupt may still end it.
  WaitForRoom(run.console.consoleFd, -1);
  const InterruptGuard guard;
  const std::string_view lines = run.console.waiting.Take();
  if (run.console.consoleStream == nullptr) return;
  std::fwrite(lines.data(), 1, lines.size(), run.console.consoleStream);
  std::fflush(run.console.consoleStream);
}

bool ShowMessage(RunContext& run, const char* text) {
  FlushLines(run);
  if (run.console.consoleStream != nullptr) {
    std::fputs(text, run.console.consoleStream);
    std::fflush(run.console.consoleStream);
  }
  return cancelPoll();
}

bool ShowProgress(RunContext& run, const char* text) {
  return run.console.progressOn ? ShowMessage(run, text) : cancelPoll();
}

void Compose(RunContext& run, const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  ComposeList(run, format, values);
  va_end(values);
}

bool ShowFormatted(RunContext& run, const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  ComposeList(run, format, values);
  va_end(values);
  const bool cancelled = ShowMessage(run, run.console.messageBuffer.data());
  run.console.messageBuffer[0] = '\0';
  return cancelled;
}

bool ShowProgressFormatted(RunContext& run, const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  ComposeList(run, format, values);
  va_end(values);
  const bool cancelled = ShowProgress(run, run.console.messageBuffer.data());
  run.console.messageBuffer[0] = '\0';
  return cancelled;
}

void ShowDebug(RunContext& run, const char* format, ...) {
  if (!run.control.debugMode) return;
  std::va_list values;
  va_start(values, format);
  ComposeList(run, format, values);
  va_end(values);
  ShowMessage(run, run.console.messageBuffer.data());
  run.console.messageBuffer[0] = '\0';
}

Result ReportCancel(RunContext& run) {
  ShowMessage(run, "The operation was canceled by the user!\n");
  return kCancelled;
}

}  // namespace tavindex
