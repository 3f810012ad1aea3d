#include "common/buffer.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/system_calls_guard.h"

namespace tavindex::test {
namespace {

TEST(Buffer, HoldsNothingAtFirst) {
  const Buffer buffer;
  EXPECT_FALSE(buffer.Allocated());
  EXPECT_EQ(buffer.Data(), nullptr);
  EXPECT_EQ(buffer.Size(), 0U);
}

TEST(Buffer, KnowsItsSize) {
  Buffer buffer;
  ASSERT_TRUE(buffer.Allocate(65697));
  EXPECT_TRUE(buffer.Allocated());
  EXPECT_EQ(buffer.Size(), 65697U);
  EXPECT_EQ(buffer.Bytes().size(), 65697U);
}

TEST(Buffer, OfNoBytesIsAllocatedAllTheSame) {
  Buffer buffer;
  ASSERT_TRUE(buffer.Allocate(0));
  EXPECT_TRUE(buffer.Allocated());
  EXPECT_EQ(buffer.Size(), 0U);
}

TEST(Buffer, AllocateZeroedClears) {
  Buffer buffer;
  ASSERT_TRUE(buffer.Allocate(4096));
  std::fill_n(buffer.Data(), 4096, std::uint8_t{0xAA});
  ASSERT_TRUE(buffer.AllocateZeroed(4096));
  const auto bytes = buffer.Bytes();
  EXPECT_TRUE(std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t b) { return b == 0; }));
}

TEST(Buffer, HoldsNothingWhenTheMemoryIsRefused) {
  Buffer buffer;
  ASSERT_TRUE(buffer.Allocate(16));
  SystemCallsGuard calls;
  calls.FailNth<&SystemCalls::allocate>(1, ENOMEM);
  EXPECT_FALSE(buffer.Allocate(32));
  EXPECT_FALSE(buffer.Allocated());
  EXPECT_EQ(buffer.Size(), 0U);
}

TEST(Buffer, AllocateZeroedCanBeRefusedToo) {
  Buffer buffer;
  SystemCallsGuard calls;
  calls.FailNth<&SystemCalls::allocateZeroed>(1, ENOMEM);
  EXPECT_FALSE(buffer.AllocateZeroed(32));
  EXPECT_FALSE(buffer.Allocated());
}

TEST(Buffer, FreeTwiceIsHarmless) {
  Buffer buffer;
  ASSERT_TRUE(buffer.Allocate(16));
  buffer.Free();
  EXPECT_FALSE(buffer.Allocated());
  EXPECT_EQ(buffer.Size(), 0U);
  buffer.Free();
  EXPECT_EQ(buffer.Data(), nullptr);
}

}  // namespace
}  // namespace tavindex::test
