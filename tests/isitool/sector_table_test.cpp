#include "isitool/sector_table.h"

#include <gtest/gtest.h>

namespace tavindex::test {
namespace {

TEST(SectorTable, NothingIsReachedAtFirst) {
  const SectorTable table(10);
  EXPECT_EQ(table.Sectors(), 10U);
  EXPECT_EQ(table.NextReached(0), 10U);
  EXPECT_EQ(table.At(9).kind, SectorKind::kUnreached);
}

TEST(SectorTable, FindsWhatWasSet) {
  SectorTable table(10000);
  table.Set(3, {SectorKind::kList, 0, 7});
  table.Set(9000, {SectorKind::kNode, 2, 31});
  EXPECT_EQ(table.NextReached(0), 3U);
  EXPECT_EQ(table.NextReached(3), 3U);
  EXPECT_EQ(table.NextReached(4), 9000U);
  EXPECT_EQ(table.NextReached(9001), 10000U);
  EXPECT_EQ(table.NextReached(4, 8000), 8000U);
  EXPECT_EQ(table.NextReached(4, 9000), 9000U);
  EXPECT_EQ(table.At(9000).level, 2);
  EXPECT_EQ(table.At(9000).count, 31);
  EXPECT_EQ(table.At(8999).kind, SectorKind::kUnreached);
}

// A sparse file may claim any length: what nothing can refer to costs nothing.
TEST(SectorTable, HasRoomForAnyFile) {
  const std::uint64_t all = std::uint64_t{1} << 54;
  SectorTable table(all);
  table.Set(0xFFFFFFFF, {SectorKind::kNode, 0, 1});
  EXPECT_EQ(table.NextReached(4), 0xFFFFFFFFU);
  EXPECT_EQ(table.NextReached(0x100000000), all);
  EXPECT_EQ(table.At(all - 1).kind, SectorKind::kUnreached);
}

}  // namespace
}  // namespace tavindex::test
