#include "sort/tag_record.h"

#include "common/console.h"
#include "isi/tree_builder.h"
#include "sort/record_walk.h"
#include "sort/sort_item.h"

namespace tavindex {

namespace {

std::uint32_t FirstRecordLength(const RunContext& run, std::uint32_t length) {
  if (run.options.declaredRecordLength != 0) return run.options.declaredRecordLength;
  const bool atLeastDefault = run.options.variableRecords && length < kDefaultVariableLength;
  return atLeastDefault ? kDefaultVariableLength : length;
}

// The address takes two of the three numbers, so the high half stands where the text speaks of the
// record length; the lines are known in this form.
void NoteShortRecord(RunContext& run, std::uint32_t length, std::uint64_t lfa) {
  if (!run.data.shortRecordSeen) {
    ShowDebug(run,
              "\nWriteTagRecord(1):\n1st Short Rec Length:%d at LFA:0x%.8lX Max Allowed "
              "RecordLength:%d!\n",
              static_cast<int>(length), static_cast<unsigned long>(lfa & 0xFFFFFFFF),
              static_cast<int>(lfa >> 32));
  }
  run.data.variableAfterDeleted = false;
  run.data.shortRecordSeen = true;
  run.data.variableLengthSeen = true;
}

void NoteLongRecord(RunContext& run, std::uint32_t length, std::uint64_t lfa) {
  if (!run.data.longRecordSeen) {
    ShowDebug(run,
              "\nWriteTagRecord(2):\n1st Long Rec Length:%d at LFA:0x%.8lX Max Allowed "
              "RecordLength:%d!\n",
              static_cast<int>(length), static_cast<unsigned long>(lfa & 0xFFFFFFFF),
              static_cast<int>(lfa >> 32));
  }
  run.data.variableAfterDeleted = false;
  run.data.longRecordSeen = true;
  run.data.variableLengthSeen = true;
}

}  // namespace

Result WriteTagRecord(RunContext& run, const std::uint8_t* at) {
  if (!run.control.indexMode) return kOk;
  const std::uint32_t length = item::RecLength(at);
  if (run.data.recordLength == 0) {
    run.data.recordLength = FirstRecordLength(run, length);
  } else if (length < run.data.recordLength) {
    NoteShortRecord(run, length, item::Lfa(at));
  } else if (length > run.data.recordLength) {
    NoteLongRecord(run, length, item::Lfa(at));
  }
  const KeyItem key{.position = item::Lfa(at),
                    .recLength = static_cast<std::uint16_t>(length),
                    .key = at + item::kKey};
  const Result result = InsertKey(run, key);
  return result == kOk || result == kTreeLevelLimit ? result : kInsertFailed;
}

}  // namespace tavindex
