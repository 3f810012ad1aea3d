// ISI images put together by hand. The offsets are written out as numbers here, a third time, so
// that the tests of the checker do not lean on the checker's own constants.

#ifndef TESTS_CHECKER_HAND_IMAGE_H_
#define TESTS_CHECKER_HAND_IMAGE_H_

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace tavindex::test {

struct HandEntry {
  std::string_view key;
  std::uint32_t lfa = 0;
  std::uint32_t child = 0;
  unsigned dupSeq = 0;
  unsigned recLength = 11;
};

// Defaults: keys of 4 bytes in columns 1 to 4 of 10-byte records with LF, little-endian.
class HandImage {
 public:
  explicit HandImage(std::size_t size, bool big = false) : bytes_(size), big_(big) {
    Text(0, "KISI");
    Put8(4, big ? 0xFC : 0x03);
    Put8(5, big ? 0x03 : 0xFC);
    Put8(6, 0x80);
    Put16(8, 10);
    Put16(10, 4);
    Put32(16, 0xFFFFFFFF);
    Put32(20, 1024);
    Put32(24, 0xFFFFFFFF);
    Put16(112, 0);
    Put16(114, 4);
    Text(240, "data.txt");
    Text(496, "data -1-4");
  }

  void Put8(std::size_t at, unsigned value) { bytes_.at(at) = static_cast<std::byte>(value); }
  void Put16(std::size_t at, unsigned value) {
    Put8(at, big_ ? value >> 8 & 0xFF : value & 0xFF);
    Put8(at + 1, big_ ? value & 0xFF : value >> 8 & 0xFF);
  }
  void Put32(std::size_t at, std::uint32_t value) {
    Put16(at, big_ ? value >> 16 : value & 0xFFFF);
    Put16(at + 2, big_ ? value & 0xFFFF : value >> 16);
  }
  void Text(std::size_t at, std::string_view text) {
    for (const char c : text) Put8(at++, static_cast<unsigned char>(c));
  }

  void Counts(std::uint32_t dataEnd, std::uint32_t records, std::uint32_t deleted) {
    Put32(12, dataEnd);
    Put32(44, records);
    Put32(48, deleted);
  }

  // Entries of 16 bytes: what 12 bytes and a key of 1 to 4 bytes come to.
  void Node(std::size_t at, unsigned level, const std::vector<HandEntry>& entries,
            std::uint32_t lastChild) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const std::size_t entry = at + 16 * i;
      Put32(entry, entries[i].lfa);
      Put32(entry + 4, entries[i].child);
      Put16(entry + 8, entries[i].dupSeq);
      Put16(entry + 10, entries[i].recLength);
      Text(entry + 12, entries[i].key);
    }
    Put8(at + 500, static_cast<unsigned>(entries.size()));
    Put16(at + 506, level);
    Put32(at + 508, lastChild);
  }

  void List(std::size_t at, const std::vector<std::uint32_t>& addresses, std::uint32_t previous) {
    for (std::size_t i = 0; i < addresses.size(); ++i) Put32(at + 4 * i, addresses[i]);
    Put32(at + 504, previous);
    Put16(at + 508, static_cast<unsigned>(addresses.size()));
    Put8(at + 510, 0xF9);
    Put8(at + 511, 0xFD);
  }

  const std::vector<std::byte>& Bytes() const { return bytes_; }
  std::vector<std::byte>& Bytes() { return bytes_; }

 private:
  std::vector<std::byte> bytes_;
  bool big_;
};

}  // namespace tavindex::test

#endif  // TESTS_CHECKER_HAND_IMAGE_H_
