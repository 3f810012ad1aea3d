#include "isitool/progress.h"

#include <unistd.h>

#include "isitool/text.h"

namespace tavindex {

namespace {

constexpr std::uint64_t kStepsBetweenLooks = 512;
constexpr auto kTimeBetweenLines = std::chrono::milliseconds(200);

}  // namespace

Progress::Progress(std::FILE* stream) : stream_(stream), shown_(::isatty(::fileno(stream)) != 0) {}

void Progress::Begin(const char* what, std::uint64_t whole) {
  what_ = what;
  whole_ = whole;
  next_ = 0;
}

void Progress::Show(std::uint64_t done) {
  next_ = done + kStepsBetweenLooks;
  const auto now = std::chrono::steady_clock::now();
  if (now - last_ < kTimeBetweenLines) return;
  last_ = now;
  const std::string text = Format("\r%s: %s", what_.c_str(), Percent(done, whole_).c_str());
  std::fputs((text + "\x1B[K").c_str(), stream_);
  std::fflush(stream_);
  onScreen_ = true;
}

void Progress::Clear() {
  if (!onScreen_) return;
  std::fputs("\r\x1B[K", stream_);
  std::fflush(stream_);
  onScreen_ = false;
}

}  // namespace tavindex
