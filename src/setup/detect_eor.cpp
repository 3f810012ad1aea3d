#include "setup/detect_eor.h"

#include <algorithm>
#include <limits>
#include <span>

#include "common/file.h"

namespace tavindex {

namespace {

constexpr std::uint8_t kCrByte = 13;
constexpr std::uint8_t kLfByte = 10;
constexpr std::int64_t kBlockSize = 65535;

void SetEor(DataState& data, std::uint8_t first, std::uint8_t second) {
  data.eorLength = second == 0 ? 1 : 2;
  data.eorChar1 = first;
  data.eorChar2 = second;
}

// The bytes of a file, from the last to the first, read in blocks. Each block has the byte before
// it in front, so that a mark of two bytes is seen whole.
class BackwardReader {
 public:
  BackwardReader(int fd, std::span<std::uint8_t> buffer, std::int64_t size)
      : fd_(fd), buffer_(buffer), at_(size), blockStart_(size) {}

  bool AtStart() const { return at_ == 0; }
  // Also before it: a mark of two bytes may straddle two blocks.
  bool AtBlockStart() const { return at_ <= blockStart_; }

  // Loads the block that ends at the current position. False after a read error.
  bool LoadBlock() {
    const std::int64_t end = at_;
    blockStart_ = std::max<std::int64_t>(end - kBlockSize, 0);
    bufferStart_ = std::max<std::int64_t>(blockStart_ - 1, 0);
    const auto wanted = static_cast<std::size_t>(end - bufferStart_);
    return ReadAt(fd_, bufferStart_, buffer_.first(wanted)) == static_cast<std::int64_t>(wanted);
  }

  std::uint8_t Last() const { return ByteAt(at_ - 1); }
  // The byte before the last one; 0 at the file's start.
  std::uint8_t BeforeLast() const { return at_ >= 2 ? ByteAt(at_ - 2) : 0; }
  // Steps back; at a file of one byte a mark of two cannot stand, so this never passes the start.
  void Back(std::int64_t count) { at_ -= count; }

 private:
  std::uint8_t ByteAt(std::int64_t offset) const {
    return buffer_[static_cast<std::size_t>(offset - bufferStart_)];
  }

  int fd_;
  std::span<std::uint8_t> buffer_;
  std::int64_t at_;          // bytes before this position are still to come
  std::int64_t blockStart_;  // where the loaded block begins
  std::int64_t bufferStart_ = 0;
};

// Looks at the byte before the position. True when it settles the kind, with the position moved
// before the mark. A lone CR is noted, but a line feed further back still decides.
bool LookAtByte(DataState& data, BackwardReader& reader, EorKind& kind) {
  const std::uint8_t last = reader.Last();
  const std::uint8_t before = reader.BeforeLast();
  if (last == kLfByte && before == kCrByte) {
    kind = EorKind::kCrLf;
    SetEor(data, kCrByte, kLfByte);
  } else if (last == kLfByte) {
    kind = EorKind::kLf;
    SetEor(data, kLfByte, 0);
  } else if (last == kCrByte && before == kLfByte) {
    kind = EorKind::kLfCr;
    SetEor(data, kLfByte, kCrByte);
  } else {
    if (last == kCrByte) SetEor(data, kCrByte, 0);
    reader.Back(1);
    return false;
  }
  reader.Back(data.eorLength);
  return true;
}

// Scans the loaded block; true when the kind is settled in it.
bool ScanBlock(DataState& data, BackwardReader& reader, EorKind& kind) {
  while (!reader.AtBlockStart()) {
    if (LookAtByte(data, reader, kind)) return true;
  }
  return false;
}

bool LoadWhereNeeded(BackwardReader& reader) {
  return !reader.AtBlockStart() || reader.LoadBlock();
}

// Counts the bytes of the last record, back to the mark before it. False after a read error.
bool MeasureRecord(DataState& data, BackwardReader& reader) {
  const std::uint8_t stop = data.eorLength == 2 ? data.eorChar2 : data.eorChar1;
  std::uint64_t count = data.eorLength;
  while (!reader.AtStart()) {
    if (!LoadWhereNeeded(reader)) return false;
    if (reader.Last() == stop || reader.Last() == 0) break;
    ++count;
    reader.Back(1);
  }
  data.recordLength = static_cast<std::uint32_t>(
      std::min<std::uint64_t>(count, std::numeric_limits<std::int32_t>::max()));
  return true;
}

bool FirstBlockIsEnough(const RunContext& run) {
  return !run.control.indexMode || run.options.variableRecords ||
         run.options.declaredRecordLength > 0;
}

}  // namespace

EorKind DetectEOR(RunContext& run, int fd) {
  const std::int64_t size = FileSize(fd);
  if (size < 0) return EorKind::kFailed;
  if (size == 0) return EorKind::kOsDefault;
  BackwardReader reader(fd, run.scan.inputBuffer.Bytes(), size);
  EorKind kind = EorKind::kCr;
  bool settled = false;
  while (!settled && !reader.AtStart()) {
    if (!reader.LoadBlock()) return EorKind::kFailed;
    settled = ScanBlock(run.data, reader, kind);
    if (FirstBlockIsEnough(run)) return kind;
  }
  if (!settled) return EorKind::kOsDefault;
  return MeasureRecord(run.data, reader) ? kind : EorKind::kFailed;
}

std::uint8_t EorFlags(EorKind kind, std::uint8_t eorChar1) {
  switch (kind) {
    case EorKind::kLf:
      return 0x80;
    case EorKind::kCrLf:
      return 0x40;
    case EorKind::kLfCr:
      return 0xC0;
    case EorKind::kOsDefault:
      return eorChar1 == kLfByte ? 0x80 : 0;
    default:
      return 0;
  }
}

}  // namespace tavindex
