#include "driver/log_option.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "common/file.h"
#include "common/interrupt_guard.h"

namespace tavindex {

namespace {

bool StartsWithDash(std::string_view text) { return !text.empty() && text[0] == '-'; }

// The first two file fields of the remaining arguments, as typed.
struct NamedFiles {
  std::string data;
  std::string isi;
};

NamedFiles FilesNamed(const Arguments& arguments) {
  NamedFiles named;
  std::size_t i = arguments.next;
  while (i < arguments.count && StartsWithDash(arguments.Text(i))) ++i;
  if (i == arguments.count) return named;
  std::string text(arguments.Text(i));
  for (++i; i < arguments.count; ++i) text.append(",").append(arguments.Text(i));
  const std::size_t dataEnd = text.find_first_of(", ;");
  named.data = text.substr(0, dataEnd);
  if (dataEnd == std::string::npos) return named;
  const std::size_t isiStart = text.find_first_not_of(", ", dataEnd);
  if (isiStart == std::string::npos) return named;
  named.isi = text.substr(isiStart, text.find_first_of(", ;", isiStart) - isiStart);
  return named;
}

bool IsSamePath(const std::string& path, const char* log) {
  if (path == log) return true;
  struct stat a;
  struct stat b;
  return StatPath(path.c_str(), a) && StatPath(log, b) && SameFile(a, b);
}

// A log over the data file or the ISI would destroy what the run is about to read.
bool IsFileOfRun(const Arguments& arguments, const char* log) {
  const NamedFiles named = FilesNamed(arguments);
  for (const std::string& name : {named.data, named.isi}) {
    if (name.empty() || StartsWithDash(name)) continue;
    for (const char* extension : {"", ".TXT", ".ISI"}) {
      if (IsSamePath(name + extension, log)) return true;
    }
  }
  return !named.data.empty() && IsSamePath(named.data + ".ISI", log);
}

bool IsUsableLog(const char* path) {
  struct stat status;
  if (!StatPath(path, status) || S_ISREG(status.st_mode)) return true;
  struct stat null;
  const bool isNull =
      StatPath("/dev/null", null) && S_ISCHR(status.st_mode) && status.st_rdev == null.st_rdev;
  if (isNull) return true;
  int fd = S_ISCHR(status.st_mode) ? OpenFile(path, O_WRONLY | O_NOCTTY | O_NONBLOCK) : kNoFile;
  const bool terminal = fd >= 0 && ::isatty(fd) != 0;
  CloseFile(fd);
  return terminal;
}

void OpenLog(RunContext& run, const char* name, bool append) {
  constexpr mode_t kReadWriteAll = 0666;
  const InterruptGuard guard;
  const int flags = O_WRONLY | O_CREAT | O_NOCTTY | (append ? O_APPEND : O_TRUNC);
  int fd = OpenFile(name, flags, kReadWriteAll);
  if (fd < 0) return;
  std::FILE* stream = ::fdopen(fd, append ? "a" : "w");
  if (stream == nullptr) {
    CloseFile(fd);
    return;
  }
  run.console.consoleStream = stream;
  run.console.consoleFd = fd;
  run.console.logOpened = true;
}

}  // namespace

void ReadLogOption(RunContext& run, Arguments& arguments) {
  if (arguments.count <= 2) return;
  const std::string_view option = arguments.Text(1);
  const char letter = option.size() >= 2 ? static_cast<char>(option[1] | 32) : '\0';
  if (!StartsWithDash(option) || (letter != 'l' && letter != 'q')) return;
  const bool attached = option.size() > 2;
  const char* name = attached ? option.data() + 2 : arguments.tokens[2].text;
  arguments.next = attached ? 2 : 3;
  if (StartsWithDash(name) || *name == '\0') return;
  if (IsFileOfRun(arguments, name) || !IsUsableLog(name)) return;
  OpenLog(run, name, letter == 'q');
}

}  // namespace tavindex
