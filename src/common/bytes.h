// Explicit loads and stores of integers in file bytes. Nothing in the program lays a struct over
// the bytes of a file.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tavindex {

static_assert(std::endian::native == std::endian::little,
              "work files and sort items use the host's order, which must be little-endian");

enum class ByteOrder : std::uint8_t { kLittle, kBig };

inline std::uint16_t LoadLe16(const std::uint8_t* at) {
  std::uint16_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}
inline std::uint32_t LoadLe32(const std::uint8_t* at) {
  std::uint32_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}
inline std::uint64_t LoadLe64(const std::uint8_t* at) {
  std::uint64_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}
inline void StoreLe16(std::uint8_t* at, std::uint16_t value) {
  std::memcpy(at, &value, sizeof value);
}
inline void StoreLe32(std::uint8_t* at, std::uint32_t value) {
  std::memcpy(at, &value, sizeof value);
}
inline void StoreLe64(std::uint8_t* at, std::uint64_t value) {
  std::memcpy(at, &value, sizeof value);
}

inline std::uint16_t Load16(const std::uint8_t* at, ByteOrder order) {
  const std::uint16_t value = LoadLe16(at);
  return order == ByteOrder::kLittle ? value : __builtin_bswap16(value);
}
inline std::uint32_t Load32(const std::uint8_t* at, ByteOrder order) {
  const std::uint32_t value = LoadLe32(at);
  return order == ByteOrder::kLittle ? value : __builtin_bswap32(value);
}
inline void Store16(std::uint8_t* at, std::uint16_t value, ByteOrder order) {
  StoreLe16(at, order == ByteOrder::kLittle ? value : __builtin_bswap16(value));
}
inline void Store32(std::uint8_t* at, std::uint32_t value, ByteOrder order) {
  StoreLe32(at, order == ByteOrder::kLittle ? value : __builtin_bswap32(value));
}

}  // namespace tavindex
