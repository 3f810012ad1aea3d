// floor: the least that an index build must do.
//
//   floor DATA OUTPUT KEYLENGTH
//
// Reads the data file in blocks, finds the record ends, sorts the keys (at the front of each
// record) in memory by their first eight bytes, and writes leaves: sectors of 512 bytes with
// entries. No trains, no budget, no tree, no options, no checks of the records. It is the figure
// that a build is held against: what a build takes beyond it is what its features cost.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr std::size_t kBlockSize = 65536;
constexpr std::size_t kWriteSize = 262144;
constexpr std::size_t kSectorSize = 512;
constexpr std::size_t kEntryBytes = 500;
constexpr std::size_t kEntryHead = 12;  // address, child, sequence number, record length

struct Ref {
  std::uint64_t prefix;
  std::uint32_t record;
};

struct Keys {
  std::size_t length = 0;
  std::vector<std::uint8_t> bytes;  // of all records, one after the other
  std::vector<std::uint32_t> lfas;
  std::vector<Ref> refs;

  const std::uint8_t* Of(std::uint32_t record) const { return bytes.data() + record * length; }
};

void AddRecord(Keys& keys, const std::uint8_t* record, std::uint32_t lfa) {
  std::uint64_t prefix = 0;
  std::memcpy(&prefix, record, std::min(sizeof prefix, keys.length));
  keys.refs.push_back({__builtin_bswap64(prefix), static_cast<std::uint32_t>(keys.lfas.size())});
  keys.lfas.push_back(lfa);
  keys.bytes.insert(keys.bytes.end(), record, record + keys.length);
}

// Takes the whole records of the buffer; gives the bytes left behind the last.
std::size_t TakeRecords(Keys& keys, const std::uint8_t* at, std::size_t count, std::uint32_t& lfa) {
  while (const void* found = std::memchr(at, '\n', count)) {
    const auto length = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - at) + 1;
    if (length > keys.length) AddRecord(keys, at, lfa);
    lfa += static_cast<std::uint32_t>(length);
    at += length;
    count -= length;
  }
  return count;
}

bool Scan(Keys& keys, int fd) {
  std::array<std::uint8_t, 2 * kBlockSize> buffer;
  std::size_t kept = 0;
  std::uint32_t lfa = 0;
  for (;;) {
    const ssize_t count = read(fd, buffer.data() + kept, kBlockSize);
    if (count <= 0) return count == 0 && kept == 0;
    const std::size_t there = kept + static_cast<std::size_t>(count);
    kept = TakeRecords(keys, buffer.data(), there, lfa);
    if (kept >= kBlockSize) return false;
    std::memmove(buffer.data(), buffer.data() + there - kept, kept);
  }
}

void Sort(Keys& keys) {
  std::sort(keys.refs.begin(), keys.refs.end(), [&keys](const Ref& a, const Ref& b) {
    if (a.prefix != b.prefix) return a.prefix < b.prefix;
    const int order = std::memcmp(keys.Of(a.record), keys.Of(b.record), keys.length);
    return order != 0 ? order < 0 : a.record < b.record;
  });
}

bool WriteLeaves(const Keys& keys, int fd) {
  const std::size_t entrySize = (kEntryHead + keys.length + 3) / 4 * 4;
  const std::size_t capacity = kEntryBytes / entrySize;
  std::vector<std::uint8_t> buffer(kWriteSize);
  std::size_t used = 0;
  for (std::size_t at = 0; at < keys.refs.size(); at += capacity, used += kSectorSize) {
    if (used == kWriteSize) {
      if (write(fd, buffer.data(), used) != static_cast<ssize_t>(used)) return false;
      used = 0;
    }
    std::uint8_t* entry = buffer.data() + used;
    const std::size_t end = std::min(at + capacity, keys.refs.size());
    entry[kEntryBytes] = static_cast<std::uint8_t>(end - at);
    for (std::size_t i = at; i < end; ++i, entry += entrySize) {
      const std::uint32_t record = keys.refs[i].record;
      std::memcpy(entry, &keys.lfas[record], sizeof keys.lfas[record]);
      std::memcpy(entry + kEntryHead, keys.Of(record), keys.length);
    }
  }
  return write(fd, buffer.data(), used) == static_cast<ssize_t>(used);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fputs("usage: floor DATA OUTPUT KEYLENGTH\n", stderr);
    return 2;
  }
  Keys keys;
  keys.length = std::strtoul(argv[3], nullptr, 10);
  const int data = open(argv[1], O_RDONLY);
  const int output = open(argv[2], O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (data < 0 || output < 0 || keys.length == 0 || !Scan(keys, data)) {
    std::fputs("floor: cannot read the data or create the output\n", stderr);
    return 1;
  }
  Sort(keys);
  if (!WriteLeaves(keys, output) || close(output) != 0) {
    std::perror(argv[2]);
    return 1;
  }
  return 0;
}
