#include "names/text_case.h"

#include <algorithm>
#include <cstddef>

namespace tavindex {

int CompareNoCase(std::string_view a, std::string_view b) {
  const auto folded = [](std::string_view text, std::size_t index) {
    return index < text.size() ? static_cast<unsigned char>(UpperChar(text[index])) : 0;
  };
  const std::size_t longest = std::max(a.size(), b.size());
  for (std::size_t i = 0; i < longest; ++i) {
    const int difference = folded(a, i) - folded(b, i);
    if (difference != 0) return difference;
  }
  return 0;
}

void LowerName(std::span<char> name) {
  for (char& c : name) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
}

}  // namespace tavindex
