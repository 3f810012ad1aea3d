#include "sort/fast_walk.h"

#include <algorithm>
#include <cstring>

namespace tavindex {

namespace {

constexpr int kTab = 9;
constexpr std::uint32_t kNotHere = UINT32_MAX;

// The length of the text record at scanPtr, or kNotHere when its mark is not in the buffer.
std::uint32_t TextLength(const RunContext& run) {
  const ScanState& scan = run.scan;
  const std::uint8_t* end = scan.scanPtr + scan.bytesInBuffer;
  for (const std::uint8_t* at = scan.scanPtr; at < end; ++at) {
    at = static_cast<const std::uint8_t*>(
        std::memchr(at, run.data.eorChar1, static_cast<std::size_t>(end - at)));
    if (at == nullptr) return kNotHere;
    // The byte behind the block's last one is the look-ahead.
    if (run.data.eorChar2 != 0 && at[1] != run.data.eorChar2) continue;
    const auto length = static_cast<std::uint32_t>(at - scan.scanPtr);
    const std::uint32_t limit = kMaxRecordSize - 2 * std::uint32_t{run.data.eorLength};
    return length <= limit ? length : kNotHere;
  }
  return kNotHere;
}

// The length of the binary record at scanPtr; one byte must follow it, so that the walk ends in
// the same buffer.
std::uint32_t BinaryLength(const RunContext& run) {
  const std::uint32_t length = run.data.recordLength;
  if (length < 2 || length >= static_cast<std::uint32_t>(run.scan.bytesInBuffer)) return kNotHere;
  const std::uint8_t* last = run.scan.scanPtr + length - 1;
  const bool inStep = run.data.trailerLength == 0 || EndsInEor(run.data, last[-1], *last);
  return inStep ? length : kNotHere;
}

bool HasTab(const RunContext& run, std::uint32_t length) {
  return run.options.expandTabs && std::memchr(run.scan.scanPtr, kTab, length) != nullptr;
}

// Columns behind the record's end are blanks.
void CopyKey(const KeyState& keys, const std::uint8_t* record, std::uint32_t length,
             std::uint8_t* key) {
  for (std::uint32_t i = 0; i < keys.keyRunCount; ++i) {
    const KeyRun& run = keys.keyRuns[i];
    const std::uint32_t there = length > run.recordPos ? length - run.recordPos : 0;
    const std::uint32_t copied = std::min<std::uint32_t>(run.length, there);
    std::memcpy(key + run.keyPos, record + (copied > 0 ? run.recordPos : 0), copied);
    if (copied < run.length) std::memset(key + run.keyPos + copied, ' ', run.length - copied);
  }
}

}  // namespace

bool FastWalk(RunContext& run, RecordWalk& walk) {
  ScanState& scan = run.scan;
  if (!scan.fastWalk || !run.keys.keyIsPlain || run.control.sortMode) return false;
  const std::uint32_t length = run.options.binaryRecords ? BinaryLength(run) : TextLength(run);
  if (length == kNotHere || HasTab(run, length)) return false;
  CopyKey(run.keys, scan.scanPtr, length, walk.key);
  walk.column = length;
  walk.rawLength = length;
  walk.mapEnded = true;
  scan.scanPtr += length;
  scan.bytesInBuffer -= static_cast<std::int32_t>(length);
  return true;
}

}  // namespace tavindex
