// The bytes of a file.
#pragma once

#include <fstream>
#include <string>

namespace tavindex::test {

// In blocks: byte by byte, most of the time of the tests would go into it. Empty when the file
// cannot be opened.
inline std::string ReadFile(const std::string& path) {
  constexpr std::size_t kBlockSize = 65536;
  std::ifstream file(path, std::ios::binary);
  std::string bytes;
  std::size_t size = 0;
  while (file) {
    bytes.resize(size + kBlockSize);
    file.read(bytes.data() + size, kBlockSize);
    size += static_cast<std::size_t>(file.gcount());
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace tavindex::test
