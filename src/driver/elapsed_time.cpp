#include "driver/elapsed_time.h"

#include <cstring>

namespace tavindex {

namespace {

constexpr std::size_t kClockOffset = 11;  // in "Thu Jan  1 00:00:00 1970\n"

char Digit(std::int64_t value) { return static_cast<char>(value | '0'); }

}  // namespace

void FormatElapsed(std::int64_t seconds, ClockText& text) {
  const std::int64_t inHour = seconds % 3600;
  text = {Digit(seconds / 36000),   Digit(seconds % 36000 / 3600), ':',
          Digit(inHour / 600),      Digit(inHour % 600 / 60),      ':',
          Digit(seconds % 60 / 10), Digit(seconds % 10),           '\0'};
}

ClockText ClockTime(std::time_t time) {
  std::array<char, 64> date{};  // ctime_r asks for 26 bytes
  ClockText clock{};
  if (ctime_r(&time, date.data()) != nullptr) {
    std::memcpy(clock.data(), date.data() + kClockOffset, kClockSize - 1);
  }
  return clock;
}

}  // namespace tavindex
