#include "driver/log_option.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "common/file.h"
#include "common/interrupt_guard.h"
#include "driver/pre_options.h"
#include "setup/files_of_line.h"

namespace tavindex {

namespace {

bool StartsWithDash(std::string_view text) { return !text.empty() && text[0] == '-'; }

// Passes over the pre-options. A configuration file among them tells where names lead.
std::size_t PassPreOptions(RunContext& run, const Arguments& arguments) {
  std::size_t i = arguments.next;
  while (i < arguments.count && StartsWithDash(arguments.Text(i))) {
    const std::string_view option = arguments.Text(i++);
    if (option.size() < 2 || (option[1] | 32) != 'i') continue;
    const bool nameBehind = option.size() == 2 && i < arguments.count;
    SetIniName(run, nameBehind ? arguments.Text(i++) : option.substr(2));
  }
  return i;
}

// A log over the data file or the ISI would destroy what the run is about to read.
bool IsFileOfRun(RunContext& run, const Arguments& arguments, const char* log) {
  std::string line;
  for (std::size_t i = PassPreOptions(run, arguments); i < arguments.count; ++i) {
    line.append(arguments.Text(i)).append(" ");
  }
  return LineLeadsTo(run, line, log);
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
  const InterruptGuard guard;
  const int flags = O_WRONLY | O_CREAT | O_NOCTTY | (append ? O_APPEND : O_TRUNC);
  int fd = OpenFile(name, flags, kReadWriteAll);
  if (fd < 0) return;
  std::FILE* stream = ::fdopen(fd, append ? "a" : "w");
  if (stream == nullptr) {  // no memory
    CloseFile(fd);          // GCOVR_EXCL_LINE: not a call of the table
    return;                 // GCOVR_EXCL_LINE: the same
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
  if (IsFileOfRun(run, arguments, name) || !IsUsableLog(name)) return;
  OpenLog(run, name, letter == 'q');
}

}  // namespace tavindex
