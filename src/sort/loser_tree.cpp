#include "sort/loser_tree.h"

#include <utility>

#include "sort/key_prefix.h"
#include "sort/sort_item.h"

namespace tavindex {

bool HeadBefore(const MergeWay& a, const MergeWay& b, std::uint32_t keyLength) {
  if (item::IsEndMarker(a.current)) return false;
  if (item::IsEndMarker(b.current)) return true;
  return CompareItems(a.current + item::kKey, b.current + item::kKey, keyLength) < 0;
}

LoserTree::Node LoserTree::LeafOf(std::uint32_t way) const {
  const std::uint8_t* head = ways_[way].current;
  const bool ended = item::IsEndMarker(head);
  return {.prefix = ended ? UINT64_MAX : KeyPrefix(head + item::kKey, keyLength_), .way = way};
}

bool LoserTree::Before(const Node& a, const Node& b) const {
  if (a.prefix != b.prefix) return a.prefix < b.prefix;
  return HeadBefore(ways_[a.way], ways_[b.way], keyLength_);
}

// The winner of the matches at and below a node; ways are the leaves, from node k on.
LoserTree::Node LoserTree::PlayBelow(std::uint32_t node) {
  const auto count = static_cast<std::uint32_t>(ways_.size());
  if (node >= count) return LeafOf(node - count);
  Node left = PlayBelow(2 * node);
  Node right = PlayBelow(2 * node + 1);
  if (Before(right, left)) std::swap(left, right);
  losers_[node] = right;
  return left;
}

void LoserTree::Build(std::span<MergeWay> ways) {
  ways_ = ways;
  runnerUpKnown_ = false;
  winner_ = PlayBelow(1).way;
}

void LoserTree::FindRunnerUp() {
  std::uint32_t node = (static_cast<std::uint32_t>(ways_.size()) + winner_) / 2;
  runnerUp_ = losers_[node];
  while ((node /= 2) > 0) {
    if (Before(losers_[node], runnerUp_)) runnerUp_ = losers_[node];
  }
  runnerUpKnown_ = true;
}

void LoserTree::Replay() {
  const auto count = static_cast<std::uint32_t>(ways_.size());
  if (count == 1) return;
  Node current = LeafOf(winner_);
  if (runnerUpKnown_ && Before(current, runnerUp_)) return;
  runnerUpKnown_ = false;
  for (std::uint32_t node = (count + winner_) / 2; node > 0; node /= 2) {
    if (Before(losers_[node], current)) std::swap(losers_[node], current);
  }
  const std::uint32_t before = std::exchange(winner_, current.way);
  if (before == winner_) FindRunnerUp();
}

}  // namespace tavindex
