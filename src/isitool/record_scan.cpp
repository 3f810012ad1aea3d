#include "isitool/record_scan.h"

#include <sys/mman.h>

#include <algorithm>

#include "common/file.h"
#include "isi/tree_builder.h"
#include "isitool/stored_build_line.h"
#include "isitool/text.h"
#include "sort/record_scanner.h"
#include "sort/sort_item.h"
#include "sort/sort_trains.h"

namespace tavindex {

namespace {

constexpr std::uint8_t kCr = 13;
constexpr std::uint8_t kLf = 10;

void SetMark(DataState& data, std::uint8_t first, std::uint8_t second) {
  data.eorLength = second == 0 ? 1 : 2;
  data.eorChar1 = first;
  data.eorChar2 = second;
}

// The mark that the header names. Records that end in a lone CR have no bit for it.
void SetMarkOf(std::uint8_t fileFlags, DataState& data) {
  const bool twoBytes = (fileFlags & kEorTwoBytes) != 0;
  if ((fileFlags & kEorLineFeedFirst) != 0) return SetMark(data, kLf, twoBytes ? kCr : 0);
  SetMark(data, kCr, twoBytes ? kLf : 0);
}

struct ResultWords {
  Result result;
  const char* words;
};

constexpr ResultWords kResultWords[] = {
    {kInputReadFailed, "it cannot be read"},
    {kWrongEor, "a record does not end in its mark"},
    {kRecordTooLong, "a record is too long"},
    {kListWriteFailed, "it has too many deleted records"},
};

}  // namespace

RecordScan::RecordScan() : run_(std::make_unique<RunContext>()) {}

RecordScan::~RecordScan() { CloseFile(run_->files.outputFd); }

bool RecordScan::SetRecordFormat(const IsiFile& file, std::string& why) {
  const IsiHeader& header = file.Header();
  DataState& data = run_->data;
  const OptionState& options = run_->options;
  if (options.binaryPlain != ((header.fileFlags & kBinaryData) != 0) ||
      options.variableRecords != ((header.fileFlags & kVariableLength) != 0)) {
    why = "the stored command line and the flags name different record formats";
    return false;
  }
  SetMarkOf(header.fileFlags, data);
  if (options.binaryPlain) data.eorLength = 0;
  data.recordLength = std::uint32_t{header.recordLength} + data.eorLength;
  if (options.binaryWithEor) {
    data.trailerLength = data.eorLength;
    data.eorLength = 0;
  }
  if (data.recordLength == 0) why = "the record length is 0";
  return data.recordLength != 0;
}

// The scanner's buffers; and, as the file that it writes full sectors of deleted records to, one in
// memory.
bool RecordScan::Allocate(const IsiFile& file) {
  RunContext& run = *run_;
  run.isi.recordNumberMode = file.reader.recordNumberMode;
  run.sort.sortAreaSize = run.control.maxMemory;
  run.files.outputFd = ::memfd_create("deleted", MFD_CLOEXEC);
  if (run.files.outputFd < 0 || !run.scan.inputBuffer.AllocateZeroed(kInputBufferSize))
    return false;
  run.scan.spareArea = run.scan.inputBuffer.Data() + kSpareAreaOffset;
  if (!run.sort.sortMemory.Allocate(run.sort.sortAreaSize)) return false;
  run.sort.sortMemoryBase = run.sort.sortMemory.Data();
  return SizeSortArea(run, run.keys.keyLength) &&
         StartTree(run, run.keys.keyLength, file.reader.entrySize) == kOk;
}

bool RecordScan::Open(const IsiFile& file, int fd, std::string& why) {
  if (!CompileStoredLine(file.Header(), *run_, why)) return false;
  const std::uint32_t keyLength = run_->keys.keyLength;
  if (keyLength != file.Header().keyLength) {
    why = Format("the stored command line makes keys of %s, the index has %u",
                 Count(keyLength, "byte").c_str(), file.Header().keyLength);
    return false;
  }
  if (!SetRecordFormat(file, why)) return false;
  if (!Allocate(file)) {
    why = "not enough memory";
    return false;
  }
  run_->files.inputFd = fd;
  return true;
}

bool RecordScan::Next(ScannedRecord& record) {
  RunContext& run = *run_;
  while (at_ == nullptr || item::IsEndMarker(at_)) {
    if (result_ != kOk) return false;
    result_ = CreateSubList(run);
    at_ = run.sort.sortMemoryBase;
  }
  record.position = item::Lfa(at_);
  record.recLength = item::RecLength(at_);
  record.key = {at_ + item::kKey, run.keys.keyLength};
  at_ += run.sort.itemSize;
  return true;
}

std::string RecordScan::WhyIncomplete() const {
  for (const ResultWords& known : kResultWords) {
    if (known.result == result_) return known.words;
  }
  return Format("the scan ended with %d", result_);
}

std::vector<std::uint32_t> RecordScan::Deleted() const {
  std::vector<std::uint32_t> addresses;
  const auto take = [&addresses](const std::uint8_t* sector, std::uint32_t count) {
    for (std::size_t i = 0; i < count; ++i) addresses.push_back(LoadLe32(sector + i * 4));
  };
  std::array<std::uint8_t, kSectorSize> sector{};
  const int fd = run_->files.outputFd;
  const std::int64_t end = FileSize(fd);
  for (std::int64_t at = 0; at < end && ReadAt(fd, at, sector) == kSectorSize; at += kSectorSize) {
    take(sector.data(), kListCapacity);
  }
  take(LevelNode(*run_, kTreeLevels), run_->isi.listCount);
  return addresses;
}

}  // namespace tavindex
