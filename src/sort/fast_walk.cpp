#include "sort/fast_walk.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

#include "sort/tab_stop.h"

namespace tavindex {

namespace {

constexpr std::uint32_t kNotHere = UINT32_MAX;
constexpr std::size_t kShortRun = 4;      // bytes
constexpr std::size_t kFrontSize = 2048;  // columns; keys of records with TABs end before

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

// A record with its TABs expanded.
struct Columns {
  std::uint32_t count;      // of the whole record
  const std::uint8_t* tab;  // the first one, or null
};

const std::uint8_t* FindTab(const std::uint8_t* from, const std::uint8_t* end) {
  return static_cast<const std::uint8_t*>(
      std::memchr(from, kTab, static_cast<std::size_t>(end - from)));
}

Columns CountColumns(const RunContext& run, std::span<const std::uint8_t> record) {
  const auto length = static_cast<std::uint32_t>(record.size());
  if (!run.options.expandTabs) return {length, nullptr};
  const std::uint8_t* from = record.data();
  const std::uint8_t* end = from + length;
  const std::uint8_t* const first = FindTab(from, end);
  // Once the record length is known nobody asks how many columns a record has.
  const bool counted = run.data.recordLength == 0 || run.scan.checkLongRecords;
  if (first == nullptr || !counted) return {length, first};
  std::uint32_t count = 0;
  for (const std::uint8_t* tab = first; tab != nullptr; tab = FindTab(from, end)) {
    count += static_cast<std::uint32_t>(tab - from);
    count += SpacesToTabStop(count);
    from = tab + 1;
  }
  return {count + static_cast<std::uint32_t>(end - from), first};
}

// Writes the first columns of the record, its TABs expanded, as many as there are and go into
// `front`; gives their number.
std::uint32_t ExpandFront(std::span<const std::uint8_t> record, std::span<std::uint8_t> front) {
  const auto size = static_cast<std::uint32_t>(front.size());
  std::uint32_t column = 0;
  for (const std::uint8_t byte : record) {
    if (column == size) break;
    if (byte != kTab) {
      front[column++] = byte;
      continue;
    }
    const std::uint32_t spaces = std::min(SpacesToTabStop(column), size - column);
    std::memset(&front[column], ' ', spaces);
    column += spaces;
  }
  return column;
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

// Takes the key out of a record whose first TAB, if it has one, is `tab`. False when too many
// columns would have to be expanded.
bool TakeKey(const KeyState& keys, std::span<const std::uint8_t> record, const std::uint8_t* tab,
             std::uint8_t* key) {
  if (tab == nullptr || tab - record.data() >= keys.keyEnd) {
    CopyKey(keys, record.data(), static_cast<std::uint32_t>(record.size()), key);
    return true;
  }
  std::array<std::uint8_t, kFrontSize> front;
  if (keys.keyEnd > front.size()) return false;
  const std::uint32_t columns = ExpandFront(record, {front.data(), keys.keyEnd});
  CopyKey(keys, front.data(), columns, key);
  return true;
}

}  // namespace

bool FastWalk(RunContext& run, RecordWalk& walk) {
  ScanState& scan = run.scan;
  if (!scan.fastWalk || !run.keys.keyIsPlain || run.control.sortMode) return false;
  const std::uint32_t length = run.options.binaryRecords ? BinaryLength(run) : TextLength(run);
  if (length == kNotHere) return false;
  const std::span<const std::uint8_t> record{scan.scanPtr, length};
  const Columns columns = CountColumns(run, record);
  if (!TakeKey(run.keys, record, columns.tab, walk.key)) return false;
  if (columns.tab != nullptr) run.data.tabsExpanded = true;
  walk.column = columns.count;
  walk.rawLength = length;
  walk.mapEnded = true;
  scan.scanPtr += length;
  scan.bytesInBuffer -= static_cast<std::int32_t>(length);
  return true;
}

}  // namespace tavindex
