// The records of a data file and their keys, in file order, made by the scanner of the index build
// as the stored command line and the header say.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "common/run_context.h"
#include "isitool/isi_file.h"

namespace tavindex {

struct ScannedRecord {
  std::uint64_t position = 0;   // byte offset
  std::uint16_t recLength = 0;  // with end-of-record
  std::span<const std::uint8_t> key;
};

class RecordScan {
 public:
  RecordScan();
  RecordScan(const RecordScan&) = delete;
  RecordScan& operator=(const RecordScan&) = delete;
  ~RecordScan();

  // Prepares the scan of `fd`. False, with `why`, when it cannot be done.
  bool Open(const IsiFile& file, int fd, std::string& why);

  // The next record that meets the conditions; false at the end.
  bool Next(ScannedRecord& record);

  // After the last record: whether the data was read to its end, why not, where it ended, and the
  // addresses of the deleted records.
  bool Complete() const { return result_ == kInputExhausted; }
  std::string WhyIncomplete() const;
  std::uint64_t DataEnd() const { return run_->scan.nextLfa; }
  std::vector<std::uint32_t> Deleted() const;

  // Whether the build left duplicates out.
  bool DropsDuplicates() const { return run_->options.ignoreDups; }

 private:
  bool SetRecordFormat(const IsiFile& file, std::string& why);
  bool Allocate(const IsiFile& file);

  std::unique_ptr<RunContext> run_;
  Result result_ = kOk;  // of the last area
  const std::uint8_t* at_ = nullptr;
};

}  // namespace tavindex
