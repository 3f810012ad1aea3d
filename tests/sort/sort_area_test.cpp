#include "sort/sort_area.h"

#include <algorithm>
#include <random>
#include <tuple>

#include "sort_test.h"

namespace tavindex::test {
namespace {

using Items = std::vector<Item>;

enum class Shape { kRandom, kSorted, kReversed, kAllEqual, kOrganPipe, kTwoKeys };

Items MakeItems(Shape shape, std::size_t count) {
  std::mt19937 random(static_cast<unsigned>(count) * 31 + static_cast<unsigned>(shape));
  Items items;
  for (std::size_t i = 0; i < count; ++i) {
    std::size_t value = 0;
    if (shape == Shape::kRandom) value = random() % 5000;
    if (shape == Shape::kSorted) value = i;
    if (shape == Shape::kReversed) value = count - i;
    if (shape == Shape::kOrganPipe) value = std::min(i, count - i);
    if (shape == Shape::kTwoKeys) value = random() % 2;
    std::string key{static_cast<char>(value >> 8), static_cast<char>(value)};
    items.push_back({1000 + 7 * i, static_cast<std::uint32_t>(i % 90), key});
  }
  return items;
}

class SortSubListTest : public SortTest {
 protected:
  SortSubListTest() {
    run.keys.keyLength = 2;
    OpenWorkFiles();
  }
  // The items in the order that the train has in the work file.
  Items Sorted(const Items& items, std::uint32_t method) {
    SizeArea(std::max<std::uint32_t>(static_cast<std::uint32_t>(items.size()), 1));
    FillArea(items);
    run.control.sortMethod = method;
    SortSubList(run);
    item::WriteEndMarker(run.sort.lastTrainItem.data(), run.sort.itemSize);
    SeekTo(run.files.workFd1, 0);
    TruncateFile(run.files.workFd1, 0);
    EXPECT_EQ(WriteSortTrain(run), kOk);
    Items sorted = WorkItems("work1");
    if (!sorted.empty() && sorted.back() == kEndItem) sorted.pop_back();
    return sorted;
  }
};

Items Expected(Items items) {
  std::sort(items.begin(), items.end(), [](const Item& a, const Item& b) {
    return std::tie(a.key, a.lfa) < std::tie(b.key, b.lfa);  // the keys as unsigned bytes
  });
  return items;
}

// Each method, with the cached prefixes and the plain way.
class BothMethods : public SortSubListTest,
                    public ::testing::WithParamInterface<std::tuple<std::uint32_t, bool>> {
 protected:
  BothMethods() { run.sort.prefixSort = std::get<1>(GetParam()); }
  static std::uint32_t Method() { return std::get<0>(GetParam()); }
};

TEST_P(BothMethods, SortsAreasOfEverySizeUpTo200) {
  for (std::size_t count = 0; count <= 200; ++count) {
    const Items items = MakeItems(Shape::kRandom, count);
    ASSERT_EQ(Sorted(items, Method()), Expected(items)) << count << " items";
  }
}

TEST_P(BothMethods, SortsSizesAroundPowersOfTwo) {
  for (std::size_t power = 256; power <= 4096; power *= 2) {
    for (const std::size_t count : {power - 1, power, power + 1}) {
      const Items items = MakeItems(Shape::kRandom, count);
      ASSERT_EQ(Sorted(items, Method()), Expected(items)) << count << " items";
    }
  }
}

TEST_P(BothMethods, SortsEveryShape) {
  for (const Shape shape :
       {Shape::kSorted, Shape::kReversed, Shape::kAllEqual, Shape::kOrganPipe, Shape::kTwoKeys}) {
    for (const std::size_t count : {2U, 3U, 7U, 64U, 1000U, 2500U}) {
      const Items items = MakeItems(shape, count);
      ASSERT_EQ(Sorted(items, Method()), Expected(items))
          << "shape " << static_cast<int>(shape) << ", " << count << " items";
    }
  }
}

TEST_P(BothMethods, KeepsEqualKeysInTheOrderOfTheirAddresses) {
  Items items = MakeItems(Shape::kAllEqual, 50);
  std::reverse(items.begin(), items.end());
  items[7].lfa = 0x100000005;  // the high half counts first
  const Items sorted = Sorted(items, Method());
  EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end(),
                             [](const Item& a, const Item& b) { return a.lfa < b.lfa; }));
  EXPECT_EQ(sorted.back().lfa, 0x100000005U);
}

TEST_P(BothMethods, SortsAnAreaWithoutAnEndMarker) {
  run.control.sortMethod = Method();
  SizeArea(2);  // three items at most, of which the scanner makes the last one an end marker
  FillArea({{8, 3, "bb"}, {0, 3, "cc"}});
  const std::string last = ItemBytes({4, 3, "aa"});
  std::copy(last.begin(), last.end(), run.sort.sortMemoryBase + 2 * 12);
  SortSubList(run);
  const std::uint32_t* refs = ItemReferences(run);
  EXPECT_EQ(std::vector<std::uint32_t>(refs, refs + 3), (std::vector<std::uint32_t>{24, 0, 12}));
}

TEST_P(BothMethods, LeavesTheItemsWhereTheyAre) {
  const Items items = MakeItems(Shape::kReversed, 20);
  Sorted(items, Method());
  EXPECT_EQ(AreaItems(), items);
}

TEST_P(BothMethods, SortsKeysThatBeginWithTwoOnes) {
  Items items = MakeItems(Shape::kReversed, 10);
  items[2].key = "\xFF\xFF";
  items[6].key = "\xFF\xFE";
  EXPECT_EQ(Sorted(items, Method()), Expected(items));
}

// Keys of 20 bytes in which many of the first ones are shared.
Items MakeLongKeys(std::size_t count, unsigned seed) {
  std::mt19937 random(seed);
  Items items;
  for (std::size_t i = 0; i < count; ++i) {
    std::string key(20, 'k');
    for (std::size_t at = 3 + random() % 17; at < 20; at += 1 + random() % 9) {
      key[at] = static_cast<char>(random() % 4 == 0 ? 0xFF : 'k' + random() % 3);
    }
    items.push_back({count * 10 - i * 10, 9, key});
  }
  return items;
}

TEST_P(BothMethods, SortsLongKeysThatShareTheirFrontBytes) {
  run.keys.keyLength = 20;
  for (const std::size_t count : {100U, 511U, 513U, 2000U, 6000U, 16384U, 16385U, 30000U}) {
    const Items items = MakeLongKeys(count, static_cast<unsigned>(count));
    ASSERT_EQ(Sorted(items, Method()), Expected(items)) << count << " items";
  }
}

TEST_P(BothMethods, SortsManyItemsOfOneKey) {
  Items items = MakeItems(Shape::kAllEqual, 20000);
  std::mt19937 random(3);
  std::shuffle(items.begin(), items.end(), random);
  items[500].key = "zz";
  ASSERT_EQ(Sorted(items, Method()), Expected(items));
}

TEST_P(BothMethods, SortsWithoutMemoryForATable) {
  const Items items = MakeItems(Shape::kRandom, 700);
  SizeArea(700);
  FillArea(items);
  run.control.sortMethod = Method();
  calls.FailFrom<&SystemCalls::allocate>(1, ENOMEM);
  SortSubList(run);
  EXPECT_EQ(WriteSortTrain(run), kOk);
  EXPECT_EQ(WorkItems("work1"), Expected(items));
}

INSTANTIATE_TEST_SUITE_P(SortSubList, BothMethods,
                         ::testing::Combine(::testing::Values(0U, 1U), ::testing::Bool()));

TEST_F(SortSubListTest, BothMethodsGiveTheSameOrder) {
  const Items items = MakeItems(Shape::kTwoKeys, 777);
  EXPECT_EQ(Sorted(items, kShellSort), Sorted(items, kQuickSort));
}

TEST_F(SortSubListTest, AnyOtherMethodLeavesTheAreaUnsorted) {
  const Items items = MakeItems(Shape::kReversed, 9);
  EXPECT_EQ(Sorted(items, 2), items);
  EXPECT_EQ(Sorted(items, 0xFFFFFFFF), items);
}

}  // namespace
}  // namespace tavindex::test
