// One heap block that knows its size and frees itself. Allocation can fail and says so; the
// contents are not cleared unless asked for, so that a large buffer costs nothing until used.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <utility>

#include "common/system_calls.h"

namespace tavindex {

class Buffer {
 public:
  Buffer() = default;
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  ~Buffer() { Free(); }

  // Replaces what was held. Returns false (and holds nothing) when the memory was refused.
  bool Allocate(std::size_t size) {
    Free();
    return Hold(systemCalls.allocate(std::max<std::size_t>(size, 1)), size);
  }
  bool AllocateZeroed(std::size_t size) {
    Free();
    return Hold(systemCalls.allocateZeroed(std::max<std::size_t>(size, 1), 1), size);
  }
  void Free() {
    std::free(std::exchange(data_, nullptr));
    size_ = 0;
  }

  bool Allocated() const { return data_ != nullptr; }
  std::uint8_t* Data() { return data_; }
  const std::uint8_t* Data() const { return data_; }
  std::size_t Size() const { return size_; }
  std::span<std::uint8_t> Bytes() { return {data_, size_}; }

 private:
  bool Hold(void* data, std::size_t size) {
    data_ = static_cast<std::uint8_t*>(data);
    size_ = data_ == nullptr ? 0 : size;
    return data_ != nullptr;
  }

  std::uint8_t* data_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace tavindex
