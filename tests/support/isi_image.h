// An ISI of no records, made by hand: header, empty root, and the slot of the deleted-record list.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tavindex::test {

inline constexpr std::size_t kImageName = 240;  // offset of the data file's name
inline constexpr std::size_t kImageLine = 496;  // offset of the stored command line

inline void PutBytes(std::string& image, std::size_t offset, std::string_view bytes) {
  image.replace(offset, bytes.size(), bytes);
}

// The index of a file of LF records of 5 bytes by a key of their first 3.
inline std::string EmptyIsi(std::string_view dataName, std::string_view line) {
  using namespace std::string_view_literals;
  std::string image(2048, '\0');
  PutBytes(image, 0, "KISI\x03\xFC\x80\x00"sv);  // signature, version, fileFlags, addrFlags
  PutBytes(image, 8, "\x05\x00\x03\x00"sv);      // record length, key length
  PutBytes(image, 16, "\xFF\xFF\xFF\xFF"sv);     // no deleted-record list
  PutBytes(image, 20, "\x00\x04\x00\x00"sv);     // root at 1024
  PutBytes(image, 24, "\xFF\xFF\xFF\xFF"sv);     // reserved
  PutBytes(image, 112, "\x00\x00\x03\x00"sv);    // key from column 0, 3 bytes
  PutBytes(image, kImageName, dataName);
  PutBytes(image, kImageLine, line);
  return image;
}

}  // namespace tavindex::test
