// The bytes of an ISI file as the checker knows them.
//
// This is a second, separate statement of the format: nothing here is shared with the program, so
// that a wrong offset there cannot be repeated here unseen.
//
//   0     header, 1024 bytes
//   1024  root node, always in this place
//   1536  the open list sector of deleted records, or unused
//   2048  nodes and full list sectors, 512 bytes each
//
// An address is a byte offset; in record-number mode it is the sector's number (root: 2).

#ifndef TESTS_CHECKER_ISI_LAYOUT_H_
#define TESTS_CHECKER_ISI_LAYOUT_H_

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tavindex::test {

using Bytes = std::span<const std::byte>;
using MutableBytes = std::span<std::byte>;

enum class ByteOrder { kLittle, kBig };

namespace layout {

inline constexpr std::size_t kSectorSize = 512;
inline constexpr std::size_t kHeaderSize = 1024;
inline constexpr std::size_t kSmallestFile = 2048;
inline constexpr std::size_t kRootSector = 2;
inline constexpr std::size_t kOpenListSector = 3;
inline constexpr std::size_t kFirstFreeSector = 4;
inline constexpr std::uint32_t kNoAddress = 0xFFFFFFFFU;
inline constexpr unsigned kMaxLevels = 16;

inline constexpr std::uint8_t kVersionLow = 0x03;
inline constexpr std::uint8_t kVersionHigh = 0xFC;

// Header offsets.
inline constexpr std::size_t kSignature = 0;
inline constexpr std::size_t kVersion = 4;
inline constexpr std::size_t kVersionCheck = 5;
inline constexpr std::size_t kFileFlags = 6;
inline constexpr std::size_t kAddrFlags = 7;
inline constexpr std::size_t kRecordLength = 8;
inline constexpr std::size_t kKeyLength = 10;
inline constexpr std::size_t kDataEnd = 12;
inline constexpr std::size_t kDeletedListHead = 16;
inline constexpr std::size_t kRootNode = 20;
inline constexpr std::size_t kReserved24 = 24;
inline constexpr std::size_t kSpinCounter = 32;
inline constexpr std::size_t kRecordsIndexed = 44;
inline constexpr std::size_t kDeletedCount = 48;
inline constexpr std::size_t kConditionTable = 64;
inline constexpr std::size_t kConditionSlots = 10;
inline constexpr std::size_t kKeyTable = 112;
inline constexpr std::size_t kKeySlots = 32;
inline constexpr std::size_t kMaxKeyFields = 31;
inline constexpr std::size_t kSlotSize = 4;
inline constexpr std::size_t kDataFileName = 240;
inline constexpr std::size_t kDataFileNameSize = 256;
inline constexpr std::size_t kCommandLine = 496;
inline constexpr std::size_t kCommandLineSize = 528;

// fileFlags.
inline constexpr std::uint8_t kFlagWriteAll = 0x01;
inline constexpr std::uint8_t kFlagVariable = 0x02;
inline constexpr std::uint8_t kFlagNoDuplicates = 0x04;
inline constexpr std::uint8_t kFlagCompressed = 0x08;
inline constexpr std::uint8_t kFlagBinary = 0x10;
inline constexpr std::uint8_t kFlagIrregular = 0x20;
inline constexpr std::uint8_t kFlagTwoByteMark = 0x40;
inline constexpr std::uint8_t kFlagLineFeedFirst = 0x80;
inline constexpr std::uint8_t kMarkFlags = kFlagTwoByteMark | kFlagLineFeedFirst;

// addrFlags.
inline constexpr std::uint8_t kAddrRecordNumbers = 0x01;
inline constexpr std::uint8_t kAddrOs1 = 0x08;
inline constexpr std::uint8_t kAddrOs2 = 0x10;

// Condition flags of the header's condition table.
inline constexpr std::uint8_t kConditionNotEqual = 0x10;
inline constexpr std::uint8_t kConditionEqual = 0x20;

// Node offsets, and the parts of an entry.
inline constexpr std::size_t kEntryArea = 500;
inline constexpr std::size_t kEntryCount = 500;
inline constexpr std::size_t kZeroAfterCount = 501;
inline constexpr std::size_t kLevel = 506;
inline constexpr std::size_t kLastChild = 508;
inline constexpr std::size_t kEntryLfa = 0;
inline constexpr std::size_t kEntryChild = 4;
inline constexpr std::size_t kEntryDupSeq = 8;
inline constexpr std::size_t kEntryRecLength = 10;
inline constexpr std::size_t kEntryKey = 12;
inline constexpr unsigned kMaxKeyLength = 150;

// List sector offsets.
inline constexpr std::size_t kListCapacity = 126;
inline constexpr std::size_t kPrevListSector = 504;
inline constexpr std::size_t kListCount = 508;
inline constexpr std::size_t kListMarks = 510;
inline constexpr std::uint8_t kListMark1 = 0xF9;
inline constexpr std::uint8_t kListMark2 = 0xFD;

static_assert(kRootSector * kSectorSize == kHeaderSize);
static_assert(kKeyTable + kKeySlots * kSlotSize == kDataFileName);
static_assert(kDataFileName + kDataFileNameSize == kCommandLine);
static_assert(kCommandLine + kCommandLineSize == kHeaderSize);
static_assert(kListCapacity * 4 == kPrevListSector);
static_assert(kLastChild + 4 == kSectorSize);

// Entries begin on multiples of four.
constexpr std::size_t EntrySize(std::size_t keyLength) { return (keyLength + 15) / 4 * 4; }
constexpr std::size_t NodeCapacity(std::size_t keyLength) {
  return kEntryArea / EntrySize(keyLength);
}
constexpr std::size_t FilledEntries(std::size_t keyLength, unsigned fillPercent) {
  return fillPercent * NodeCapacity(keyLength) / 100;
}

static_assert(EntrySize(1) == 16 && NodeCapacity(1) == 31);
static_assert(EntrySize(150) == 164 && NodeCapacity(150) == 3);
static_assert(FilledEntries(4, 50) == 15);

inline std::uint8_t Load8(Bytes bytes, std::size_t offset) {
  assert(offset < bytes.size());
  return std::to_integer<std::uint8_t>(bytes[offset]);
}

inline std::uint16_t Load16(Bytes bytes, std::size_t offset, ByteOrder order) {
  const unsigned first = Load8(bytes, offset);
  const unsigned second = Load8(bytes, offset + 1);
  return static_cast<std::uint16_t>(order == ByteOrder::kLittle ? first | second << 8
                                                                : first << 8 | second);
}

inline std::uint32_t Load32(Bytes bytes, std::size_t offset, ByteOrder order) {
  const std::uint32_t first = Load16(bytes, offset, order);
  const std::uint32_t second = Load16(bytes, offset + 2, order);
  return order == ByteOrder::kLittle ? first | second << 16 : first << 16 | second;
}

inline void Store8(MutableBytes bytes, std::size_t offset, unsigned value) {
  assert(offset < bytes.size());
  bytes[offset] = static_cast<std::byte>(value & 0xFFU);
}

inline void Store16(MutableBytes bytes, std::size_t offset, unsigned value, ByteOrder order) {
  const bool little = order == ByteOrder::kLittle;
  Store8(bytes, offset, little ? value : value >> 8);
  Store8(bytes, offset + 1, little ? value >> 8 : value);
}

inline void Store32(MutableBytes bytes, std::size_t offset, std::uint32_t value, ByteOrder order) {
  const bool little = order == ByteOrder::kLittle;
  Store16(bytes, offset, little ? value & 0xFFFFU : value >> 16, order);
  Store16(bytes, offset + 2, little ? value >> 16 : value & 0xFFFFU, order);
}

}  // namespace layout
}  // namespace tavindex::test

#endif  // TESTS_CHECKER_ISI_LAYOUT_H_
