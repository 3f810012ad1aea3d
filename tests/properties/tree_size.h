// How large a built index is, worked out from the number of entries alone.
//
// A node of level 0 is written when it holds c entries and one more key comes; that key goes one
// level up. So of n keys in order every (c + 1)th leaves level 0, every (c + 1)^2th level 1, and so
// on: level L receives n / (c + 1)^L keys (rounded down) and keeps those that do not go on.
#pragma once

#include <cstdint>

namespace tavindex::test {

struct TreeSize {
  unsigned levels = 1;
  std::uint64_t nodes = 1;  // with the root

  std::uint64_t FileBytes() const { return 2048 + (nodes - 1) * 512; }
};

// `perNode` entries a node, at least one.
inline TreeSize SizeOfTree(std::uint64_t entries, std::uint64_t perNode) {
  TreeSize size;
  for (std::uint64_t arrived = entries; arrived > perNode; ++size.levels) {
    const std::uint64_t wentOn = arrived / (perNode + 1);
    const std::uint64_t inOpenNode = arrived - wentOn - wentOn * perNode;
    // One full node for each key that went on; the open one is written when it holds something.
    size.nodes += wentOn + (inOpenNode > 0 ? 1 : 0);
    arrived = wentOn;
  }
  return size;
}

}  // namespace tavindex::test
