// Case folding of names. Only the ASCII letters fold, whatever the locale.
#pragma once

#include <span>
#include <string_view>

namespace tavindex {

constexpr char UpperChar(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }

// The signed difference of the first characters that differ after folding to upper case (a
// missing character counts as 0), or 0 when the texts are equal.
int CompareNoCase(std::string_view a, std::string_view b);

// Lower-cases in place.
void LowerName(std::span<char> name);

}  // namespace tavindex
