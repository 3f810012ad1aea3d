// Lines that wait to be written in one block. An interrupt that comes at any moment finds whole
// lines only.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <string_view>
#include <utility>

namespace tavindex {

template <std::size_t kSize>
class WaitingLines {
 public:
  bool Empty() const { return used_ == 0; }
  bool HasRoomFor(std::string_view line) const { return line.size() <= kSize - used_; }

  // Needs room for the line.
  void Add(std::string_view line) {
    std::copy(line.begin(), line.end(), text_.begin() + static_cast<std::ptrdiff_t>(used_));
    std::atomic_signal_fence(std::memory_order_release);
    used_ += line.size();
  }

  // What is waiting, as it stands.
  std::string_view Text() const { return {text_.data(), used_}; }

  // What was waiting; it stays readable until the next Add.
  std::string_view Take() { return {text_.data(), std::exchange(used_, 0)}; }

 private:
  std::array<char, kSize> text_{};
  std::size_t used_ = 0;
};

}  // namespace tavindex
