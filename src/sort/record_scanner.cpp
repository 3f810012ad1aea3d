#include "sort/record_scanner.h"

#include <algorithm>
#include <cstring>

#include "common/console.h"
#include "sort/conditions.h"
#include "sort/deleted_records.h"
#include "sort/fast_walk.h"
#include "sort/input_buffer.h"
#include "sort/map_key_byte.h"
#include "sort/record_walk.h"
#include "sort/sort_item.h"
#include "sort/tab_stop.h"

namespace tavindex {

namespace {

void BeginRecord(RunContext& run) {
  run.scan.conditionsMet = 0;
  run.scan.mapCursor = 0;
  run.scan.negativeState = false;
  run.scan.recordBytesLeft = UINT32_MAX;
  if (run.keys.termCount > 0) ResetTerms(run);
}

void OfferColumn(RunContext& run, RecordWalk& walk, std::uint8_t byte) {
  if (walk.skip > 0) {
    --walk.skip;
  } else if (!walk.mapEnded) {
    const std::int32_t answer = MapKeyByte(run, walk.column, byte);
    if (answer >= 0) {
      walk.key[answer] = byte;
    } else if (answer >= kConditionFailed) {
      walk.mapEnded = true;
    } else {
      walk.skip = ColumnsToSkip(answer);
    }
  }
  ++walk.column;
}

void OfferByte(RunContext& run, RecordWalk& walk, std::uint8_t byte) {
  if (byte != kTab || !run.options.expandTabs) return OfferColumn(run, walk, byte);
  run.data.tabsExpanded = true;
  for (std::uint32_t left = SpacesToTabStop(walk.column); left > 0; --left) {
    OfferColumn(run, walk, ' ');
  }
}

bool AtEndOfRecord(const RunContext& run) {
  const std::uint8_t* at = run.scan.scanPtr;
  if (*at != run.data.eorChar1) return false;
  return run.data.eorChar2 == 0 || at[1] == run.data.eorChar2;
}

// Stands on the end-of-record at kOk, behind the data at kInputExhausted.
Result WalkTextRecord(RunContext& run, RecordWalk& walk) {
  const std::uint32_t limit = kMaxRecordSize - 2 * std::uint32_t{run.data.eorLength};
  while (!AtEndOfRecord(run)) {
    if (++walk.rawLength > limit) return kRecordTooLong;
    OfferByte(run, walk, *run.scan.scanPtr);
    if (const Result result = AdvanceByte(run); result != kOk) return result;
  }
  return kOk;
}

Result WalkBinaryRecord(RunContext& run, RecordWalk& walk) {
  std::uint8_t beforeLast = 0;
  std::uint8_t last = 0;
  Result result = kOk;
  while (result == kOk && walk.rawLength < run.data.recordLength) {
    run.scan.recordBytesLeft = run.data.recordLength - walk.rawLength;
    beforeLast = last;
    last = *run.scan.scanPtr;
    ++walk.rawLength;
    OfferByte(run, walk, last);
    result = AdvanceByte(run);
  }
  if (result != kOk && result != kInputExhausted) return result;
  const bool whole = walk.rawLength == run.data.recordLength;
  if (run.data.trailerLength != 0 && !(whole && EndsInEor(run.data, beforeLast, last))) {
    return kWrongEor;
  }
  return result;
}

// Fills the key positions that the record did not reach.
void PadKey(RunContext& run, RecordWalk& walk) {
  if (walk.mapEnded) return;
  run.scan.recordBytesLeft = 0;
  for (;;) {
    std::uint8_t byte = ' ';
    const std::int32_t position = PadKeyBytes(run, byte);
    if (position < 0) return;
    walk.key[position] = byte;
  }
}

// The first record fixes the record length where neither the command line nor the data file's
// last record did.
Result FixRecordLength(RunContext& run, std::uint32_t column) {
  DataState& data = run.data;
  const std::uint32_t declared = run.options.declaredRecordLength;
  const bool variable = run.options.variableRecords;
  const std::uint32_t limit = declared != 0 ? declared - data.eorLength : kDefaultVariableLength;
  data.recordLength = variable && column < limit ? limit : column;
  if (declared != 0 && !variable && limit != data.recordLength) return kRecordLengthDiffers;
  if (declared != 0 && variable && limit < data.recordLength) return kRecordOverDeclared;
  data.recordLength += data.eorLength;
  return kOk;
}

void CheckLongRecord(RunContext& run, std::uint32_t column) {
  const bool applies = run.scan.checkLongRecords && !run.options.binaryRecords;
  if (!applies || column <= run.data.recordLength) return;
  if (!run.data.longRecordSeen) {
    const std::uint64_t lfa = run.scan.nextLfa;
    ShowDebug(run,
              "\nCreateSubList(1):\n1st Long Rec Length:%d at LFA:0x%.8lX Max Allowed "
              "RecordLength:%d!\n",
              static_cast<int>(column), static_cast<unsigned long>(lfa & 0xFFFFFFFF),
              static_cast<int>(lfa >> 32));
  }
  run.data.longRecordSeen = true;
}

Result CountIndexRecord(RunContext& run, const RecordWalk& walk) {
  ++run.scan.recordCount;
  if (run.data.recordLength == 0) {
    if (const Result result = FixRecordLength(run, walk.column); result != kOk) return result;
  }
  CheckLongRecord(run, walk.column);
  return kOk;
}

// A record that is not primary sorts directly behind the primary record before it.
void FollowPrimaryRecord(RunContext& run, std::uint8_t* key) {
  ScanState& scan = run.scan;
  const bool primary = scan.conditionsMet == run.keys.conditionCount;
  std::uint8_t* from = primary ? key : scan.primaryKey.data();
  std::uint8_t* to = primary ? scan.primaryKey.data() : key;
  std::memcpy(to, from, run.keys.keyLength);
}

bool KeepsRecord(RunContext& run, std::uint8_t* slot, std::uint32_t recLength) {
  ScanState& scan = run.scan;
  const bool met = scan.conditionsMet == run.keys.conditionCount;
  if (!run.control.sortMode) return met;
  run.data.recordLength = std::max(run.data.recordLength, recLength);
  const bool followsPrimary = run.options.primaryOption != '\0';
  if (followsPrimary) FollowPrimaryRecord(run, slot + item::kKey);
  const bool kept = met || followsPrimary;
  if (kept) scan.outputBytes += recLength;
  return kept;
}

Result SkipEndOfRecord(RunContext& run) {
  ScanState& scan = run.scan;
  // A binary record has no mark behind it, and its walk has refilled the buffer already.
  const std::int32_t mark = run.options.binaryRecords ? 0 : run.data.eorLength;
  scan.scanPtr += mark;
  scan.bytesInBuffer -= mark;
  if (scan.bytesInBuffer >= 1) return kOk;
  const std::int32_t overshoot = -scan.bytesInBuffer;
  if (const Result result = RefillInput(run); result != kOk) return result;
  scan.scanPtr += overshoot;
  scan.bytesInBuffer -= overshoot;
  return kOk;
}

Result WalkRecord(RunContext& run, RecordWalk& walk) {
  if (FastWalk(run, walk)) return kOk;
  return run.options.binaryRecords ? WalkBinaryRecord(run, walk) : WalkTextRecord(run, walk);
}

// Scans the record at scanPtr into `slot` and moves `slot` on when the item is kept.
Result ScanRecord(RunContext& run, std::uint8_t*& slot) {
  ScanState& scan = run.scan;
  RecordWalk walk{.key = slot + item::kKey};
  const Result walked = WalkRecord(run, walk);
  if (walked != kOk && walked != kInputExhausted) return walked;
  if (scan.readAheadFailed) return kInputReadFailed;
  PadKey(run, walk);
  if (!run.control.sortMode) {
    if (const Result result = CountIndexRecord(run, walk); result != kOk) return result;
  }
  const std::uint32_t recLength = walk.rawLength + run.data.eorLength;
  if (recLength > kMaxRecordSize - run.data.eorLength) return kRecordTooLong;
  item::SetPlace(slot, scan.nextLfa, static_cast<std::uint16_t>(recLength));
  if (KeepsRecord(run, slot, recLength)) {
    slot += run.sort.itemSize;
    --scan.itemsLeft;
  }
  scan.nextLfa += recLength;
  return walked == kOk ? SkipEndOfRecord(run) : walked;
}

Result ScanNext(RunContext& run, std::uint8_t*& slot) {
  BeginRecord(run);
  if (run.scan.bytesInBuffer <= 0) {
    if (const Result result = RefillInput(run); result != kOk) return result;
  }
  if (const Result result = SkipDeletedRecords(run); result != kOk) return result;
  if (*run.scan.scanPtr == kCtrlZ && !run.options.binaryRecords) return kInputExhausted;
  return ScanRecord(run, slot);
}

}  // namespace

Result CreateSubList(RunContext& run) {
  run.scan.itemsLeft = run.sort.maxItems - 1;
  std::uint8_t* slot = run.sort.sortMemoryBase;
  Result result = kOk;
  while (result == kOk && run.scan.itemsLeft > 0) result = ScanNext(run, slot);
  item::WriteEndMarker(slot, run.sort.itemSize);
  return result;
}

}  // namespace tavindex
