// The distribution of references by one byte of what they refer to, in place.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

namespace tavindex {

// Where the references with each byte end.
using BucketEnds = std::array<std::size_t, 256>;

// How many references ahead the memory of an item is asked for: the items of a large area stand
// anywhere in it, and each would be waited for.
inline constexpr std::size_t kFetchAhead = 16;

// What a reference is distributed by: Of(ref) gives the byte, Fetch(ref) asks for its memory.
template <typename Ref, typename Byte>
BucketEnds CountBytes(std::span<const Ref> refs, const Byte& byte) {
  BucketEnds ends{};
  for (std::size_t i = 0; i < refs.size(); ++i) {
    if (i + kFetchAhead < refs.size()) byte.Fetch(refs[i + kFetchAhead]);
    ++ends[byte.Of(refs[i])];
  }
  std::size_t sum = 0;
  for (std::size_t& end : ends) end = sum += end;
  return ends;
}

// Puts each reference of [next[bucket], end) where its own bucket goes on.
template <typename Ref, typename Byte>
void EmptyBucket(std::span<Ref> refs, std::size_t bucket, std::size_t end, BucketEnds& next,
                 const Byte& byte) {
  for (std::size_t at = next[bucket]; at < end; ++at) {
    if (at + kFetchAhead < end) byte.Fetch(refs[at + kFetchAhead]);
    std::swap(refs[at], refs[next[byte.Of(refs[at])]++]);
  }
}

// Orders the references by their bytes, those with the same byte in any order. The buckets are
// swept one after the other until each reference is in its own: following one displaced reference
// after the other would need fewer steps, but nobody could tell which item comes next.
template <typename Ref, typename Byte>
BucketEnds Distribute(std::span<Ref> refs, const Byte& byte) {
  const BucketEnds ends = CountBytes<Ref>(refs, byte);
  BucketEnds next{};
  for (std::size_t b = 1; b < next.size(); ++b) next[b] = ends[b - 1];
  for (bool displaced = true; displaced;) {
    displaced = false;
    for (std::size_t b = 0; b < next.size(); ++b) {
      if (next[b] == ends[b]) continue;
      displaced = true;
      EmptyBucket(refs, b, ends[b], next, byte);
    }
  }
  return ends;
}

// Calls `sort` with the references of each bucket.
template <typename Ref, typename Sort>
void ForEachBucket(std::span<Ref> refs, const BucketEnds& ends, const Sort& sort) {
  std::size_t start = 0;
  for (const std::size_t end : ends) {
    sort(refs.subspan(start, end - start));
    start = end;
  }
}

}  // namespace tavindex
