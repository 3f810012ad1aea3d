// The fixture of the tests in this folder: an ISI being built, the sectors it wrote, and a tree fed
// key by key.
#pragma once

#include <fcntl.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "common/bytes.h"
#include "common/file.h"
#include "isi/isi_format.h"
#include "isi/tree_builder.h"
#include "support/run_test.h"

namespace tavindex::test {

// A key entry as it stands in a node.
struct Entry {
  std::uint32_t lfa = 0;
  std::uint32_t child = 0;
  std::uint32_t dupSeq = 0;
  std::uint32_t recLength = 0;
  std::string key;

  bool operator==(const Entry&) const = default;
};

inline void PrintTo(const Entry& entry, std::ostream* out) {
  *out << "{" << entry.lfa << ", child " << entry.child << ", dup " << entry.dupSeq << ", length "
       << entry.recLength << ", " << ::testing::PrintToString(entry.key) << "}";
}

struct Node {
  std::vector<Entry> entries;
  std::uint32_t level = 0;
  std::uint32_t lastChild = 0;
};

class TreeTest : public RunTest {
 protected:
  TreeTest() {
    run.files.outputFd =
        OpenFile(scratch.Path("data.isi").c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    run.files.outputFileName.Assign(scratch.Path("data.isi"));
    run.data.recordLength = 10;
  }
  Result Start(std::uint32_t keyLength) {
    run.isi.sectors.Free();
    const Result result = StartTree(run, keyLength, entry::Size(keyLength));
    // The builder writes from 2048 on.
    const std::string front(kFrontSize, '\0');
    WriteAll(run.files.outputFd, AsBytes(front));
    return result;
  }
  Result Insert(std::uint64_t position, const std::string& key, std::uint16_t length = 10) {
    return InsertKey(run, {.position = position, .recLength = length, .key = AsBytes(key).data()});
  }
  // Inserts `count` keys of four bytes, one for each 10 bytes of data.
  Result InsertMany(std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
      if (const Result result = Insert(std::uint64_t{i} * 10, KeyOf(i)); result != kOk)
        return result;
    }
    return kOk;
  }
  static std::string KeyOf(std::uint32_t number) {
    return {static_cast<char>(number >> 24), static_cast<char>(number >> 16),
            static_cast<char>(number >> 8), static_cast<char>(number)};
  }

  std::string File() const { return scratch.Read("data.isi"); }
  // The node in a sector, decoded by the places of its fields.
  Node NodeOf(std::string_view sector) const {
    const std::uint8_t* bytes = AsBytes(sector).data();
    const ByteOrder order = run.isi.byteOrder;
    const std::uint32_t keyLength = run.keys.keyLength;
    const std::uint32_t size = (12 + keyLength + 3) / 4 * 4;
    Node node;
    for (std::uint32_t i = 0; i < bytes[500]; ++i) {
      const std::uint8_t* at = bytes + i * size;
      node.entries.push_back({Load32(at, order), Load32(at + 4, order), Load16(at + 8, order),
                              Load16(at + 10, order), AsText({at + 12, keyLength})});
    }
    for (std::size_t i = 501; i < 506; ++i) EXPECT_EQ(bytes[i], 0) << "byte " << i;
    node.level = Load16(bytes + 506, order);
    node.lastChild = Load32(bytes + 508, order);
    return node;
  }
  Node NodeAt(std::size_t offset) const {
    const std::string file = File();
    EXPECT_LE(offset + 512, file.size());
    return NodeOf(std::string_view(file).substr(offset, 512));
  }
  Node OpenNode(std::uint32_t level) { return NodeOf(AsText({LevelNode(run, level), 512})); }
};

}  // namespace tavindex::test
