#include "isitool/isi_file.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "common/file.h"
#include "isitool/text.h"

namespace tavindex {

namespace {

// Words for what CheckFront refuses, and for a file that it would have found cut short.
std::string FrontFault(const IsiFile& file) {
  const TreeReader& reader = file.reader;
  if (file.Size() < kFrontSize) {
    return Format("%llu bytes long, less than the %zu that every ISI file has",
                  static_cast<unsigned long long>(file.Size()), kFrontSize);
  }
  if (reader.entrySize != 0) {
    return Format("the root holds %u entries, more than the %u that fit",
                  node::EntryCount(reader.front.data() + kRootOffset), reader.capacity);
  }
  if (reader.header.keyLength == 0 || reader.header.keyLength > kMaxKeyMapEntries) {
    return Format("the key length is %u", reader.header.keyLength);
  }
  if (reader.recordNumberMode && reader.header.recordLength == 0) {
    return "the record length is 0 in record-number mode";
  }
  return Format("the root's address is %u", reader.header.rootNode);
}

bool ReadFrontBytes(IsiFile& file) {
  TreeReader& reader = file.reader;
  if (!StatFile(reader.fd, file.status) || ReadAt(reader.fd, 0, reader.front) < 0) return false;
  reader.sectors = file.Size() / kSectorSize;
  return true;
}

}  // namespace

IsiFile::~IsiFile() { CloseFile(reader.fd); }

bool OpenIsi(const std::string& path, IsiFile& file, std::string& why) {
  file.path = path;
  file.reader.fd = OpenRegularFile(path.c_str(), O_RDONLY);
  if (file.reader.fd < 0) {
    why = errno == EINVAL ? "not a regular file" : std::strerror(errno);
    return false;
  }
  if (!ReadFrontBytes(file)) {
    why = std::strerror(errno);
    return false;
  }
  if (!HasIsiSignature(file.reader.front)) {
    why = "not an ISI file";
    return false;
  }
  if (CheckFront(file.reader) != kOk || file.Size() < kFrontSize) file.fault = FrontFault(file);
  return true;
}

std::uint32_t SectorOf(const IsiFile& file, std::uint32_t address) {
  return static_cast<std::uint32_t>(SectorOffset(file.reader, address) / kSectorSize);
}

EntryView EntryOf(const IsiFile& file, const std::uint8_t* sector, std::uint32_t index) {
  const ByteOrder order = file.reader.order;
  const std::uint8_t* at = sector + std::size_t{index - 1} * file.reader.entrySize;
  return {.lfa = Load32(at + entry::kLfa, order),
          .child = Load32(at + entry::kChild, order),
          .dupSeq = Load16(at + entry::kDupSeq, order),
          .recLength = Load16(at + entry::kRecLength, order),
          .key = {at + entry::kKey, file.Header().keyLength}};
}

std::uint64_t RecordOffset(const IsiFile& file, std::uint32_t lfa) {
  return std::uint64_t{lfa} * (file.reader.recordNumberMode ? file.reader.stride : 1);
}

std::uint32_t LevelOf(const IsiFile& file, const std::uint8_t* sector) {
  return Load16(sector + node::kLevel, file.reader.order) & 0xFFU;
}

}  // namespace tavindex
