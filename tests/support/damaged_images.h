// Damaged copies of an index: every byte wrong in three ways, cut off anywhere, every sector
// nothing, a copy of the root, or pointing to itself and anywhere else. Each is handed to a judge
// with the words that tell it from the others; a judge that finds a failure ends the round.
// For programs that link the checker, whose layout it uses.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "isi_layout.h"

namespace tavindex::test {

using Image = std::vector<std::byte>;
using ImageJudge = std::function<void(const Image& image, const std::string& what)>;

// 00, FF, and one bit flipped.
inline void WithEveryByteWrong(const Image& good, const ImageJudge& judge) {
  for (std::size_t at = 0; at < good.size(); ++at) {
    const unsigned before = layout::Load8(good, at);
    for (const unsigned wrong : {0x00U, 0xFFU, before ^ 1U << at % 8}) {
      Image image = good;
      layout::Store8(image, at, wrong);
      judge(image, "byte " + std::to_string(at) + " is " + std::to_string(wrong));
      if (::testing::Test::HasFailure()) return;
    }
  }
}

// At every `step` bytes, and at one more.
inline void CutOffAnywhere(const Image& good, std::size_t step, const ImageJudge& judge) {
  for (std::size_t size = 0; size < good.size(); size += step) {
    for (const std::size_t cut : {size, size + 1}) {
      judge({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(cut)},
            "cut off at " + std::to_string(cut));
      if (::testing::Test::HasFailure()) return;
    }
  }
}

// The fields that are made to point are those of nodes and of sectors of deleted records, in the
// order of little-endian files.
inline void WithEverySectorWrong(const Image& good, const ImageJudge& judge) {
  const auto size = static_cast<std::uint32_t>(good.size());
  for (std::uint32_t at = 1024; at < size; at += 512) {
    const std::string name = "sector at " + std::to_string(at) + ": ";
    const auto begin = static_cast<std::ptrdiff_t>(at);
    for (const std::byte fill : {std::byte{0}, std::byte{0xFF}}) {
      Image image = good;
      std::fill_n(image.begin() + begin, 512, fill);
      judge(image, name + "filled");
    }
    Image image = good;
    std::copy_n(good.begin() + 1024, 512, image.begin() + begin);
    judge(image, name + "is the root");
    for (const std::uint32_t address : {at, 1024U, 1536U, size, size - 512, 0U, 1U, 0xFFFFFFFFU}) {
      for (const std::uint32_t field : {4U, 56U, 504U, 508U}) {
        image = good;
        layout::Store32(image, at + field, address, ByteOrder::kLittle);
        judge(image, name + std::to_string(field) + " points to " + std::to_string(address));
      }
    }
    if (::testing::Test::HasFailure()) return;
  }
}

}  // namespace tavindex::test
