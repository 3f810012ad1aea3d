// Decimal numbers as the command line writes them. Every number saturates; nothing wraps.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tavindex {

constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }

struct Decimal {
  std::uint32_t value = 0;  // stops growing at 4294967295
  std::size_t digits = 0;   // characters consumed; 0 when no digit stood there
};

// The number at the start of `text`, up to the first other character.
constexpr Decimal ReadDecimal(std::string_view text) {
  std::uint64_t value = 0;
  std::size_t digits = 0;
  for (; digits < text.size() && IsDigit(text[digits]); ++digits) {
    value = std::min<std::uint64_t>(value * 10 + static_cast<std::uint64_t>(text[digits] - '0'),
                                    UINT32_MAX);
  }
  return {static_cast<std::uint32_t>(value), digits};
}

// An optional sign, then digits; the result lies in -2147483648 .. 4294967295.
constexpr std::int64_t ReadSignedDecimal(std::string_view text) {
  const bool negative = !text.empty() && text[0] == '-';
  if (negative || (!text.empty() && text[0] == '+')) text.remove_prefix(1);
  const std::int64_t value = ReadDecimal(text).value;
  return negative ? std::max<std::int64_t>(-value, INT32_MIN) : value;
}

}  // namespace tavindex
