// Eight key bytes as one number: most comparisons end there, without a look at the item.
#pragma once

#include <cstdint>
#include <cstring>

#include "common/bytes.h"

namespace tavindex {

// The first eight of `length` bytes as a big-endian number, zeros behind a shorter text. Numbers
// of texts of one length compare as the texts do.
inline std::uint64_t KeyPrefix(const std::uint8_t* bytes, std::uint32_t length) {
  std::uint64_t value = 0;
  if (length >= sizeof value) {
    value = LoadLe64(bytes);
  } else {
    std::memcpy(&value, bytes, length);
  }
  return __builtin_bswap64(value);
}

}  // namespace tavindex
