#include "names/profile.h"

#include <fcntl.h>

#include <algorithm>
#include <cstring>

#include "common/file.h"
#include "names/text_case.h"

namespace tavindex {

namespace {

constexpr std::int64_t kNotFound = -1;
constexpr std::uint32_t kIniDataStart = 1;  // behind the guard byte
constexpr std::string_view kBlanks = " \t";

std::string_view TrimBehind(std::string_view text) {
  const std::size_t last = text.find_last_not_of(kBlanks);
  return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

std::string_view Trim(std::string_view text) {
  text = TrimBehind(text);
  return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

// Reads behind the unread bytes; false at the end of the file.
bool ReadMore(NameState& names, int fd) {
  const std::size_t start = kIniDataStart + names.iniBufCount;
  const std::span<char> room{names.iniBuffer.data() + start, kIniLineSize - names.iniBufCount};
  const std::int64_t count =
      ReadOnce(fd, {reinterpret_cast<std::uint8_t*>(room.data()), room.size()});
  if (count < 1) return false;
  names.iniBufCount += static_cast<std::uint32_t>(count);
  return true;
}

// Moves the unread bytes to the front and adds more; the last line of a file gets its line feed.
void ExtendLine(NameState& names, int fd) {
  std::memmove(names.iniBuffer.data() + kIniDataStart, names.iniBuffer.data() + names.iniReadPos,
               names.iniBufCount);
  names.iniReadPos = kIniDataStart;
  if (!ReadMore(names, fd)) names.iniBuffer[kIniDataStart + names.iniBufCount++] = '\n';
}

// Hands out the first `length` unread bytes as the line, its last byte being the line feed.
std::uint32_t TakeLine(NameState& names, std::uint32_t length) {
  names.iniLineStart = names.iniReadPos;
  names.iniReadPos += length;
  names.iniBufCount -= length;
  char* lineFeed = names.iniBuffer.data() + names.iniReadPos - 1;
  // The guard byte stands before the first byte, so looking one back is always allowed.
  if (lineFeed[-1] == '\r') --lineFeed;
  *lineFeed = '\0';
  return length;
}

std::string_view CurrentLine(const RunContext& run) {
  return run.names.iniBuffer.data() + run.names.iniLineStart;
}

// The name in a section header; a null view when the line is none.
std::string_view SectionName(std::string_view line) {
  if (line.empty() || line[0] != '[') return {};
  const std::size_t end = line.find(']');
  if (end == std::string_view::npos) return {};
  return Trim(line.substr(1, end - 1));
}

bool IsSectionHeader(std::string_view line) { return SectionName(line).data() != nullptr; }

bool FindSection(RunContext& run, int fd, std::string_view section) {
  while (ReadIniLine(run, fd) != 0) {
    const std::string_view line = CurrentLine(run);
    if (IsSectionHeader(line) && CompareNoCase(SectionName(line), section) == 0) return true;
  }
  return false;
}

// The next line of the section that holds an '='; a null view at the section's end.
std::string_view NextEntry(RunContext& run, int fd) {
  while (ReadIniLine(run, fd) != 0) {
    const std::string_view line = CurrentLine(run);
    if (!line.empty() && line[0] == '[') break;
    if (line.find('=') != std::string_view::npos) return line;
  }
  return {};
}

std::string_view EntryKey(std::string_view line) {
  return TrimBehind(line.substr(0, line.find('=')));
}

// Copies as much of `text` as fits in front of a terminator.
std::uint32_t CopyText(std::span<char> out, std::string_view text) {
  if (out.empty()) return 0;
  const std::size_t taken = std::min(text.size(), out.size() - 1);
  if (taken > 0) std::memcpy(out.data(), text.data(), taken);
  out[taken] = '\0';
  return static_cast<std::uint32_t>(taken);
}

std::int64_t GetIniValue(RunContext& run, int fd, const ProfileQuery& query, std::span<char> out) {
  if (!FindSection(run, fd, query.section)) return kNotFound;
  for (;;) {
    const std::string_view line = NextEntry(run, fd);
    if (line.data() == nullptr) return kNotFound;
    if (CompareNoCase(EntryKey(line), query.key) != 0) continue;
    return CopyText(out, Trim(line.substr(line.find('=') + 1)));
  }
}

// Collects terminated names, always keeping room for the two NULs that end the list.
class NameList {
 public:
  explicit NameList(std::span<char> out) : out_(out) {}

  void Add(std::string_view name) {
    for (const char c : name) {
      if (Room() > 3) out_[used_++] = c;
    }
    if (Room() >= 3) out_[used_++] = '\0';
  }
  std::int64_t End() {
    for (std::size_t i = used_; i < std::min(used_ + 2, out_.size()); ++i) out_[i] = '\0';
    return static_cast<std::int64_t>(used_);
  }

 private:
  std::size_t Room() const { return out_.size() - used_; }

  std::span<char> out_;
  std::size_t used_ = 0;
};

std::int64_t GetIniKeys(RunContext& run, int fd, const ProfileQuery& query, std::span<char> out) {
  if (!FindSection(run, fd, query.section)) return kNotFound;
  NameList list(out);
  for (;;) {
    const std::string_view line = NextEntry(run, fd);
    if (line.data() == nullptr) return list.End();
    list.Add(EntryKey(line));
  }
}

std::int64_t GetIniSections(RunContext& run, int fd, std::span<char> out) {
  NameList list(out);
  while (ReadIniLine(run, fd) != 0) {
    const std::string_view line = CurrentLine(run);
    if (IsSectionHeader(line)) list.Add(SectionName(line));
  }
  return list.End();
}

std::int64_t SearchProfile(RunContext& run, int fd, const ProfileQuery& query,
                           std::span<char> out) {
  StartIniFile(run);
  if (query.section == nullptr) return GetIniSections(run, fd, out);
  if (query.key == nullptr) return GetIniKeys(run, fd, query, out);
  return GetIniValue(run, fd, query, out);
}

}  // namespace

void StartIniFile(RunContext& run) {
  run.names.iniBuffer[0] = '\0';
  run.names.iniBufCount = 0;
}

std::uint32_t ReadIniLine(RunContext& run, int fd) {
  NameState& names = run.names;
  if (names.iniBufCount == 0) {
    names.iniReadPos = kIniDataStart;
    if (!ReadMore(names, fd)) return 0;
  }
  for (;;) {
    const std::string_view unread{names.iniBuffer.data() + names.iniReadPos, names.iniBufCount};
    const std::size_t lineFeed = unread.find('\n');
    if (lineFeed != std::string_view::npos) {
      return TakeLine(names, static_cast<std::uint32_t>(lineFeed) + 1);
    }
    if (names.iniBufCount == kIniLineSize) {
      names.iniLineStart = names.iniReadPos;
      names.iniBuffer[names.iniReadPos + kIniLineSize] = '\0';
      names.iniBufCount = 0;
      return kIniLineSize;
    }
    ExtendLine(names, fd);
  }
}

std::uint32_t GetProfileString(RunContext& run, const ProfileQuery& query, std::span<char> out,
                               const char* fileName) {
  const std::uint32_t defaultLength =
      CopyText(out, query.defaultText == nullptr ? "" : query.defaultText);
  run.files.lastOpenPath.Assign(fileName);
  int fd = OpenRegularFile(run.files.lastOpenPath.CStr(), O_RDONLY);
  if (fd < 0) return defaultLength;
  const std::int64_t found = SearchProfile(run, fd, query, out);
  CloseFile(fd);
  return found == kNotFound ? defaultLength : static_cast<std::uint32_t>(found);
}

}  // namespace tavindex
