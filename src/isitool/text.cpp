#include "isitool/text.h"

#include <array>
#include <cstdarg>
#include <cstdio>

namespace tavindex {

namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";

// What follows the first byte of a sequence: how many bytes, and the range of the first of them,
// which keeps out overlong forms, surrogates and what lies above 10FFFF.
struct Utf8Form {
  std::size_t length;
  unsigned low;
  unsigned high;
};

Utf8Form FormOf(unsigned first) {
  if (first >= 0xC2 && first <= 0xDF) return {2, 0x80, 0xBF};
  if (first == 0xE0) return {3, 0xA0, 0xBF};
  if (first == 0xED) return {3, 0x80, 0x9F};
  if (first >= 0xE1 && first <= 0xEF) return {3, 0x80, 0xBF};
  if (first == 0xF0) return {4, 0x90, 0xBF};
  if (first >= 0xF1 && first <= 0xF3) return {4, 0x80, 0xBF};
  if (first == 0xF4) return {4, 0x80, 0x8F};
  return {0, 0, 0};
}

unsigned ByteAt(std::string_view text, std::size_t at) {
  return static_cast<unsigned char>(text[at]);
}

// U+0080 to U+009F are control characters.
bool IsControlPair(std::string_view text) {
  return ByteAt(text, 0) == 0xC2 && ByteAt(text, 1) < 0xA0;
}

// U+FFFE and U+FFFF are no characters, and no XML document may hold them.
bool IsNoCharacter(std::string_view text) {
  return text.starts_with("\xEF\xBF\xBE") || text.starts_with("\xEF\xBF\xBF");
}

bool IsPrintable(std::string_view text, std::size_t length) {
  if (length == 1) return text[0] >= ' ' && text[0] != '\x7F';
  return length > 1 && !IsControlPair(text) && !IsNoCharacter(text);
}

int HexValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  const char letter = static_cast<char>(digit | 32);
  return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

// The byte of a form \xNN or \\ at the start of `text`; how many characters it takes, 0 for none.
std::size_t ReadEscape(std::string_view text, char& byte) {
  if (text.starts_with("\\\\")) {
    byte = '\\';
    return 2;
  }
  if (text.size() < 4 || !text.starts_with("\\x")) return 0;
  const int high = HexValue(text[2]);
  const int low = HexValue(text[3]);
  byte = static_cast<char>(high * 16 + low);
  return high < 0 || low < 0 ? 0 : 4;
}

std::string TimeText(const char* format, const std::tm& time) {
  std::array<char, 64> text{};
  return {text.data(), std::strftime(text.data(), text.size(), format, &time)};
}

}  // namespace

std::string Format(const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  std::va_list again;
  va_copy(again, values);
  const int length = std::vsnprintf(nullptr, 0, format, values);
  va_end(values);
  std::string text(length < 0 ? 0 : static_cast<std::size_t>(length) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, again);
  va_end(again);
  if (!text.empty()) text.pop_back();  // the terminator
  return text;
}

std::size_t Utf8Length(std::string_view text) {
  if (text.empty()) return 0;
  const unsigned first = ByteAt(text, 0);
  if (first < 0x80) return 1;
  const Utf8Form form = FormOf(first);
  if (form.length == 0 || text.size() < form.length) return 0;
  if (ByteAt(text, 1) < form.low || ByteAt(text, 1) > form.high) return 0;
  for (std::size_t i = 2; i < form.length; ++i) {
    if ((ByteAt(text, i) & 0xC0) != 0x80) return 0;
  }
  return form.length;
}

std::string Visible(std::string_view bytes) {
  std::string text;
  while (!bytes.empty()) {
    const std::size_t length = Utf8Length(bytes);
    if (bytes[0] == '\\') {
      text += "\\\\";
    } else if (IsPrintable(bytes, length)) {
      text += bytes.substr(0, length);
    } else {
      text += Format("\\x%02X", ByteAt(bytes, 0));
    }
    const bool whole = length > 1 && IsPrintable(bytes, length);
    bytes.remove_prefix(whole ? length : 1);
  }
  return text;
}

bool FromVisible(std::string_view text, std::string& bytes) {
  bytes.clear();
  while (!text.empty()) {
    char byte = text[0];
    std::size_t taken = 1;
    if (byte == '\\') taken = ReadEscape(text, byte);
    if (taken == 0) return false;
    bytes += byte;
    text.remove_prefix(taken);
  }
  return true;
}

std::string HexDigits(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kHexDigits[byte >> 4];
    text += kHexDigits[byte & 15];
  }
  return text;
}

std::string Count(std::uint64_t count, std::string_view noun) {
  std::string text = std::to_string(count) + " " + std::string(noun);
  if (count == 1) return text;
  if (noun.ends_with('y') && !noun.ends_with("ey")) {
    text.back() = 'i';
    return text + "es";
  }
  return text + "s";
}

std::string Percent(std::uint64_t part, std::uint64_t whole) {
  const std::uint64_t tenths = whole == 0 ? 0 : part * 1000 / whole;
  return Format("%llu.%llu %%", static_cast<unsigned long long>(tenths / 10),
                static_cast<unsigned long long>(tenths % 10));
}

std::string LocalTime(std::time_t time) {
  std::tm parts{};
  if (::localtime_r(&time, &parts) == nullptr) return "?";
  return TimeText("%Y-%m-%d %H:%M:%S", parts);
}

std::string UtcTime(std::time_t time) {
  std::tm parts{};
  if (::gmtime_r(&time, &parts) == nullptr) return "?";
  return TimeText("%Y-%m-%dT%H:%M:%SZ", parts);
}

}  // namespace tavindex
