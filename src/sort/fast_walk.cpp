#include "sort/fast_walk.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "sort/tab_stop.h"

namespace tavindex {

namespace {

constexpr std::uint32_t kNotHere = UINT32_MAX;
constexpr std::size_t kShortRun = 4;  // bytes

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

// The columns of a record, its TABs expanded.
struct Columns {
  std::uint32_t count = 0;
  bool tabs = false;
};

const std::uint8_t* FindTab(const std::uint8_t* from, const std::uint8_t* end) {
  return static_cast<const std::uint8_t*>(
      std::memchr(from, kTab, static_cast<std::size_t>(end - from)));
}

// Counts the columns of a record of `length` bytes, its TABs expanded. False when a TAB stands in
// front of a key column: the columns are then not where the bytes are.
bool CountColumns(const RunContext& run, std::uint32_t length, Columns& columns) {
  columns = {.count = length, .tabs = false};
  if (!run.options.expandTabs) return true;
  const std::uint8_t* from = run.scan.scanPtr;
  const std::uint8_t* end = from + length;
  const std::uint8_t* tab = FindTab(from, end);
  if (tab == nullptr) return true;
  if (tab - from < run.keys.keyEnd) return false;
  // Once the record length is known nobody asks how many columns a record has.
  columns = {.count = length, .tabs = true};
  if (run.data.recordLength != 0 && !run.scan.checkLongRecords) return true;
  columns.count = 0;
  for (; tab != nullptr; tab = FindTab(from, end)) {
    columns.count += static_cast<std::uint32_t>(tab - from);
    columns.count += SpacesToTabStop(columns.count);
    from = tab + 1;
  }
  columns.count += static_cast<std::uint32_t>(end - from);
  return true;
}

// Columns behind the record's end are blanks.
void CopyPaddedRun(const KeyRun& run, const std::uint8_t* record, std::uint32_t length,
                   std::uint8_t* key) {
  const std::uint32_t there = length > run.recordPos ? length - run.recordPos : 0;
  const std::uint32_t copied = std::min<std::uint32_t>(run.length, there);
  std::memset(key + run.keyPos, ' ', run.length);
  if (copied > 0) std::memcpy(key + run.keyPos, record + run.recordPos, copied);
}

void CopyKey(const KeyState& keys, const std::uint8_t* record, std::uint32_t length,
             std::uint8_t* key) {
  const std::span<const KeyRun> runs{keys.keyRuns.data(), keys.keyRunCount};
  if (length < keys.keyEnd) {
    for (const KeyRun& run : runs) CopyPaddedRun(run, record, length, key);
    return;
  }
  // A call for each run costs more than the bytes of short ones.
  if (runs.size() * kShortRun > keys.keyLength) {
    for (std::uint32_t i = 0; i < keys.keyLength; ++i) key[i] = record[keys.keyColumns[i]];
    return;
  }
  for (const KeyRun& run : runs) {
    std::memcpy(key + run.keyPos, record + run.recordPos, run.length);
  }
}

}  // namespace

bool FastWalk(RunContext& run, RecordWalk& walk) {
  ScanState& scan = run.scan;
  if (!scan.fastWalk || !run.keys.keyIsPlain || run.control.sortMode) return false;
  const std::uint32_t length = run.options.binaryRecords ? BinaryLength(run) : TextLength(run);
  Columns columns;
  if (length == kNotHere || !CountColumns(run, length, columns)) return false;
  if (columns.tabs) run.data.tabsExpanded = true;
  walk.column = columns.count;
  CopyKey(run.keys, scan.scanPtr, length, walk.key);
  walk.rawLength = length;
  walk.mapEnded = true;
  scan.scanPtr += length;
  scan.bytesInBuffer -= static_cast<std::int32_t>(length);
  return true;
}

}  // namespace tavindex
