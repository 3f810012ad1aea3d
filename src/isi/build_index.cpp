#include "isi/build_index.h"

#include <array>

#include "common/buffered_write.h"
#include "common/console.h"
#include "common/file.h"
#include "isi/build_header.h"
#include "isi/deleted_list.h"
#include "isi/error_lines.h"
#include "isi/isi_format.h"
#include "isi/tree_builder.h"

namespace tavindex {

namespace {

Result WritePlaceholder(RunContext& run) {
  const std::array<std::uint8_t, kFrontSize> zeros{};
  return WriteAll(run.files.outputFd, zeros) ? kOk : ReportSegmentWriteFailure(run);
}

// The record length of a data file without records is the command line's.
Result SupplyRecordLength(RunContext& run) {
  if (run.data.recordLength != 0) return kOk;
  run.data.recordLength = run.options.declaredRecordLength;
  if (run.data.recordLength != 0 || run.scan.recordCount != 0) return kOk;
  ShowMessage(run, "\aNull file must have record length on command line\n");
  return kNullFileNeedsLength;
}

// All items into the tree. Console and error file have their lines whatever becomes of the build.
Result InsertItems(RunContext& run) {
  const Result result = run.isi.itemSource(run);
  FlushLines(run);
  const bool written = FlushErrorLines(run);
  return result == kOk && !written ? kInsertFailed : result;
}

Result WriteHeader(RunContext& run) {
  if (const Result result = SupplyRecordLength(run); result != kOk) return result;
  std::array<std::uint8_t, kHeaderSize> bytes;
  EncodeHeader(BuildHeader(run), bytes, run.isi.byteOrder);
  const int fd = run.files.outputFd;
  return SeekTo(fd, 0) >= 0 && WriteAll(fd, bytes) ? kOk : ReportSegmentWriteFailure(run);
}

const char* DescribeRecords(const RunContext& run) {
  const DataState& data = run.data;
  if (!data.variableLengthSeen) {
    return data.tabsExpanded ? "Data file has space compression.\n" : nullptr;
  }
  if (data.tabsExpanded) return "Data file has variable length records and space compression.\n";
  // Only a run of NULs of odd length was met: the records themselves were all of one length.
  if (data.variableAfterDeleted && !run.options.variableRecords) {
    return "Data file record encountered with position invalid for fixed length records.\n";
  }
  return "Data file has variable length records.\n";
}

void ShowSummary(RunContext& run) {
  if (run.options.buildLine.Size() >= header::kCommandLineSize) {
    ShowMessage(run, "Command line too long to store in ISI header!\n");
  }
  if (run.isi.dupCount > 0) {
    ShowFormatted(run, "Data file has %u duplicate key entries.\n",
                  static_cast<std::uint32_t>(run.isi.dupCount));
  }
  if (const char* description = DescribeRecords(run)) ShowMessage(run, description);
  if (run.data.variableLengthSeen && run.data.longRecordSeen) {
    ShowMessage(run, "Record longer than maximum record length was found.\n");
  }
}

}  // namespace

Result BuildIndex(RunContext& run, std::uint32_t keyLength, std::uint32_t entrySize) {
  Result result = StartTree(run, keyLength, entrySize);
  if (result == kOk) result = WritePlaceholder(run);
  if (result == kOk) result = InsertItems(run);
  if (result == kOk) result = FinishTree(run);
  if (result == kOk) result = WriteOpenList(run);
  if (result == kOk) result = WriteHeader(run);
  if (result == kOk) ShowSummary(run);
  return result;
}

}  // namespace tavindex
