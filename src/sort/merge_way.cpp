#include "sort/merge_way.h"

#include <algorithm>

#include "common/console.h"
#include "common/file.h"

namespace tavindex {

namespace {

constexpr int kRetries = 3;

// As in fillInputBuffer, the offset takes two of the numbers of the line.
void ShowRetry(RunContext& run, int name, int retriesLeft, std::int64_t offset,
               std::int64_t count) {
  ShowDebug(run,
            "\nDoFancyMerge(%d):\n Retry:%d  At location:0x%.8lX  Bytes read was:%d "
            "Should be:%d\n",
            name, retriesLeft, static_cast<unsigned long>(offset & 0xFFFFFFFF),
            static_cast<int>(offset >> 32), static_cast<int>(count));
}

std::int64_t ReadBlock(int fd, std::int64_t offset, std::span<std::uint8_t> block) {
  return SeekTo(fd, offset) < 0 ? -1 : ReadOnce(fd, block);
}

}  // namespace

Result ReadWayBlock(RunContext& run, MergeWay& way, std::uint32_t blkLgt, BlockReadNames names) {
  const int fd = run.files.mergeInput;
  std::int64_t count = 0;
  for (int retriesLeft = kRetries;; --retriesLeft) {
    count = ReadBlock(fd, way.nextOffset, {way.block, blkLgt});
    if (count == blkLgt) break;
    if (retriesLeft == 0) {
      ShowDebug(run, "\nDoFancyMerge(%d): Invalid blkLgt size read! %d:%d\n", names.failed,
                static_cast<int>(blkLgt), static_cast<int>(count));
      return kWorkReadFailed;
    }
    if (count >= 0 && count == FileSize(fd) - way.nextOffset) break;
    ShowRetry(run, names.retried, retriesLeft - 1, way.nextOffset, count);
  }
  way.nextOffset += blkLgt;
  way.itemsLeft = static_cast<std::uint32_t>(count) / run.sort.itemSize;
  way.current = way.block;
  return way.itemsLeft > 0 ? kOk : kWorkReadFailed;
}

}  // namespace tavindex
