#include "sort/key_map.h"

#include "sort_test.h"

namespace tavindex::test {
namespace {

class KeyMapTest : public SortTest {
 protected:
  struct Entry {
    unsigned recordPos;
    unsigned keyPos;
    unsigned flags;
    bool operator==(const Entry&) const = default;
  };
  std::vector<Entry> Entries() const {
    std::vector<Entry> entries;
    for (std::uint32_t i = 0; i < run.keys.keyMapCount; ++i) {
      const KeyMapEntry& entry = run.keys.keyMap[i];
      entries.push_back({entry.recordPos, entry.keyPos, entry.flags});
    }
    return entries;
  }
  friend void PrintTo(const Entry& entry, std::ostream* out) {
    *out << "{" << entry.recordPos << ", " << entry.keyPos << ", " << entry.flags << "}";
  }
};

TEST_F(KeyMapTest, AddKeyRangeTakesColumnsFromZero) {
  EXPECT_EQ(AddKeyRange(run, 4, 6), kOk);
  EXPECT_EQ(AddKeyRange(run, 1, 1), kOk);
  EXPECT_EQ(Entries(),
            (std::vector<Entry>{{3, 0, 0x08}, {4, 1, 0x08}, {5, 2, 0x08}, {0, 3, 0x08}}));
  EXPECT_EQ(run.keys.keyLength, 4U);
}

TEST_F(KeyMapTest, AddKeyRangeTakesADownwardRangeFromItsHighestColumn) {
  EXPECT_EQ(AddKeyRange(run, 30, 21), kOk);
  EXPECT_EQ(run.keys.keyLength, 10U);
  const std::vector<Entry> entries = Entries();
  ASSERT_EQ(entries.size(), 10U);
  EXPECT_EQ(entries.front(), (Entry{29, 0, 0x08}));
  EXPECT_EQ(entries.back(), (Entry{20, 9, 0x08}));
}

TEST_F(KeyMapTest, AddKeyRangeRefusesAColumnThatIsInTheKeyAlready) {
  EXPECT_EQ(AddKeyRange(run, 1, 10), kOk);
  EXPECT_EQ(AddKeyRange(run, 5, 7), -113);
  EXPECT_EQ(run.keys.keyLength, 10U);  // it stopped at the first of them
}

TEST_F(KeyMapTest, AddKeyRangeStopsAtTheOverlappingColumn) {
  EXPECT_EQ(AddKeyRange(run, 5, 5), kOk);
  EXPECT_EQ(AddKeyRange(run, 3, 9), -113);
  EXPECT_EQ(run.keys.keyLength, 3U);  // 5, 3 and 4
}

TEST_F(KeyMapTest, AddKeyRangeTakes150ColumnsAndNoMore) {
  for (std::uint32_t column = 1; column <= 150; ++column) {
    EXPECT_EQ(AddKeyRange(run, 2 * column, 2 * column), kOk) << column;
  }
  EXPECT_EQ(run.keys.keyLength, 150U);
  EXPECT_EQ(AddKeyRange(run, 400, 400), -114);
}

TEST_F(KeyMapTest, AddKeyRangeRefusesTheColumnThatPassesTheMapInOneRange) {
  EXPECT_EQ(AddKeyRange(run, 1, 151), -114);
  KeyState keys;
  run.keys = keys;
  EXPECT_EQ(AddKeyRange(run, 150, 1), kOk);
}

TEST_F(KeyMapTest, AddKeyRangeCountsConditionColumnsTowardsTheLimit) {
  ASSERT_EQ(AddConditionText("500=A"), kOk);
  EXPECT_EQ(AddKeyRange(run, 1, 149), kOk);
  EXPECT_EQ(run.keys.keyMapCount, 150U);
  EXPECT_EQ(AddKeyRange(run, 200, 200), -114);
}

TEST_F(KeyMapTest, AddKeyRangeUsesTheEntryOfACondition) {
  ASSERT_EQ(AddConditionText("2=A"), kOk);
  EXPECT_EQ(AddKeyRange(run, 1, 3), kOk);
  EXPECT_EQ(Entries(), (std::vector<Entry>{{1, 1, 0x28}, {0, 0, 0x08}, {2, 2, 0x08}}));
  EXPECT_EQ(run.keys.keyMap[0].compareChar, 'A');
}

TEST_F(KeyMapTest, AddKeyRangeMarksUpperCaseAndDescendingColumns) {
  run.options.upperCaseKeys = true;
  EXPECT_EQ(AddKeyRange(run, 1, 1), kOk);
  run.options.upperCaseKeys = false;
  run.options.descendingKeys = true;
  EXPECT_EQ(AddKeyRange(run, 2, 2), kOk);
  EXPECT_EQ(Entries(), (std::vector<Entry>{{0, 0, 0x48}, {1, 1, 0x88}}));
}

TEST_F(KeyMapTest, FindConditionEntryTakesTheEntryOfAKeyColumn) {
  ASSERT_EQ(AddKeyRange(run, 7, 7), kOk);
  EXPECT_EQ(FindConditionEntry(run, 6), &run.keys.keyMap[0]);
  EXPECT_EQ(run.keys.keyMapCount, 1U);
}

TEST_F(KeyMapTest, FindConditionEntryAddsAnEntryOfItsOwn) {
  KeyMapEntry* entry = FindConditionEntry(run, 6);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(Entries(), (std::vector<Entry>{{6, 0, 0}}));
}

TEST_F(KeyMapTest, FindConditionEntryRefusesToMakeTheLastEntry) {
  ASSERT_EQ(AddKeyRange(run, 1, 148), kOk);
  EXPECT_NE(FindConditionEntry(run, 300), nullptr);
  EXPECT_EQ(FindConditionEntry(run, 301), nullptr);  // it would be the 150th
  EXPECT_EQ(run.keys.keyMapCount, 149U);
}

TEST_F(KeyMapTest, FinishKeyMapSortsByColumnAndEndsTheMap) {
  ASSERT_EQ(AddKeyRange(run, 9, 7), kOk);
  ASSERT_EQ(AddConditionText("8=x"), kOk);
  ASSERT_EQ(AddConditionText("1#y"), kOk);
  FinishKeyMap(run);
  EXPECT_EQ(Entries(),
            (std::vector<Entry>{{0, 0, 0x10}, {6, 2, 0x08}, {7, 1, 0x28}, {8, 0, 0x08}}));
  EXPECT_EQ(run.keys.keyMap[4].keyPos, 65535U);
  EXPECT_EQ(run.keys.conditionCount, 2U);
}

TEST_F(KeyMapTest, FinishKeyMapPutsConditionsBeforeTheKeyByteOfTheirColumn) {
  ASSERT_EQ(AddKeyRange(run, 5, 5), kOk);
  ASSERT_EQ(AddConditionText("5#A"), kOk);
  ASSERT_EQ(AddConditionText("5#B"), kOk);
  FinishKeyMap(run);
  EXPECT_EQ(Entries(), (std::vector<Entry>{{4, 0, 0x10}, {4, 0, 0x18}}));
  EXPECT_EQ(run.keys.conditionCount, 2U);
}

TEST_F(KeyMapTest, FinishKeyMapCountsACompoundConditionOnce) {
  ASSERT_EQ(AddConditionText("=1='A'&20>='X'"), kOk);
  FinishKeyMap(run);
  EXPECT_EQ(Entries(), (std::vector<Entry>{{0, 0, 0x04}, {19, 0, 0x24}}));
  EXPECT_EQ(run.keys.conditionCount, 1U);
}

TEST_F(KeyMapTest, FinishKeyMapEndsAFullMap) {
  ASSERT_EQ(AddKeyRange(run, 150, 1), kOk);
  FinishKeyMap(run);
  EXPECT_EQ(run.keys.keyMap[0].recordPos, 0U);
  EXPECT_EQ(run.keys.keyMap[149].recordPos, 149U);
  EXPECT_EQ(run.keys.keyMap[150].keyPos, 65535U);
}

TEST_F(KeyMapTest, ListKeyMapShowsEveryEntryInDebugMode) {
  run.options.upperCaseKeys = true;
  ASSERT_EQ(AddKeyRange(run, 1, 1), kOk);
  run.options.upperCaseKeys = false;
  run.options.descendingKeys = true;
  ASSERT_EQ(AddKeyRange(run, 65534, 65534), kOk);
  ASSERT_EQ(AddConditionText("3#z"), kOk);
  ASSERT_EQ(AddConditionText("=4='A'"), kOk);
  FinishKeyMap(run);
  ListKeyMap(run);
  EXPECT_EQ(console.Text(), "");
  run.control.debugMode = true;
  ListKeyMap(run);
  EXPECT_EQ(console.Text(),
            "  Col   Pos Char  Other\n"
            "    1     1       Key;  Upper Case;\n"
            "    3     0  'z'  != match;\n"
            "    4     0       = match;  extended;\n"
            "65534     2       Key;  Descending;\n");
}

}  // namespace
}  // namespace tavindex::test
