#include "sort/distribution.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace tavindex::test {
namespace {

// References are numbers here; they are distributed by their low byte.
struct LowByte {
  std::uint8_t Of(std::uint32_t ref) const { return static_cast<std::uint8_t>(ref); }
  void Fetch(std::uint32_t ref) const { fetched->push_back(ref); }
  std::vector<std::uint32_t>* fetched;
};

using Refs = std::vector<std::uint32_t>;

class DistributeTest : public ::testing::Test {
 protected:
  // Distributes `refs` and checks that each bucket holds exactly the references with its byte.
  void ExpectDistributed(Refs refs) {
    Refs before = refs;
    const BucketEnds ends = Distribute(std::span<std::uint32_t>(refs), LowByte{&fetched});
    std::size_t at = 0;
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
      for (; at < ends[byte]; ++at) ASSERT_EQ(refs[at] & 0xFF, byte) << "place " << at;
    }
    EXPECT_EQ(at, refs.size());
    std::sort(before.begin(), before.end());
    std::sort(refs.begin(), refs.end());
    EXPECT_EQ(refs, before);
  }

  Refs fetched;
};

TEST_F(DistributeTest, OrdersRandomReferences) {
  std::mt19937 random(11);
  for (std::size_t count = 0; count < 600; count += 1 + count / 10) {
    Refs refs(count);
    for (std::uint32_t& ref : refs) ref = static_cast<std::uint32_t>(random());
    ExpectDistributed(refs);
  }
}

TEST_F(DistributeTest, OrdersReferencesThatAllStandInEachOthersPlace) {
  Refs refs;
  for (std::uint32_t i = 0; i < 512; ++i) refs.push_back((i + 255) % 256 + 256 * i);
  ExpectDistributed(refs);
}

TEST_F(DistributeTest, LeavesOneBucketAsItIs) {
  Refs refs{0x1FF, 0x2FF, 0xFF};
  const BucketEnds ends = Distribute(std::span<std::uint32_t>(refs), LowByte{&fetched});
  EXPECT_EQ(refs, (Refs{0x1FF, 0x2FF, 0xFF}));
  EXPECT_EQ(ends[254], 0U);
  EXPECT_EQ(ends[255], 3U);
}

TEST_F(DistributeTest, AsksForItemsOfTheRangeOnly) {
  Refs refs(kFetchAhead + 3);
  for (std::uint32_t i = 0; i < refs.size(); ++i) refs[i] = 1000 - i;
  const std::uint32_t low = refs.back();
  Distribute(std::span<std::uint32_t>(refs), LowByte{&fetched});
  ASSERT_GE(fetched.size(), 3U);  // when the bytes are counted
  for (const std::uint32_t ref : fetched) EXPECT_TRUE(ref >= low && ref <= 1000) << ref;
}

TEST_F(DistributeTest, ForEachBucketGivesEveryBucketInOrder) {
  Refs refs{5, 6, 7};
  BucketEnds ends{};
  std::fill(ends.begin() + 3, ends.end(), 1U);
  std::fill(ends.begin() + 9, ends.end(), 3U);
  std::vector<std::size_t> sizes;
  ForEachBucket(std::span<std::uint32_t>(refs), ends,
                [&](std::span<std::uint32_t> bucket) { sizes.push_back(bucket.size()); });
  ASSERT_EQ(sizes.size(), 256U);
  EXPECT_EQ(sizes[3], 1U);
  EXPECT_EQ(sizes[9], 2U);
  EXPECT_EQ(std::count(sizes.begin(), sizes.end(), 0U), 254);
}

}  // namespace
}  // namespace tavindex::test
