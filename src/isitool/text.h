// Texts for people: formatted lines, and bytes of files in a form that can be typed back.
#pragma once

#include <cstdint>
#include <ctime>
#include <span>
#include <string>
#include <string_view>

namespace tavindex {

[[gnu::format(printf, 1, 2)]] std::string Format(const char* format, ...);

inline std::string_view AsText(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

inline std::span<const std::uint8_t> AsBytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// The length of the well-formed UTF-8 sequence at the start of `text`, 1 for ASCII; 0 when none
// stands there (or the text is empty).
std::size_t Utf8Length(std::string_view text);

// Printable characters as they are, a backslash doubled, every other byte as \xNN: nothing in a
// file can steer the terminal.
std::string Visible(std::string_view bytes);

// Takes the form that Visible gives back to bytes. False when a backslash begins no such form.
bool FromVisible(std::string_view text, std::string& bytes);

std::string HexDigits(std::string_view bytes);

// "1 node", "2 nodes".
std::string Count(std::uint64_t count, std::string_view noun);

// Tenths of a percent, rounded down: 100 % is said only of the whole. 0 of nothing.
std::string Percent(std::uint64_t part, std::uint64_t whole);

std::string LocalTime(std::time_t time);
std::string UtcTime(std::time_t time);  // 2024-05-31T12:00:00Z

}  // namespace tavindex
