#include "sort/tab_stop.h"

#include <gtest/gtest.h>

namespace tavindex::test {
namespace {

TEST(SpacesToTabStop, ReachesTheNextMultipleOfEight) {
  const std::uint32_t expected[] = {8, 7, 6, 5, 4, 3, 2, 1, 8, 7};
  for (std::uint32_t column = 0; column < 10; ++column) {
    EXPECT_EQ(SpacesToTabStop(column), expected[column]) << "column " << column;
  }
}

TEST(SpacesToTabStop, CountsColumnsPastSixteenBits) {
  EXPECT_EQ(SpacesToTabStop(65535), 1U);
  EXPECT_EQ(SpacesToTabStop(65536), 8U);
  EXPECT_EQ(SpacesToTabStop(70003), 5U);
}

}  // namespace
}  // namespace tavindex::test
