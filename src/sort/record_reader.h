// Reads ahead in the current record for a compound condition, without moving the scan.
#pragma once

#include <array>
#include <cstdint>

#include "common/run_context.h"

namespace tavindex {

class RecordReader {
 public:
  static constexpr int kRecordEnd = -1;

  // Starts at scanPtr, which stands on the byte of `column` (or on the TAB that covers it).
  RecordReader(RunContext& run, std::uint32_t column) : run_(run), column_(column) {}

  // The next column's byte, a TAB counting as the spaces up to the next multiple of 8; kRecordEnd
  // at the end-of-record, behind the last byte of a binary record and at the end of the data.
  int Next();

 private:
  // The file byte `ahead` of scanPtr, or kRecordEnd where the data ends. Bytes that cannot be read
  // end it too and set readAheadFailed: what the condition found is not to be used.
  int ByteAt(std::uint32_t ahead);
  bool AtEndOfRecord(int byte);
  void ReadBehindBlock();

  // A value has at most 299 bytes; one more for the second byte of an end-of-record.
  static constexpr std::uint32_t kSpillSize = 304;

  RunContext& run_;
  std::uint32_t column_;
  std::uint32_t ahead_ = 0;
  std::uint32_t spacesLeft_ = 0;
  bool spilled_ = false;
  std::uint32_t spillCount_ = 0;
  std::array<std::uint8_t, kSpillSize> spill_;  // the bytes behind the block, once needed
};

}  // namespace tavindex
