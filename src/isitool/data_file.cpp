#include "isitool/data_file.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <string_view>

namespace tavindex {

namespace {

bool Open(const std::string& path, DataFile& data, std::string& why) {
  data.path = path;
  data.fd = OpenRegularFile(path.c_str(), O_RDONLY);
  if (data.IsOpen() && StatFile(data.fd, data.status)) return true;
  why = errno == EINVAL ? "not a regular file" : std::strerror(errno);
  CloseFile(data.fd);
  return false;
}

}  // namespace

bool FindDataFile(const IsiFile& file, const std::optional<std::string>& given, DataFile& data,
                  std::string& why) {
  if (given) return Open(*given, data, why);
  const std::string name(file.Header().dataFileName.View());
  if (name.empty()) {
    why = "the header names no data file";
    return false;
  }
  if (Open(name, data, why)) return true;
  const std::size_t slash = file.path.rfind('/');
  if (name[0] == '/' || slash == std::string::npos) return false;
  std::string whyBeside;
  if (Open(file.path.substr(0, slash + 1) + name, data, whyBeside)) return true;
  data.path = name;
  return false;
}

std::string ReadRecord(const DataFile& data, std::uint64_t offset, std::uint32_t length) {
  std::string record(length, '\0');
  const std::int64_t count =
      ReadAt(data.fd, static_cast<std::int64_t>(offset),
             {reinterpret_cast<std::uint8_t*>(record.data()), record.size()});
  record.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return record;
}

}  // namespace tavindex
