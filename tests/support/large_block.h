// A block larger than the system gives with one read. Nothing but addresses: no byte of it may be
// touched, and the reads that fill it only count.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "support/system_calls_guard.h"

namespace tavindex::test {

class LargeBlock {
 public:
  static constexpr std::size_t kSize = std::size_t{5} << 29;  // 2.5 GiB
  static constexpr std::size_t kMostOfOneRead = 0x7FFFF000;   // bytes, on this system

  LargeBlock() {
    address_ =
        ::mmap(nullptr, kSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    EXPECT_NE(address_, MAP_FAILED);
  }
  ~LargeBlock() { ::munmap(address_, kSize); }
  LargeBlock(const LargeBlock&) = delete;
  LargeBlock& operator=(const LargeBlock&) = delete;

  std::span<std::uint8_t> Bytes() const { return {static_cast<std::uint8_t*>(address_), kSize}; }

  // From now on a read gives the next bytes of a file of `size` bytes, each to its place here.
  void ReadFrom(std::size_t size, SystemCallsGuard& calls) {
    taken_ = 0;
    calls.Replace<&SystemCalls::read>([this, size](int, void* to, std::size_t count) {
      EXPECT_EQ(to, Bytes().data() + taken_);
      const std::size_t given = std::min({count, size - taken_, kMostOfOneRead});
      taken_ += given;
      return static_cast<ssize_t>(given);
    });
  }

 private:
  void* address_ = MAP_FAILED;
  std::size_t taken_ = 0;
};

}  // namespace tavindex::test
