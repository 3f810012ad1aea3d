#include "isi/duplicates.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <span>

#include "common/console.h"
#include "common/file.h"

namespace tavindex {

namespace {

// "Duplicate Key ignored at:", a 16-wide address, " Key:", 150 key bytes, a blank and the end.
constexpr std::size_t kLineSize = 256;

Result WriteErrorLine(RunContext& run, const char* line) {
  if (run.files.errorFd < 0) return kOk;
  const std::string_view text = line;
  if (WriteAll(run.files.errorFd,
               {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()})) {
    return kOk;
  }
  run.files.workFile = run.files.errorFd;
  return kNodeWriteFailed;
}

}  // namespace

Result ReportDuplicate(RunContext& run, const KeyItem& item) {
  const OptionState& options = run.options;
  const bool wanted = options.errorFileWanted || options.rejectDups;
  if (!wanted || options.quietDups) return kOk;
  std::array<char, kLineSize> line{};
  const int length = std::snprintf(
      line.data(), line.size(), "Duplicate Key %sat:%16llX Key:%.*s ",
      options.ignoreDups ? "ignored " : "", static_cast<unsigned long long>(item.position),
      static_cast<int>(run.keys.keyLength), reinterpret_cast<const char*>(item.key));
  const std::span<char> end{line.data() + length, line.size() - static_cast<std::size_t>(length)};
  if (options.rejectDups) {
    std::snprintf(end.data(), end.size(), "\n");
    ShowMessage(run, line.data());
  }
  std::snprintf(end.data(), end.size(), "\r\n");
  return WriteErrorLine(run, line.data());
}

Result ReportTreeLimit(RunContext& run) {
  std::array<char, kLineSize> line{};
  std::snprintf(line.data(), line.size(),
                "\nError! Tree level limit (%u) can only support %llu records for this ISI file! "
                "\r\n",
                kTreeLevels, static_cast<unsigned long long>(TreeCapacity(run)));
  // The driver shows the limit on the console whether or not the error file took the line.
  WriteErrorLine(run, line.data());
  return kTreeLevelLimit;
}

}  // namespace tavindex
