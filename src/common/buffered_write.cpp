#include "common/buffered_write.h"

#include <utility>

#include "common/file.h"

namespace tavindex {

bool FlushWrite(RunContext& run, int fd) {
  const std::size_t used = std::exchange(run.writer.used, 0);
  return WriteAll(fd, {run.writer.ioBuffer.Data(), used});
}

bool BufferedWriteAcross(RunContext& run, int fd, std::span<const std::uint8_t> bytes) {
  WriterState& writer = run.writer;
  while (bytes.size() >= kIoBufferSize - writer.used) {
    const std::size_t room = kIoBufferSize - writer.used;
    std::memcpy(writer.ioBuffer.Data() + writer.used, bytes.data(), room);
    writer.used = kIoBufferSize;
    if (!FlushWrite(run, fd)) return false;
    bytes = bytes.subspan(room);
  }
  if (!bytes.empty()) std::memcpy(writer.ioBuffer.Data() + writer.used, bytes.data(), bytes.size());
  writer.used += bytes.size();
  return true;
}

}  // namespace tavindex
