#include "names/file_name.h"

#include <algorithm>

namespace tavindex {

namespace {

constexpr std::string_view kLongStops = "<>*|?\";, ";
constexpr std::string_view kLongForbidden = "<>*|?";
constexpr std::string_view kShortStops = "<>*|?+=[];,\\#^&()\" ";
constexpr std::string_view kShortForbidden = "<>*|?+=[];,\\#^&() ";

bool InSet(std::string_view set, char c) {
  return c == '\0' || set.find(c) != std::string_view::npos;
}

std::int32_t Position(std::size_t at) { return static_cast<std::int32_t>(at); }

std::int32_t ParsePlainName(std::string_view source, std::size_t at, PathText& name,
                            std::size_t capacity, std::string_view stops) {
  for (; at < source.size() && !InSet(stops, source[at]); ++at) {
    if (name.Size() == capacity || !name.Append(source[at])) return kNameOverflow;
  }
  return Position(at);
}

// `at` is behind the opening quote.
std::int32_t ParseQuotedName(std::string_view source, std::size_t at, PathText& name,
                             std::size_t capacity, std::string_view forbidden) {
  for (; at < source.size(); ++at) {
    if (source[at] == '"') {
      const bool doubled = at + 1 < source.size() && source[at + 1] == '"';
      if (!doubled) return Position(at + 1);
      ++at;  // both quotes are dropped and the name goes on
      continue;
    }
    if (InSet(forbidden, source[at])) break;
    if (name.Size() == capacity || !name.Append(source[at])) return kNameOverflow;
  }
  name.Clear();
  return kInvalidName;
}

}  // namespace

std::int32_t ParseFileName(std::string_view source, PathText& name, std::size_t capacity,
                           NameRule rule) {
  name.Clear();
  if (source.empty() || capacity == 0) return 0;
  const std::size_t start = source.find_first_not_of(' ');
  if (start == std::string_view::npos) return kInvalidName;
  const bool longNames = rule == NameRule::kLong;
  if (source[start] != '"') {
    return ParsePlainName(source, start, name, capacity, longNames ? kLongStops : kShortStops);
  }
  return ParseQuotedName(source, start + 1, name, capacity,
                         longNames ? kLongForbidden : kShortForbidden);
}

}  // namespace tavindex
