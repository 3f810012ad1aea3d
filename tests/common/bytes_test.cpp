#include "common/bytes.h"

#include <gtest/gtest.h>

#include <array>

namespace tavindex::test {
namespace {

using Eight = std::array<std::uint8_t, 8>;
constexpr Eight kBytes = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x88};

TEST(LoadLe, TakesTheLowByteFirst) {
  EXPECT_EQ(LoadLe16(kBytes.data()), 0x0201);
  EXPECT_EQ(LoadLe32(kBytes.data()), 0x04030201U);
  EXPECT_EQ(LoadLe64(kBytes.data()), 0x8807060504030201U);
}

TEST(LoadLe, NeedsNoAlignment) {
  EXPECT_EQ(LoadLe16(kBytes.data() + 1), 0x0302);
  EXPECT_EQ(LoadLe32(kBytes.data() + 3), 0x07060504U);
}

TEST(StoreLe, PutsTheLowByteFirst) {
  Eight out{};
  StoreLe16(out.data(), 0xABCD);
  EXPECT_EQ(out, (Eight{0xCD, 0xAB}));
  StoreLe32(out.data() + 1, 0x12345678);
  EXPECT_EQ(out, (Eight{0xCD, 0x78, 0x56, 0x34, 0x12}));
  StoreLe64(out.data(), 0x1122334455667788);
  EXPECT_EQ(out, (Eight{0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11}));
}

TEST(Load, FollowsTheByteOrder) {
  EXPECT_EQ(Load16(kBytes.data(), ByteOrder::kLittle), 0x0201);
  EXPECT_EQ(Load16(kBytes.data(), ByteOrder::kBig), 0x0102);
  EXPECT_EQ(Load32(kBytes.data() + 4, ByteOrder::kLittle), 0x88070605U);
  EXPECT_EQ(Load32(kBytes.data() + 4, ByteOrder::kBig), 0x05060788U);
}

TEST(Store, FollowsTheByteOrder) {
  Eight out{};
  Store16(out.data(), 0x0102, ByteOrder::kBig);
  Store16(out.data() + 2, 0x0102, ByteOrder::kLittle);
  Store32(out.data() + 4, 0xA1B2C3D4, ByteOrder::kBig);
  EXPECT_EQ(out, (Eight{0x01, 0x02, 0x02, 0x01, 0xA1, 0xB2, 0xC3, 0xD4}));
  Store32(out.data() + 4, 0xA1B2C3D4, ByteOrder::kLittle);
  EXPECT_EQ(out, (Eight{0x01, 0x02, 0x02, 0x01, 0xD4, 0xC3, 0xB2, 0xA1}));
}

}  // namespace
}  // namespace tavindex::test
