#include "sort/map_key_byte.h"

#include "sort_test.h"

namespace tavindex::test {
namespace {

class MapKeyByteTest : public SortTest {
 protected:
  std::int32_t Map(std::uint32_t column, std::uint8_t byte) {
    offered = byte;
    return MapKeyByte(run, column, offered);
  }
  std::int32_t Pad() {
    offered = ' ';
    return PadKeyBytes(run, offered);
  }
  std::uint8_t offered = 0;
};

TEST_F(MapKeyByteTest, MapKeyByteAnswersTheKeyPosition) {
  ASSERT_EQ(AddKeyRange(run, 2, 1), kOk);
  FinishKeyMap(run);
  EXPECT_EQ(Map(0, 'x'), 1);
  EXPECT_EQ(Map(1, 'y'), 0);
  EXPECT_EQ(offered, 'y');
  EXPECT_EQ(Map(2, 'z'), kMapExhausted);
}

TEST_F(MapKeyByteTest, MapKeyByteTellsTheDistanceToTheNextColumn) {
  ASSERT_EQ(AddKeyRange(run, 10, 10), kOk);
  FinishKeyMap(run);
  EXPECT_EQ(ColumnsToSkip(Map(0, 'x')), 8U);
  EXPECT_EQ(ColumnsToSkip(Map(8, 'x')), 0U);
  EXPECT_EQ(Map(9, 'x'), 0);
}

TEST_F(MapKeyByteTest, MapKeyByteTellsDistancesUpToTheLastColumn) {
  ASSERT_EQ(AddKeyRange(run, 65534, 65534), kOk);
  FinishKeyMap(run);
  const std::int32_t answer = Map(0, 'x');
  EXPECT_LT(answer, kConditionFailed);
  EXPECT_EQ(ColumnsToSkip(answer), 65532U);
}

TEST_F(MapKeyByteTest, MapKeyByteCountsPassedTests) {
  ASSERT_EQ(AddConditionText("1=A"), kOk);
  ASSERT_EQ(AddConditionText("2#B"), kOk);
  ASSERT_EQ(AddKeyRange(run, 2, 2), kOk);
  FinishKeyMap(run);
  EXPECT_LT(Map(0, 'A'), 0);
  EXPECT_EQ(run.scan.conditionsMet, 1U);
  EXPECT_EQ(Map(1, 'C'), 0);
  EXPECT_EQ(run.scan.conditionsMet, 2U);
  EXPECT_EQ(run.keys.conditionCount, 2U);
}

TEST_F(MapKeyByteTest, MapKeyByteForgetsPassedTestsAfterAFailedOne) {
  ASSERT_EQ(AddConditionText("1=A"), kOk);
  ASSERT_EQ(AddConditionText("2#B"), kOk);
  FinishKeyMap(run);
  Map(0, 'A');
  EXPECT_EQ(Map(1, 'B'), kConditionFailed);
  EXPECT_EQ(run.scan.conditionsMet, 0U);
}

TEST_F(MapKeyByteTest, MapKeyByteTestsTheByteAsItStandsInTheRecord) {
  run.options.upperCaseKeys = true;
  ASSERT_EQ(AddKeyRange(run, 1, 1), kOk);
  ASSERT_EQ(AddConditionText("1=a"), kOk);
  FinishKeyMap(run);
  EXPECT_EQ(Map(0, 'a'), 0);
  EXPECT_EQ(offered, 'A');
  run.scan.mapCursor = 0;
  EXPECT_EQ(Map(0, 'A'), kConditionFailed);
}

TEST_F(MapKeyByteTest, PadKeyBytesGoesOnFromTheCursor) {
  ASSERT_EQ(AddKeyRange(run, 1, 1), kOk);
  ASSERT_EQ(AddKeyRange(run, 7, 8), kOk);
  FinishKeyMap(run);
  EXPECT_EQ(Map(0, 'x'), 0);
  EXPECT_EQ(Pad(), 1);
  EXPECT_EQ(offered, ' ');
  EXPECT_EQ(Pad(), 2);
  EXPECT_EQ(Pad(), kMapExhausted);
}

TEST_F(MapKeyByteTest, PadKeyBytesTestsASpace) {
  ASSERT_EQ(AddConditionText("3= "), kOk);
  ASSERT_EQ(AddConditionText("4#x"), kOk);
  ASSERT_EQ(AddKeyRange(run, 5, 5), kOk);
  FinishKeyMap(run);
  EXPECT_EQ(Pad(), 0);
  EXPECT_EQ(run.scan.conditionsMet, 2U);
}

TEST_F(MapKeyByteTest, PadKeyBytesEndsAtAFailedTest) {
  ASSERT_EQ(AddConditionText("3=x"), kOk);
  ASSERT_EQ(AddKeyRange(run, 5, 5), kOk);
  FinishKeyMap(run);
  run.scan.conditionsMet = 1;
  EXPECT_EQ(Pad(), kMapExhausted);
  EXPECT_EQ(run.scan.conditionsMet, 0U);
}

TEST_F(MapKeyByteTest, PadKeyBytesNegatesDescendingSpacesInSortModeOnly) {
  run.options.descendingKeys = true;
  ASSERT_EQ(AddKeyRange(run, 1, 2), kOk);
  FinishKeyMap(run);
  EXPECT_EQ(Pad(), 0);
  EXPECT_EQ(offered, 0x20);
  UseSortMode();
  EXPECT_EQ(Pad(), 1);
  EXPECT_EQ(offered, 0xE0);
}

}  // namespace
}  // namespace tavindex::test
