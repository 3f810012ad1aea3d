// Data files at the borders of 32-bit addresses, and more than 2^24 records. The data files are
// sparse, so that they take little room on the disk. What is in the header, and how large the index
// is, follows from the numbers; the tree is walked entry by entry.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "isi_checker.h"
#include "program_run.h"
#include "support/scratch_directory.h"
#include "tree_size.h"

namespace tavindex::test {
namespace {

using namespace layout;

constexpr std::uint64_t kFourGiB = std::uint64_t{1} << 32;

// A file's bytes without a copy of them.
class MappedFile {
 public:
  explicit MappedFile(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY);
    struct stat status {};
    if (fd >= 0 && ::fstat(fd, &status) == 0 && status.st_size > 0) {
      size_ = static_cast<std::size_t>(status.st_size);
      address_ = ::mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, fd, 0);
    }
    if (fd >= 0) ::close(fd);
  }
  ~MappedFile() {
    if (size_ > 0) ::munmap(address_, size_);
  }
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  tavindex::test::Bytes Bytes() const {
    if (address_ == MAP_FAILED) return {};
    return {static_cast<const std::byte*>(address_), size_};
  }

 private:
  void* address_ = MAP_FAILED;
  std::size_t size_ = 0;
};

struct Entry {
  std::uint64_t number = 0;  // in key order, from 0
  std::string_view key;
  std::uint32_t lfa = 0;
  std::uint16_t dupSeq = 0;
  std::uint16_t recLength = 0;
};

// Visits the entries of a sound tree with byte addresses in key order; keeps none of them.
class TreeWalk {
 public:
  using Visitor = std::function<void(const Entry&)>;

  TreeWalk(Bytes isi, Visitor visitor)
      : isi_(isi),
        keyLength_(Load16(isi, kKeyLength, ByteOrder::kLittle)),
        visitor_(std::move(visitor)) {}

  std::uint64_t Run() {
    Visit(kRootSector * kSectorSize);
    return visited_;
  }

 private:
  void Visit(std::size_t address) {
    const Bytes node = isi_.subspan(address, kSectorSize);
    for (std::size_t i = 0; i < Load8(node, kEntryCount); ++i) {
      const Bytes entry = node.subspan(i * EntrySize(keyLength_));
      VisitChild(Load32(entry, kEntryChild, ByteOrder::kLittle));
      visitor_({.number = visited_++,
                .key = {reinterpret_cast<const char*>(entry.data() + kEntryKey), keyLength_},
                .lfa = Load32(entry, kEntryLfa, ByteOrder::kLittle),
                .dupSeq = Load16(entry, kEntryDupSeq, ByteOrder::kLittle),
                .recLength = Load16(entry, kEntryRecLength, ByteOrder::kLittle)});
    }
    VisitChild(Load32(node, kLastChild, ByteOrder::kLittle));
  }
  void VisitChild(std::uint32_t address) {
    if (address != 0) Visit(address);
  }

  Bytes isi_;
  std::size_t keyLength_;
  Visitor visitor_;
  std::uint64_t visited_ = 0;
};

struct ExpectedHeader {
  unsigned fileFlags = 0;
  unsigned addrFlags = 0;
  unsigned recordLength = 0;
  unsigned keyLength = 0;
  std::uint32_t dataEnd = 0;
  std::uint32_t deletedListHead = kNoAddress;
  std::uint32_t rootNode = 0;
  std::uint32_t recordsIndexed = 0;
  std::uint32_t deletedCount = 0;
};

void CheckHeader(Bytes isi, const ExpectedHeader& expected) {
  constexpr ByteOrder kOrder = ByteOrder::kLittle;
  EXPECT_EQ(Load8(isi, kFileFlags), expected.fileFlags);
  EXPECT_EQ(Load8(isi, kAddrFlags), expected.addrFlags);
  EXPECT_EQ(Load16(isi, kRecordLength, kOrder), expected.recordLength);
  EXPECT_EQ(Load16(isi, kKeyLength, kOrder), expected.keyLength);
  EXPECT_EQ(Load32(isi, kDataEnd, kOrder), expected.dataEnd);
  EXPECT_EQ(Load32(isi, kDeletedListHead, kOrder), expected.deletedListHead);
  EXPECT_EQ(Load32(isi, kRootNode, kOrder), expected.rootNode);
  EXPECT_EQ(Load32(isi, kRecordsIndexed, kOrder), expected.recordsIndexed);
  EXPECT_EQ(Load32(isi, kDeletedCount, kOrder), expected.deletedCount);
}

// The number in `length` characters of 64, the last one the lowest place.
std::string KeyOf(std::uint64_t number, std::size_t length) {
  std::string key(length, '0');
  for (std::size_t i = length; i > 0; --i) {
    key[i - 1] = static_cast<char>('0' + number % 64);
    number /= 64;
  }
  return key;
}

class BigFile : public ::testing::Test {
 protected:
  // A data file of that size without a byte written.
  void MakeHole(std::uint64_t size) {
    data_ = ::open(scratch.Path("data.txt").c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    ASSERT_EQ(::ftruncate(data_, static_cast<off_t>(size)), 0);
  }
  void Put(std::uint64_t at, std::string_view bytes) {
    ASSERT_EQ(::pwrite(data_, bytes.data(), bytes.size(), static_cast<off_t>(at)),
              static_cast<ssize_t>(bytes.size()));
  }
  void CloseData(std::uint64_t mostBytesOnDisk) {
    struct stat status {};
    ASSERT_EQ(::fstat(data_, &status), 0);
    EXPECT_LE(static_cast<std::uint64_t>(status.st_blocks) * 512, mostBytesOnDisk);
    ::close(data_);
  }

  // Builds, and shows what it took.
  void Build(const std::string& fields, const std::string& options, const std::string& counts) {
    const ProgramResult result = RunProgram(scratch.Path(), {fields, options});
    std::printf("%s %s: %.1f s, %.1f s of CPU, %ld KiB of memory at most\n", fields.c_str(),
                options.c_str(), result.seconds, result.cpuSeconds, result.peakKilobytes);
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    EXPECT_NE(result.output.find("\n" + counts + "\n"), std::string::npos) << result.output;
    // The work area, the default sort memory and the buffers, never the data. (What this process
    // holds when it starts the program counts too: it is to hold little.)
    EXPECT_LT(result.peakKilobytes, 64 * 1024);
    EXPECT_EQ(scratch.FileCount(), 2U);
  }

  static void CheckTree(Bytes isi, std::uint64_t entries, std::uint64_t listSectors) {
    const TreeSize size = SizeOfTree(entries, 31);
    const Report report = CheckStructure(isi, {.builderShape = true});
    EXPECT_TRUE(report.Ok()) << report.Text();
    EXPECT_EQ(report.entries, entries);
    EXPECT_EQ(report.nodes, size.nodes);
    EXPECT_EQ(report.levels, size.levels);
    // The list's last sector has its place in front of the nodes.
    const std::uint64_t behind = listSectors == 0 ? 0 : listSectors - 1;
    EXPECT_EQ(isi.size(), size.FileBytes() + behind * kSectorSize);
  }

  ScratchDirectory scratch;

 private:
  int data_ = -1;
};

// ---- Text records of 65533 bytes and a LF: 65538 of them are 4 bytes less than 4 GiB ----

constexpr std::uint64_t kLongStride = 65534;
constexpr std::uint64_t kBelow = 65538;
static_assert(kBelow * kLongStride == kFourGiB - 4);

// Every 64th record is there, and the last one; the others are deleted.
class BigFileOfLongRecords : public BigFile {
 protected:
  static std::vector<std::uint64_t> LiveRecords(std::uint64_t records) {
    std::vector<std::uint64_t> live;
    for (std::uint64_t i = 0; i < records - 1; i += 64) live.push_back(i);
    live.push_back(records - 1);
    return live;
  }

  // The keys run against the records.
  void MakeData(std::uint64_t records) {
    MakeHole(records * kLongStride);
    for (const std::uint64_t i : LiveRecords(records)) {
      Put(i * kLongStride, KeyOf(records - i, 4));
      Put((i + 1) * kLongStride - 1, "\n");
    }
    CloseData(32 * 1024 * 1024);
  }

  // Addresses count `unit` bytes of the data file.
  static void CheckContents(Bytes isi, std::uint64_t records, std::uint64_t unit) {
    IsiContents contents;
    CheckStructure(isi, {.builderShape = true}, &contents);
    const std::vector<std::uint64_t> live = LiveRecords(records);
    const auto address = [&](std::uint64_t i) {
      return static_cast<std::uint32_t>(i * (kLongStride / unit));
    };
    std::vector<ModelEntry> entries;
    for (auto i = live.rbegin(); i != live.rend(); ++i) {
      entries.push_back({address(*i), 0, kLongStride, KeyOf(records - *i, 4)});
    }
    EXPECT_TRUE(contents.entries == entries);
    std::vector<std::uint32_t> deleted;
    for (std::uint64_t i = 0; i < records; ++i) {
      if (!std::binary_search(live.begin(), live.end(), i)) deleted.push_back(address(i));
    }
    EXPECT_TRUE(contents.deleted == deleted);
  }
};

// 1025 multiples of 64 and the last record; the others fill 512 list sectors of 126.
TEST_F(BigFileOfLongRecords, HasOffsetsBelowFourGiB) {
  MakeData(kBelow);
  Build("data.txt,index.isi,l65533", "-1-4", "1026 records, 64512 deleted entries");
  const MappedFile isi(scratch.Path("index.isi"));
  CheckHeader(isi.Bytes(), {.fileFlags = 0x80,
                            .recordLength = 65533,
                            .keyLength = 4,
                            .dataEnd = 0xFFFFFFFC,
                            .deletedListHead = 1536,
                            .rootNode = 1024,
                            .recordsIndexed = 1026,
                            .deletedCount = 64512});
  CheckTree(isi.Bytes(), 1026, 512);
  CheckContents(isi.Bytes(), kBelow, 1);
}

// One record more: the file passes 4 GiB, and one deleted record stands alone in the open sector.
TEST_F(BigFileOfLongRecords, HasNumbersAboveFourGiB) {
  MakeData(kBelow + 1);
  Build("data.txt,index.isi,l65533", "-1-4", "1026 records, 64513 deleted entries");
  const MappedFile isi(scratch.Path("index.isi"));
  CheckHeader(isi.Bytes(), {.fileFlags = 0x80,
                            .addrFlags = 0x01,
                            .recordLength = 65533,
                            .keyLength = 4,
                            .dataEnd = 65539,
                            .deletedListHead = 3,
                            .rootNode = 2,
                            .recordsIndexed = 1026,
                            .deletedCount = 64513});
  CheckTree(isi.Bytes(), 1026, 513);
  CheckContents(isi.Bytes(), kBelow + 1, kLongStride);
}

// ---- Binary records: 131072 of 32768 bytes are 4 GiB, and nearly all of them are deleted ----

TEST_F(BigFile, OfFourGiBHasNumbersInItsListToo) {
  constexpr std::uint64_t kStride = 32768;
  constexpr std::uint64_t kRecords = 131072;
  static_assert(kRecords * kStride == kFourGiB);
  constexpr std::array<std::uint32_t, 3> kLive = {0, 65536, 131071};
  MakeHole(kFourGiB);
  // The keys run against the records.
  Put(kLive[0] * kStride, "ccc");
  Put(kLive[1] * kStride, "bbb");
  Put(kLive[2] * kStride, "aaa");
  CloseData(1024 * 1024);
  Build("data.txt,index.isi", "-f=32768,1-3", "3 records, 131069 deleted entries");
  const MappedFile isi(scratch.Path("index.isi"));
  // Full list sectors hold 126: 1040 of them, and 29 addresses in the open one, sector 3.
  CheckHeader(isi.Bytes(), {.fileFlags = 0x10,
                            .addrFlags = 0x01,
                            .recordLength = 32768,
                            .keyLength = 3,
                            .dataEnd = 131072,
                            .deletedListHead = 3,
                            .rootNode = 2,
                            .recordsIndexed = 3,
                            .deletedCount = 131069});
  CheckTree(isi.Bytes(), 3, 1041);
  IsiContents contents;
  CheckStructure(isi.Bytes(), {.builderShape = true}, &contents);
  ASSERT_EQ(contents.deleted.size(), 131069U);
  EXPECT_EQ(contents.deleted.front(), 1U);
  EXPECT_EQ(contents.deleted[65534], 65535U);
  EXPECT_EQ(contents.deleted[65535], 65537U);
  EXPECT_EQ(contents.deleted.back(), 131070U);
  const std::vector<ModelEntry> expected = {
      {131071, 0, 32768, "aaa"}, {65536, 0, 32768, "bbb"}, {0, 0, 32768, "ccc"}};
  EXPECT_EQ(contents.entries, expected);
}

// ---- 2^24 + 1 records of 4 bytes and a LF ----

// Record i has the key i * 11184811 modulo 2^24, in 4 characters of 64: each key once, and the last
// record that of the first once more.
TEST_F(BigFile, OfMoreThanTwoToThe24Records) {
  constexpr std::uint64_t kKeys = std::uint64_t{1} << 24;
  constexpr std::uint64_t kStep = 11184811;  // odd: a permutation
  std::ofstream data(scratch.Path("data.txt"), std::ios::binary);
  for (std::uint64_t i = 0; i <= kKeys; ++i) data << KeyOf(i * kStep % kKeys, 4) << '\n';
  data.close();
  Build("data.txt,index.isi", "-1-4", "16777217 records, 0 deleted entries");
  std::vector<std::uint32_t> byKey(kKeys);
  for (std::uint32_t i = 0; i < kKeys; ++i) byKey[i * kStep % kKeys] = i;
  const MappedFile isi(scratch.Path("index.isi"));
  CheckHeader(isi.Bytes(), {.fileFlags = 0x80,
                            .recordLength = 4,
                            .keyLength = 4,
                            .dataEnd = 16777217 * 5,
                            .rootNode = 1024,
                            .recordsIndexed = 16777217});
  CheckTree(isi.Bytes(), kKeys + 1, 0);
  std::uint64_t wrong = 0;
  TreeWalk walk(isi.Bytes(), [&](const Entry& entry) {
    // The second entry is the first key's other record.
    const std::uint64_t key = entry.number == 0 ? 0 : entry.number - 1;
    const std::uint64_t record = entry.number == 1 ? kKeys : byKey[key];
    const bool right = entry.key == KeyOf(key, 4) && entry.lfa == record * 5 &&
                       entry.dupSeq == (entry.number == 1 ? 1 : 0) && entry.recLength == 5;
    wrong += right ? 0 : 1;
  });
  EXPECT_EQ(walk.Run(), kKeys + 1);
  EXPECT_EQ(wrong, 0U);
}

}  // namespace
}  // namespace tavindex::test
