#include "sort/deleted_records.h"

#include <utility>

#include "common/console.h"
#include "isi/deleted_list.h"
#include "sort/input_buffer.h"

namespace tavindex {

namespace {

Result CountDeletedRecord(RunContext& run, std::uint64_t lfa) {
  ++run.scan.deletedCount;
  const std::uint64_t here = std::exchange(run.scan.nextLfa, lfa);
  const Result result = AddDeletedRecord(run);
  run.scan.nextLfa = here;
  return result;
}

Result SkipNul(RunContext& run) {
  ++run.scan.nextLfa;
  return AdvanceByte(run);
}

Result SkipUncounted(RunContext& run) {
  Result result = kOk;
  while (result == kOk && *run.scan.scanPtr == 0) result = SkipNul(run);
  return result;
}

void NoteVariableAfterDeleted(RunContext& run) {
  if (!run.data.variableLengthSeen) {
    ShowDebug(run, "\b\nCreateSubList(1): Variable record detected after deleted record!\n");
    run.data.variableAfterDeleted = true;
  }
  run.data.variableLengthSeen = true;
}

Result SkipFixedText(RunContext& run) {
  const std::uint32_t recordLength = run.data.recordLength;
  std::uint64_t skipped = 0;
  while (*run.scan.scanPtr == 0) {
    const bool first = recordLength == 0 ? skipped == 0 : skipped % recordLength == 0;
    if (first) {
      const Result result = CountDeletedRecord(run, run.scan.nextLfa);
      if (result != kOk) return result;
    }
    ++skipped;
    if (const Result result = SkipNul(run); result != kOk) return result;
  }
  if (recordLength != 0 && skipped % recordLength != 0) NoteVariableAfterDeleted(run);
  return kOk;
}

// Goes back to the byte at `lfa`, reading its block again if it is no longer in the buffer.
Result ReturnTo(RunContext& run, std::uint64_t lfa) {
  ScanState& scan = run.scan;
  const auto target = static_cast<std::int64_t>(lfa);
  const std::int64_t blockStart = scan.bufferFilePos - scan.lastReadCount;
  scan.nextLfa = lfa;
  if (target < blockStart) {
    scan.bufferFilePos = target;
    return RefillInput(run);
  }
  const std::int64_t offset = target - blockStart;
  scan.scanPtr = scan.inputBuffer.Data() + offset;
  scan.bytesInBuffer = static_cast<std::int32_t>(scan.lastReadCount - offset);
  return kOk;
}

Result SkipBinary(RunContext& run) {
  std::uint64_t blockLfa = run.scan.nextLfa;
  while (*run.scan.scanPtr == 0) {
    const std::uint64_t blockEnd = blockLfa + run.data.recordLength;
    if (run.scan.nextLfa + 1 == blockEnd) {
      if (const Result result = CountDeletedRecord(run, blockLfa); result != kOk) return result;
      blockLfa = blockEnd;
    }
    if (const Result result = SkipNul(run); result != kOk) return result;
  }
  return run.scan.nextLfa == blockLfa ? kOk : ReturnTo(run, blockLfa);
}

}  // namespace

Result SkipDeletedRecords(RunContext& run) {
  if (*run.scan.scanPtr != 0) return kOk;
  if (run.control.sortMode || run.options.variableRecords) return SkipUncounted(run);
  return run.options.binaryRecords ? SkipBinary(run) : SkipFixedText(run);
}

}  // namespace tavindex
