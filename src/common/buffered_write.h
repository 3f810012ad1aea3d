// The output buffer through which the work files and the tree nodes are written: one 256 KiB block
// for the whole run, flushed before the run turns to another file. Full buffers go out in one
// write each.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>

#include "common/run_context.h"

namespace tavindex {

// Writes what is waiting and empties the buffer. False when not all of it could be written
// (errno tells why); what was waiting is given up then too.
bool FlushWrite(RunContext& run, int fd);

// The path of BufferedWrite for bytes that fill the buffer.
bool BufferedWriteAcross(RunContext& run, int fd, std::span<const std::uint8_t> bytes);

// Takes `bytes` for `fd`. False when the buffer had to be flushed and that failed.
inline bool BufferedWrite(RunContext& run, int fd, std::span<const std::uint8_t> bytes) {
  if (bytes.size() >= kIoBufferSize - run.writer.used) return BufferedWriteAcross(run, fd, bytes);
  std::memcpy(run.writer.ioBuffer.Data() + run.writer.used, bytes.data(), bytes.size());
  run.writer.used += bytes.size();
  return true;
}

}  // namespace tavindex
