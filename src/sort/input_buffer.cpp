#include "sort/input_buffer.h"

#include "common/console.h"
#include "common/file.h"

namespace tavindex {

namespace {

constexpr int kRetries = 3;
constexpr std::int64_t kBlock = kInputBlockSize;

// One read of the block and the look-ahead byte: how many bytes of it are data, and how many at
// its end are not.
struct BlockRead {
  std::int64_t count;  // -1: the read failed
  std::int64_t dropped;
};

BlockRead ReadBlock(RunContext& run, int dataFile) {
  std::uint8_t* buffer = run.scan.inputBuffer.Data();
  if (SeekTo(dataFile, run.scan.bufferFilePos) < 0) return {-1, 0};
  const std::int64_t count = ReadOnce(dataFile, {buffer, kInputBlockSize + 1});
  if (count <= kBlock && count >= 0) buffer[count] = 0;  // nothing stands behind the block
  if (count > kBlock) return {kBlock, 1};
  const bool endMark = count > 0 && buffer[count - 1] == kCtrlZ && !run.options.binaryRecords;
  return endMark ? BlockRead{count - 1, 1} : BlockRead{count, 0};
}

bool IsRestOfFile(const RunContext& run, int dataFile, const BlockRead& block) {
  return block.count >= 0 &&
         block.count == FileSize(dataFile) - run.scan.bufferFilePos - block.dropped;
}

std::int32_t AcceptBlock(ScanState& scan, std::int64_t count) {
  scan.bufferFilePos += count;
  scan.lastReadCount = static_cast<std::uint32_t>(count);
  scan.bytesInBuffer = static_cast<std::int32_t>(count);
  return scan.bytesInBuffer;
}

}  // namespace

std::int32_t fillInputBuffer(RunContext& run, int dataFile) {
  ScanState& scan = run.scan;
  scan.scanPtr = scan.inputBuffer.Data();
  scan.bytesInBuffer = 0;
  for (int retriesLeft = kRetries;; --retriesLeft) {
    const BlockRead block = ReadBlock(run, dataFile);
    if (block.count == kBlock) return AcceptBlock(scan, block.count);
    if (retriesLeft == 0) break;
    if (IsRestOfFile(run, dataFile, block)) return AcceptBlock(scan, block.count);
    // The position takes two of the four numbers, so that the bytes read stand behind "Should be":
    // operators' notes quote the line as it is.
    ShowDebug(run,
              "\nfillInputBuffer(2):\n Retry:%d  At location:0x%.8lX  Bytes read was:%d "
              "Should be:%d\n",
              retriesLeft - 1, static_cast<unsigned long>(scan.bufferFilePos & 0xFFFFFFFF),
              static_cast<int>(scan.bufferFilePos >> 32), static_cast<int>(block.count));
  }
  ShowDebug(run, "\nfillInputBuffer(1): Invalid number of bytes read!\n");
  return kInputReadFailed;
}

Result RefillInput(RunContext& run) {
  const std::int32_t count = fillInputBuffer(run, run.files.inputFd);
  if (count < 0) return count;
  return count == 0 ? kInputExhausted : kOk;
}

Result AdvanceByte(RunContext& run) {
  if (--run.scan.bytesInBuffer == 0) return RefillInput(run);
  ++run.scan.scanPtr;
  return kOk;
}

}  // namespace tavindex
