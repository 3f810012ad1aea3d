// The data file that an ISI indexes: found, opened for reading, its records read.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

#include "common/file.h"
#include "isitool/isi_file.h"

namespace tavindex {

struct DataFile {
  DataFile() = default;
  DataFile(const DataFile&) = delete;
  DataFile& operator=(const DataFile&) = delete;
  ~DataFile() { CloseFile(fd); }

  std::string path;
  int fd = kNoFile;
  struct stat status {};

  bool IsOpen() const { return fd >= 0; }
};

// Opens `given`, or without one the file that the header names: the name as it stands or, when it
// is a relative one, beside the ISI. False, with `why`, when it cannot be opened.
bool FindDataFile(const IsiFile& file, const std::optional<std::string>& given, DataFile& data,
                  std::string& why);

// The bytes of a record, fewer when the file ends before.
std::string ReadRecord(const DataFile& data, std::uint64_t offset, std::uint32_t length);

}  // namespace tavindex
