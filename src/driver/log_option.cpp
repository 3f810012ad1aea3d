#include "driver/log_option.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "common/file.h"
#include "common/interrupt_guard.h"
#include "names/field_text.h"
#include "names/file_name.h"
#include "names/line_fields.h"

namespace tavindex {

namespace {

bool StartsWithDash(std::string_view text) { return !text.empty() && text[0] == '-'; }

// Where the data file specification stands: behind the pre-options, of which "-i" may have its
// name in the next argument.
std::size_t FirstFileArgument(const Arguments& arguments) {
  std::size_t i = arguments.next;
  while (i < arguments.count && StartsWithDash(arguments.Text(i))) {
    const std::string_view option = arguments.Text(i);
    i += option == "-i" || option == "-I" ? 2 : 1;
  }
  return i;
}

// The first two file fields of the remaining arguments, as typed, without their quotes.
struct NamedFiles {
  PathText data;
  PathText isi;
};

NamedFiles FilesNamed(const Arguments& arguments) {
  std::string line;
  for (std::size_t i = FirstFileArgument(arguments); i < arguments.count; ++i) {
    line.append(arguments.Text(i)).append(" ");
  }
  NamedFiles named;
  // A line that will be refused names files all the same.
  ParseFileName(line, named.data, kNameCapacity, NameRule::kLong);
  LineFields fields;
  if (FindLineFields(line, fields) && fields.hasSecond) {
    ParseFileName(std::string_view(line).substr(fields.secondStart), named.isi, kNameCapacity,
                  NameRule::kLong);
  }
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
  for (const PathText& name : {named.data, named.isi}) {
    if (name.Empty()) continue;
    for (const char* extension : {"", ".TXT", ".ISI"}) {
      if (IsSamePath(std::string(name.View()) + extension, log)) return true;
    }
  }
  return false;
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
  if (IsFileOfRun(arguments, name) || !IsUsableLog(name)) return;
  OpenLog(run, name, letter == 'q');
}

}  // namespace tavindex
