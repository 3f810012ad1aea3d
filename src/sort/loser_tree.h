// A loser tree over the heads of the merge ways: one path of comparisons finds the next smallest
// head after a way has moved on. Each node keeps the key prefix of the way that lost there, so
// that most comparisons do not look at an item.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "sort/merge_way.h"

namespace tavindex {

// Whether a's head comes before b's. The end marker compares greater than every record: binary
// keys may begin with FF FF, and a marker that sorted by its key bytes would end their group
// before them.
bool HeadBefore(const MergeWay& a, const MergeWay& b, std::uint32_t keyLength);

class LoserTree {
 public:
  explicit LoserTree(std::uint32_t keyLength) : keyLength_(keyLength) {}

  // Plays all ways (1 to kMaxWays of them, each on its first item) against each other.
  void Build(std::span<MergeWay> ways);

  // The way with the smallest head.
  MergeWay& Winner() { return ways_[winner_]; }

  // Finds the winner again after the head of the last one has changed.
  void Replay();

 private:
  struct Node {
    std::uint64_t prefix = 0;
    std::uint32_t way = 0;
  };

  Node LeafOf(std::uint32_t way) const;
  bool Before(const Node& a, const Node& b) const;
  Node PlayBelow(std::uint32_t node);
  void FindRunnerUp();

  std::uint32_t keyLength_;
  std::span<MergeWay> ways_;
  std::array<Node, kMaxWays> losers_{};  // node 1 is the root; node i has children 2i and 2i + 1
  std::uint32_t winner_ = 0;
  // While one way keeps winning, its new head needs one comparison: with the best of the losers.
  bool runnerUpKnown_ = false;
  Node runnerUp_;
};

}  // namespace tavindex
