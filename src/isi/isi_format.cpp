#include "isi/isi_format.h"

#include <algorithm>
#include <cstring>

namespace tavindex {

namespace {

constexpr std::uint8_t kSignatureBytes[4] = {'K', 'I', 'S', 'I'};

std::size_t ConditionOffset(std::size_t index) {
  return header::kConditionTable + index * header::kTableEntrySize;
}

std::size_t KeyOffset(std::size_t index) {
  return header::kKeyTable + index * header::kTableEntrySize;
}

void EncodeTables(const IsiHeader& fields, std::uint8_t* bytes, ByteOrder order) {
  for (std::size_t i = 0; i < fields.conditionTable.size(); ++i) {
    std::uint8_t* at = bytes + ConditionOffset(i);
    Store16(at, fields.conditionTable[i].column, order);
    at[2] = fields.conditionTable[i].flags;
    at[3] = fields.conditionTable[i].compareChar;
  }
  for (std::size_t i = 0; i < fields.keyTable.size(); ++i) {
    std::uint8_t* at = bytes + KeyOffset(i);
    Store16(at, fields.keyTable[i].start, order);
    Store16(at + 2, fields.keyTable[i].length, order);
  }
}

void DecodeTables(const std::uint8_t* bytes, ByteOrder order, IsiHeader& fields) {
  for (std::size_t i = 0; i < fields.conditionTable.size(); ++i) {
    const std::uint8_t* at = bytes + ConditionOffset(i);
    fields.conditionTable[i] = {Load16(at, order), at[2], at[3]};
  }
  for (std::size_t i = 0; i < fields.keyTable.size(); ++i) {
    const std::uint8_t* at = bytes + KeyOffset(i);
    fields.keyTable[i] = {Load16(at, order), Load16(at + 2, order)};
  }
}

std::string_view TextField(const std::uint8_t* at, std::size_t size) {
  const char* text = reinterpret_cast<const char*>(at);
  return {text, strnlen(text, size)};
}

}  // namespace

bool HasIsiSignature(std::span<const std::uint8_t> front) {
  if (front.size() <= header::kVersionCheck) return false;
  const bool signature =
      std::memcmp(front.data() + header::kSignature, kSignatureBytes, sizeof kSignatureBytes) == 0;
  return signature && (front[header::kVersion] ^ front[header::kVersionCheck]) == 0xFF;
}

ByteOrder HeaderByteOrder(std::span<const std::uint8_t> front) {
  constexpr std::uint8_t kBigEndianVersion = 0xFC;
  return front[header::kVersion] == kBigEndianVersion ? ByteOrder::kBig : ByteOrder::kLittle;
}

void EncodeHeader(const IsiHeader& fields, std::span<std::uint8_t, kHeaderSize> bytes,
                  ByteOrder order) {
  std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
  std::uint8_t* at = bytes.data();
  constexpr std::uint8_t kComplement = 0xFF ^ kIsiVersion;
  std::memcpy(at + header::kSignature, kSignatureBytes, sizeof kSignatureBytes);
  at[header::kVersion] = order == ByteOrder::kLittle ? kIsiVersion : kComplement;
  at[header::kVersionCheck] = order == ByteOrder::kLittle ? kComplement : kIsiVersion;
  at[header::kFileFlags] = fields.fileFlags;
  at[header::kAddrFlags] = fields.addrFlags;
  Store16(at + header::kRecordLength, fields.recordLength, order);
  Store16(at + header::kKeyLength, fields.keyLength, order);
  Store32(at + header::kDataEnd, fields.dataEnd, order);
  Store32(at + header::kDeletedListHead, fields.deletedListHead, order);
  Store32(at + header::kRootNode, fields.rootNode, order);
  Store32(at + header::kReserved24, kNoAddress, order);
  Store32(at + header::kSpinCounter, fields.spinCounter, order);
  Store32(at + header::kRecordsIndexed, fields.recordsIndexed, order);
  Store32(at + header::kDeletedCount, fields.deletedCount, order);
  EncodeTables(fields, at, order);
  std::memcpy(at + header::kDataFileName, fields.dataFileName.CStr(), fields.dataFileName.Size());
  std::memcpy(at + header::kCommandLine, fields.commandLine.CStr(), fields.commandLine.Size());
}

IsiHeader DecodeHeader(std::span<const std::uint8_t, kHeaderSize> bytes) {
  const std::uint8_t* at = bytes.data();
  const ByteOrder order = HeaderByteOrder(bytes);
  IsiHeader fields;
  fields.fileFlags = at[header::kFileFlags];
  fields.addrFlags = at[header::kAddrFlags];
  fields.recordLength = Load16(at + header::kRecordLength, order);
  fields.keyLength = Load16(at + header::kKeyLength, order);
  fields.dataEnd = Load32(at + header::kDataEnd, order);
  fields.deletedListHead = Load32(at + header::kDeletedListHead, order);
  fields.rootNode = Load32(at + header::kRootNode, order);
  fields.spinCounter = Load32(at + header::kSpinCounter, order);
  fields.recordsIndexed = Load32(at + header::kRecordsIndexed, order);
  fields.deletedCount = Load32(at + header::kDeletedCount, order);
  DecodeTables(at, order, fields);
  fields.dataFileName.Assign(TextField(at + header::kDataFileName, header::kDataFileNameSize));
  fields.commandLine.Assign(TextField(at + header::kCommandLine, header::kCommandLineSize));
  return fields;
}

}  // namespace tavindex
