// A text in a buffer of fixed size, always terminated. The run's names are kept in such texts so
// that the interrupt handler finds them without touching the heap.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace tavindex {

template <std::size_t kSize>
class FixedText {
 public:
  static constexpr std::size_t kCapacity = kSize - 1;  // characters, without the terminator

  // Each writer returns false when the text did not fit and was cut.
  bool Assign(std::string_view text) {
    size_ = 0;
    return Append(text);
  }
  bool Append(std::string_view text) {
    const std::size_t taken = std::min(text.size(), kCapacity - size_);
    if (taken > 0) std::memmove(&chars_[size_], text.data(), taken);
    size_ += taken;
    chars_[size_] = '\0';
    return taken == text.size();
  }
  bool Append(char c) { return Append(std::string_view(&c, 1)); }
  void Truncate(std::size_t size) {
    size_ = std::min(size, size_);
    chars_[size_] = '\0';
  }
  void Clear() { Truncate(0); }

  std::string_view View() const { return {chars_.data(), size_}; }
  const char* CStr() const { return chars_.data(); }
  std::size_t Size() const { return size_; }
  bool Empty() const { return size_ == 0; }
  char operator[](std::size_t index) const { return chars_[index]; }

  // The characters themselves, for the system calls and parsers that rewrite a text in place.
  char* Data() { return chars_.data(); }

 private:
  std::array<char, kSize> chars_{};
  std::size_t size_ = 0;
};

}  // namespace tavindex
