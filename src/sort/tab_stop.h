// TAB expansion: a TAB stands for the spaces up to the next column that is a multiple of 8.
#pragma once

#include <cstdint>

namespace tavindex {

inline constexpr std::uint8_t kTab = 9;

constexpr std::uint32_t SpacesToTabStop(std::uint32_t column) { return 8 - column % 8; }

}  // namespace tavindex
