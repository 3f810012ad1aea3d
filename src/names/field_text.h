// The grammar of the file fields at the start of a command line: what separates them and where
// they end.
#pragma once

#include <cstddef>
#include <string_view>

namespace tavindex {

inline constexpr std::size_t kNameCapacity = 250;  // characters that a name field may take

// A command line being read; `at` is the next character.
struct FieldText {
  std::string_view line;
  std::size_t at = 0;

  char Next() const { return at < line.size() ? line[at] : '\0'; }
  // Whether the options begin where a field would: this field and those behind it are empty.
  bool OptionsBegin() const { return at >= line.size() || Next() == '-' || Next() == ';'; }
  // Whether a field may end here.
  bool FieldEnds() const {
    return at >= line.size() || Next() == ',' || Next() == ' ' || Next() == ';';
  }
};

// Moves past blanks, one comma and more blanks.
inline void SkipSeparator(FieldText& text) {
  while (text.Next() == ' ') ++text.at;
  if (text.Next() != ',') return;
  ++text.at;
  while (text.Next() == ' ') ++text.at;
}

}  // namespace tavindex
