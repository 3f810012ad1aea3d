#include "sort/fast_walk.h"

#include <random>

#include "sort/record_scanner.h"
#include "sort_test.h"

namespace tavindex::test {
namespace {

// What a scan leaves behind, of all its areas.
struct Scanned {
  std::vector<Item> items;
  Result result = kOk;
  std::uint64_t nextLfa = 0;
  std::uint64_t recordCount = 0;
  std::uint32_t recordLength = 0;
  bool tabsExpanded = false;

  bool operator==(const Scanned&) const = default;
};

struct Shape {
  const char* name;
  const char* mark;  // empty: binary records of 37 bytes
  bool tabs;
  bool variable;
};

void PrintTo(const Shape& shape, std::ostream* out) { *out << shape.name; }

class FastWalkTest : public SortTest, public ::testing::WithParamInterface<Shape> {
 protected:
  FastWalkTest() {
    const Shape& shape = GetParam();
    if (shape.mark[0] == '\0') {
      UseBinary(37);
    } else {
      UseEor(shape.mark);
    }
    run.options.variableRecords = shape.variable;
  }
  void ExpectSameScans(unsigned seed) {
    FinishKeyMap(run);
    SizeArea(1000);
    OpenData(RandomData(seed));
    const Scanned slow = Scan(false);
    EXPECT_EQ(slow.result, kInputExhausted);
    EXPECT_GT(slow.items.size(), 50U);
    EXPECT_TRUE(Scan(true) == slow) << "seed " << seed;
  }

 private:
  std::string RandomData(unsigned seed) {
    std::mt19937 random(seed);
    const Shape& shape = GetParam();
    const std::string mark = shape.mark;
    std::string data;
    const std::string bytes = "abc\r\n d" + std::string(shape.tabs ? "\t\t\t\t" : "e");
    while (data.size() < 150000) {
      const std::size_t length = mark.empty() ? 37 : random() % (seed % 2 == 0 ? 30 : 3000);
      data.push_back('x');
      for (std::size_t i = 1; i < length; ++i) {
        const bool rare = random() % 40 == 0;
        data.push_back(rare ? bytes[random() % bytes.size()]
                            : static_cast<char>('a' + random() % 26));
      }
      data += mark;
    }
    if (seed % 3 == 0 && !mark.empty()) data.pop_back();
    return data;
  }
  Scanned Scan(bool fastWalk) {
    run.scan.fastWalk = fastWalk;
    run.scan.bytesInBuffer = 0;
    run.scan.bufferFilePos = 0;
    run.scan.nextLfa = 0;
    run.scan.recordCount = 0;
    run.data.tabsExpanded = false;
    if (!run.options.binaryRecords) run.data.recordLength = 0;
    Scanned scanned;
    while (scanned.result == kOk) {
      scanned.result = CreateSubList(run);
      const std::vector<Item> area = AreaItems();
      scanned.items.insert(scanned.items.end(), area.begin(), area.end());
    }
    scanned.nextLfa = run.scan.nextLfa;
    scanned.recordCount = run.scan.recordCount;
    scanned.recordLength = run.data.recordLength;
    scanned.tabsExpanded = run.data.tabsExpanded;
    return scanned;
  }
};

TEST_P(FastWalkTest, GivesWhatTheWalkByteByByteGives) {
  for (unsigned seed = 0; seed < 6; ++seed) {
    run.keys = KeyState{};
    ASSERT_EQ(AddKeyRange(run, 4 + seed, 2), kOk);
    ASSERT_EQ(AddKeyRange(run, 15, 19), kOk);
    const std::uint32_t last = seed > 3 ? 45 : 30;
    ASSERT_EQ(AddKeyRange(run, 30, last), kOk);
    ExpectSameScans(seed);
  }
}

// 2048 columns can be written out: the key's last column stands on both sides of the limit.
TEST_P(FastWalkTest, GivesTheSameForKeysFarBehind) {
  for (std::uint32_t last = 2046; last <= 2050; ++last) {
    run.keys = KeyState{};
    ASSERT_EQ(AddKeyRange(run, 7, 9), kOk);
    ASSERT_EQ(AddKeyRange(run, last - 5, last), kOk);
    ExpectSameScans(last);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, FastWalkTest,
    ::testing::Values(Shape{"Lf", "\n", false, true}, Shape{"LfTabs", "\n", true, true},
                      Shape{"CrLf", "\r\n", false, true}, Shape{"CrLfTabs", "\r\n", true, false},
                      Shape{"LfCr", "\n\r", false, true}, Shape{"CrTabs", "\r", true, true},
                      Shape{"Binary", "", false, false}, Shape{"BinaryTabs", "", true, false}),
    [](const auto& shape) { return std::string(shape.param.name); });

}  // namespace
}  // namespace tavindex::test
