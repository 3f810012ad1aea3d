#include "setup/stored_header.h"

#include <array>
#include <cstring>
#include <string_view>

#include "common/file.h"

namespace tavindex {

namespace {

using HeaderBytes = std::array<std::uint8_t, kHeaderSize>;

// The older layout: another version pair, and a shorter command line at another place.
constexpr std::size_t kOlderVersion = 52;
constexpr std::size_t kOlderCommandLine = 128;
constexpr std::size_t kOlderCommandLineSize = 256;

bool IsOlderLayout(const HeaderBytes& bytes) {
  return (bytes[kOlderVersion] ^ bytes[kOlderVersion + 1]) == 0xFF;
}

std::string_view TextAt(const HeaderBytes& bytes, std::size_t offset, std::size_t size) {
  const char* text = reinterpret_cast<const char*>(bytes.data() + offset);
  return {text, strnlen(text, size)};
}

}  // namespace

bool LoadStoredBuild(int fd, StoredBuild& stored) {
  HeaderBytes bytes{};
  if (ReadFully(fd, bytes) < 0) return false;
  stored.dataFileName.Assign(TextAt(bytes, header::kDataFileName, header::kDataFileNameSize));
  if (HasIsiSignature(bytes)) {
    stored.commandLine.Assign(TextAt(bytes, header::kCommandLine, header::kCommandLineSize));
    return true;
  }
  stored.olderLayout = IsOlderLayout(bytes);
  stored.commandLine.Assign(TextAt(bytes, kOlderCommandLine, kOlderCommandLineSize));
  return stored.olderLayout;
}

}  // namespace tavindex
