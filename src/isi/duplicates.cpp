#include "isi/duplicates.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "common/console.h"
#include "isi/error_lines.h"

namespace tavindex {

namespace {

constexpr std::size_t kPositionWidth = 16;

// "Duplicate Key ignored at:", an address, " Key:", 150 key bytes, a blank and the end.
constexpr std::size_t kLineSize = 256;
using Line = std::array<char, kLineSize>;

char* PutText(char* at, std::string_view text) { return std::copy(text.begin(), text.end(), at); }

// In hexadecimal capitals, blanks before them.
char* PutPosition(char* at, std::uint64_t position) {
  std::fill_n(at, kPositionWidth, ' ');
  char* const end = at + kPositionWidth;
  char* digit = end;
  do {
    *--digit = "0123456789ABCDEF"[position % 16];
    position /= 16;
  } while (position != 0);
  return end;
}

// The key up to its first NUL.
char* PutKey(char* at, const std::uint8_t* key, std::uint32_t keyLength) {
  return std::copy(key, std::find(key, key + keyLength, 0), at);
}

// Composes all of the line but its end; gives where that goes. By hand, because a format takes as
// long as all the rest of a record's way through the build.
char* ComposeDuplicate(const RunContext& run, const KeyItem& item, Line& line) {
  const bool ignored = run.options.ignoreDups;
  char* at = PutText(line.data(), ignored ? "Duplicate Key ignored at:" : "Duplicate Key at:");
  at = PutPosition(at, item.position);
  at = PutText(at, " Key:");
  at = PutKey(at, item.key, run.keys.keyLength);
  return PutText(at, " ");
}

std::string_view Text(const Line& line, const char* end) {
  return {line.data(), static_cast<std::size_t>(end - line.data())};
}

}  // namespace

Result ReportDuplicate(RunContext& run, const KeyItem& item) {
  const OptionState& options = run.options;
  const bool wanted = options.errorFileWanted || options.rejectDups;
  if (!wanted || options.quietDups) return kOk;
  Line line;
  char* const end = ComposeDuplicate(run, item, line);
  if (options.rejectDups) ShowLine(run, Text(line, PutText(end, "\n")));
  return AddErrorLine(run, Text(line, PutText(end, "\r\n"))) ? kOk : kNodeWriteFailed;
}

Result ReportTreeLimit(RunContext& run) {
  Line line;
  const int length = std::snprintf(
      line.data(), line.size(),
      "\nError! Tree level limit (%u) can only support %llu records for this ISI file! \r\n",
      kTreeLevels, static_cast<unsigned long long>(TreeCapacity(run)));
  // The driver shows the limit on the console whether or not the error file took the line.
  AddErrorLine(run, Text(line, line.data() + length));
  return kTreeLevelLimit;
}

}  // namespace tavindex
