// Times as the timing line shows them.
#pragma once

#include <array>
#include <cstdint>
#include <ctime>

namespace tavindex {

inline constexpr std::size_t kClockSize = 9;  // "hh:mm:ss" and its terminator
using ClockText = std::array<char, kClockSize>;

// Writes the seconds as hours, minutes and seconds. Each digit is combined with '0' by OR, so
// from 100 hours on the first character is not a digit; the line has always been so.
void FormatElapsed(std::int64_t seconds, ClockText& text);

// The local time of day.
ClockText ClockTime(std::time_t time);

}  // namespace tavindex
