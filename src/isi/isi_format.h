// The layout of an ISI file. This is the only place that knows it; docs/isi-format.md tells the
// same in prose.
//
//      offset    size
//           0    1024   header
//        1024     512   root node of the key tree, whatever the tree's height
//        1536     512   last, partly filled sector of the deleted-record list (when there is one)
//        2048   each 512   all other nodes and list sectors, in the order they were completed
//
// All integers are little-endian in files that this program makes; a file from a big-endian system
// is known by its version bytes and handled big-endian throughout. Addresses of nodes and list
// sectors are byte offsets, or sector numbers in record-number mode; addresses of records are byte
// offsets in the data file, or record numbers in that mode.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "common/bytes.h"
#include "common/fixed_text.h"
#include "common/key_records.h"
#include "common/run_context.h"

namespace tavindex {

inline constexpr std::size_t kHeaderSize = 1024;
inline constexpr std::uint32_t kRootOffset = 1024;      // bytes
inline constexpr std::uint32_t kOpenListOffset = 1536;  // bytes
inline constexpr std::size_t kFrontSize = 2048;         // header, root and the slot at 1536
inline constexpr std::uint32_t kNoAddress = 0xFFFFFFFF;
inline constexpr std::uint8_t kIsiVersion = 0x03;

// Bits of fileFlags.
enum FileFlag : std::uint8_t {
  kWriteAllRecords = 0x01,
  kVariableLength = 0x02,
  kNoDuplicates = 0x04,
  kSpaceCompression = 0x08,
  kBinaryData = 0x10,
  kIrregularRecords = 0x20,
  kEorTwoBytes = 0x40,
  kEorLineFeedFirst = 0x80,
};

// Bits of addrFlags.
inline constexpr std::uint8_t kRecordNumbers = 0x01;

// Field offsets of the header. Bytes not listed are zero.
namespace header {
inline constexpr std::size_t kSignature = 0;         // 4 bytes, "KISI"
inline constexpr std::size_t kVersion = 4;           // u8
inline constexpr std::size_t kVersionCheck = 5;      // u8, complement of the version
inline constexpr std::size_t kFileFlags = 6;         // u8
inline constexpr std::size_t kAddrFlags = 7;         // u8
inline constexpr std::size_t kRecordLength = 8;      // u16, without end-of-record bytes
inline constexpr std::size_t kKeyLength = 10;        // u16
inline constexpr std::size_t kDataEnd = 12;          // u32
inline constexpr std::size_t kDeletedListHead = 16;  // u32, kNoAddress when there is no list
inline constexpr std::size_t kRootNode = 20;         // u32
inline constexpr std::size_t kReserved24 = 24;       // u32, kNoAddress
inline constexpr std::size_t kSpinCounter = 32;      // u32
inline constexpr std::size_t kReserved36 = 36;       // u32, zero
inline constexpr std::size_t kRecordsIndexed = 44;   // u32
inline constexpr std::size_t kDeletedCount = 48;     // u32
inline constexpr std::size_t kConditionTable = 64;   // 10 x {u16 column, u8 flags, u8 character}
inline constexpr std::size_t kKeyTable = 112;        // 32 x {u16 start, u16 length}
inline constexpr std::size_t kDataFileName = 240;    // 256 bytes, not terminated
inline constexpr std::size_t kCommandLine = 496;     // 528 bytes, terminated
inline constexpr std::size_t kDataFileNameSize = 256;
inline constexpr std::size_t kCommandLineSize = 528;
inline constexpr std::size_t kTableEntrySize = 4;
static_assert(kCommandLine + kCommandLineSize == kHeaderSize);
static_assert(kConditionTable + kMaxConditions * kTableEntrySize <= kKeyTable);
static_assert(kKeyTable + (kMaxKeys + 1) * kTableEntrySize == kDataFileName);
}  // namespace header

struct IsiHeader {
  std::uint8_t fileFlags = 0;
  std::uint8_t addrFlags = 0;
  std::uint16_t recordLength = 0;
  std::uint16_t keyLength = 0;
  std::uint32_t dataEnd = 0;
  std::uint32_t deletedListHead = kNoAddress;
  std::uint32_t rootNode = kRootOffset;
  std::uint32_t spinCounter = 0;
  std::uint32_t recordsIndexed = 0;
  std::uint32_t deletedCount = 0;
  std::array<HeaderCondition, kMaxConditions> conditionTable{};
  std::array<KeyTableEntry, kMaxKeys + 1> keyTable{};
  FixedText<header::kDataFileNameSize + 1> dataFileName;
  FixedText<header::kCommandLineSize> commandLine;
};

// Whether the first bytes are those of an ISI of this layout, in either byte order.
bool HasIsiSignature(std::span<const std::uint8_t> front);
ByteOrder HeaderByteOrder(std::span<const std::uint8_t> front);

void EncodeHeader(const IsiHeader& fields, std::span<std::uint8_t, kHeaderSize> bytes,
                  ByteOrder order);
IsiHeader DecodeHeader(std::span<const std::uint8_t, kHeaderSize> bytes);

// A node of the key tree, one sector: entries from its start, then the fields below.
namespace node {
inline constexpr std::size_t kEntryCount = 500;  // u8, never swapped; 501..505 are zero
inline constexpr std::size_t kLevel = 506;       // u16; its low-order byte is the level
inline constexpr std::size_t kLastChild = 508;   // u32, 0 in a leaf
inline constexpr std::uint32_t kEntryBytes = 500;

inline std::uint32_t EntryCount(const std::uint8_t* sector) { return sector[kEntryCount]; }
inline void SetEntryCount(std::uint8_t* sector, std::uint32_t count) {
  sector[kEntryCount] = static_cast<std::uint8_t>(count);
}
inline std::uint32_t LastChild(const std::uint8_t* sector, ByteOrder order) {
  return Load32(sector + kLastChild, order);
}
inline void SetLastChild(std::uint8_t* sector, std::uint32_t address, ByteOrder order) {
  Store32(sector + kLastChild, address, order);
}
inline void SetLevel(std::uint8_t* sector, std::uint16_t level, ByteOrder order) {
  Store16(sector + kLevel, level, order);
}
}  // namespace node

// A key entry of a node.
namespace entry {
inline constexpr std::size_t kLfa = 0;         // u32
inline constexpr std::size_t kChild = 4;       // u32, the node of smaller keys; 0 in a leaf
inline constexpr std::size_t kDupSeq = 8;      // u16
inline constexpr std::size_t kRecLength = 10;  // u16, the record's length with its end-of-record
inline constexpr std::size_t kKey = 12;        // keyLength bytes, then padding to a multiple of 4

// Bytes of one entry.
constexpr std::uint32_t Size(std::uint32_t keyLength) { return (keyLength + 15) & 65532U; }
}  // namespace entry
static_assert(entry::Size(1) == 16 && entry::Size(4) == 16 && entry::Size(150) == 164);

// A sector of the deleted-record list: record addresses from its start.
namespace list_sector {
inline constexpr std::size_t kPrevListSector = 504;  // u32, kNoAddress in the first of the chain
inline constexpr std::size_t kListCount = 508;       // u16, at most kListCapacity
inline constexpr std::size_t kMark = 510;            // F9 FD
inline constexpr std::uint8_t kMarkBytes[2] = {0xF9, 0xFD};
static_assert(std::size_t{kListCapacity} * 4 == kPrevListSector);
}  // namespace list_sector

// Bytes of end-of-record behind each record, as fileFlags tell.
constexpr std::uint32_t EorBytes(std::uint8_t fileFlags) {
  if ((fileFlags & kEorTwoBytes) != 0) return 2;
  return fileFlags > 63 ? 1 : 0;
}

}  // namespace tavindex
