#include "sort/record_reader.h"

#include <algorithm>

#include "common/file.h"
#include "sort/input_buffer.h"
#include "sort/tab_stop.h"

namespace tavindex {

int RecordReader::Next() {
  if (spacesLeft_ == 0) {
    const int byte = ByteAt(ahead_);
    if (byte == kRecordEnd || AtEndOfRecord(byte)) return kRecordEnd;
    ++ahead_;
    if (byte != kTab || !run_.options.expandTabs) {
      ++column_;
      return byte;
    }
    spacesLeft_ = SpacesToTabStop(column_);
  }
  --spacesLeft_;
  ++column_;
  return ' ';
}

int RecordReader::ByteAt(std::uint32_t ahead) {
  if (ahead >= run_.scan.recordBytesLeft) return kRecordEnd;
  const auto inBlock = static_cast<std::uint32_t>(std::max(run_.scan.bytesInBuffer, 0));
  if (ahead < inBlock) return run_.scan.scanPtr[ahead];
  if (!spilled_) ReadBehindBlock();
  const std::uint32_t behind = ahead - inBlock;
  return behind < spillCount_ ? spill_[behind] : kRecordEnd;
}

bool RecordReader::AtEndOfRecord(int byte) {
  if (run_.options.binaryRecords || byte != run_.data.eorChar1) return false;
  return run_.data.eorChar2 == 0 || ByteAt(ahead_ + 1) == run_.data.eorChar2;
}

// The block stays as it is: the bytes go to a place of their own, and the scan reads them again.
void RecordReader::ReadBehindBlock() {
  constexpr int kReads = 4;  // as many as for a block
  spilled_ = true;
  std::int64_t count = -1;
  for (int i = 0; i < kReads && count < 0; ++i) {
    count = ReadAt(run_.files.inputFd, run_.scan.bufferFilePos, spill_);
  }
  if (count < 0) run_.scan.readAheadFailed = true;
  const bool atEnd = count < static_cast<std::int64_t>(kSpillSize);
  if (count > 0 && atEnd && !run_.options.binaryRecords &&
      spill_[static_cast<std::size_t>(count) - 1] == kCtrlZ)
    --count;
  spillCount_ = static_cast<std::uint32_t>(std::max<std::int64_t>(count, 0));
}

}  // namespace tavindex
