#include "driver/sort_command.h"

#include <string>

#include "common/buffered_write.h"
#include "common/console.h"
#include "common/file.h"
#include "common/system_calls.h"

namespace tavindex {

namespace {

constexpr std::uint32_t kSmallestTagLevel = 4;

// 8 bytes '0', 2 bytes '1', a 'x' for each key byte, then 'y' up to the record's length.
bool WriteTagHeader(RunContext& run) {
  std::string record(8, '0');
  record.append(2, '1').append(run.keys.keyLength, 'x');
  record.resize(run.control.recordWritingLevel, 'y');
  const std::span<const std::uint8_t> bytes{reinterpret_cast<const std::uint8_t*>(record.data()),
                                            record.size()};
  if (BufferedWrite(run, run.files.outputFd, bytes) && FlushWrite(run, run.files.outputFd)) {
    return true;
  }
  run.files.workFile = run.files.outputFd;
  ShowMessage(run, "Tag file header record write failed.\n");
  return false;
}

}  // namespace

Result RunSortCommand(RunContext& run) {
  const bool writesTags = run.control.recordWritingLevel > kSmallestTagLevel;
  if (writesTags && !WriteTagHeader(run)) return kIsiWriteFailed;
  return run.isi.itemSource(run);
}

Result ReplaceInputFile(RunContext& run) {
  FileState& files = run.files;
  ShowDebug(run, "Renaming %s to %s\n", files.outputFileName.CStr(), files.dataFileName.CStr());
  if (!RemoveFile(files.dataFileName.CStr())) {
    ShowMessage(run, "Error deleting input file.\n");
    return kEndingFailed;
  }
  const bool linked = systemCalls.link(files.outputFileName.CStr(), files.dataFileName.CStr()) == 0;
  if (!linked || !RemoveFile(files.outputFileName.CStr())) {
    ShowMessage(run, "Unable to rename output file.\n");
    return kEndingFailed;
  }
  return kOk;
}

}  // namespace tavindex
