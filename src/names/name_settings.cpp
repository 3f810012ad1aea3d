#include "names/name_settings.h"

#include <fcntl.h>

#include <array>
#include <cstring>
#include <string_view>

#include "common/file.h"
#include "names/environment.h"
#include "names/text_case.h"

namespace tavindex {

namespace {

constexpr std::int64_t kSeparatorOffset = 512;
constexpr std::int64_t kExtensionLengthOffset = 514;
constexpr std::int64_t kDataExtensionOffset = 515;
constexpr std::int64_t kIndexExtensionOffset = 520;
constexpr std::uint8_t kMaxExtensionLength = 4;

void ReadSearchPath(RunContext& run) {
  const char* value = FirstEnvironmentValue(run, {"KVR_PATH", "TAVDB_DBPATH", "DBPATH"});
  std::string_view path = value == nullptr ? "" : value;
  // A directory that was cut would be another one.
  while (path.size() > decltype(run.names.searchPath)::kCapacity) {
    const std::size_t last = path.rfind(':');
    path = path.substr(0, last == std::string_view::npos ? 0 : last);
  }
  run.names.searchPath.Assign(path);
}

void ReadNameCase(RunContext& run) {
  const char* value = FirstEnvironmentValue(run, {"KVR_FNC", "TAVDB_FNC"});
  run.names.lowerCaseNames = value != nullptr && CompareNoCase(value, "Mixed") != 0;
}

// {system}{terminal}.def; empty when no terminal is known. The built-in system directory has no
// '/' behind it: the two are simply joined, and installations rely on that name.
PathText TerminalDefinitionName(RunContext& run) {
  PathText name;
  if (const char* system = FirstEnvironmentValue(run, {"KVR_SYSTEM", "TAVDB_DBC", "DBC"})) {
    name.Assign(system);
    name.Append('/');
  } else {
    name.Assign("/usr/kvc");
  }
  const char* terminal = FirstEnvironmentValue(run, {"KVR_TERM", "TAVDB_TERM", "TERM"});
  const bool complete = terminal != nullptr && name.Append(terminal) && name.Append(".def");
  if (!complete) name.Clear();
  return name;
}

// Replaces what stands behind the '.' of a default extension by `length` characters of the file
// and their terminator; keeps the default unless all of them are there.
void ReadExtension(int fd, std::int64_t offset, std::uint8_t length, FixedText<8>& extension) {
  std::array<std::uint8_t, kMaxExtensionLength + 1> bytes{};
  const std::span<std::uint8_t> wanted{bytes.data(), length + std::size_t{1}};
  if (ReadAt(fd, offset, wanted) != static_cast<std::int64_t>(wanted.size())) return;
  const char* characters = reinterpret_cast<const char*>(bytes.data());
  extension.Assign(".");
  extension.Append({characters, strnlen(characters, length)});
}

void ReadTerminalDefinition(RunContext& run, int fd) {
  std::uint8_t separator = 0;
  if (ReadAt(fd, kSeparatorOffset, {&separator, 1}) == 1 && separator != 0) {
    run.names.extSeparator = static_cast<char>(separator);
  }
  std::uint8_t length = 0;
  if (ReadAt(fd, kExtensionLengthOffset, {&length, 1}) != 1) return;
  if (length == 0 || length > kMaxExtensionLength) return;
  ReadExtension(fd, kDataExtensionOffset, length, run.names.dataExtension);
  if (run.control.indexMode) {
    ReadExtension(fd, kIndexExtensionOffset, length, run.names.indexExtension);
  }
}

}  // namespace

void ReadNameSettings(RunContext& run) {
  run.names.extSeparator = '.';
  run.names.dataExtension.Assign(".TXT");
  run.names.indexExtension.Assign(".ISI");
  ReadSearchPath(run);
  ReadNameCase(run);
  run.files.lastOpenPath = TerminalDefinitionName(run);
  if (run.files.lastOpenPath.Empty()) return;
  // Opened for update, as the programs that share the file do, but never written.
  int fd = OpenRegularFile(run.files.lastOpenPath.CStr(), O_RDWR);
  if (fd < 0) return;
  ReadTerminalDefinition(run, fd);
  CloseFile(fd);
}

}  // namespace tavindex
