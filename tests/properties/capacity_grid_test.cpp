// Indexes whose number of entries stands at a border: c entries fill a node, (c + 1)^2 - 1 a tree
// of two levels, (c + 1)^3 - 1 one of three. Each is built for many key lengths and fill
// percentages and held against the checker's image and against the size that follows from the
// numbers alone.

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include "../compact/program_test.h"
#include "isi_layout.h"
#include "tree_size.h"

namespace tavindex::test {
namespace {

constexpr unsigned kFillPercents[] = {1, 33, 50, 99, 0, 100};

std::string FillOption(unsigned percent) {
  if (percent == 100) return "-";
  return (percent < 10 ? "-m0" : "-m") + std::to_string(percent) + ",";
}

// The number in letters, the last one the lowest place; what does not fit is cut, so that short
// keys repeat.
std::string KeyOf(std::uint64_t number, unsigned length) {
  std::string key(length, 'A');
  for (unsigned i = length; i > 0 && number > 0; --i) {
    key[i - 1] = static_cast<char>('A' + number % 26);
    number /= 26;
  }
  return key;
}

// One record a number below `count`, in an order without a pattern.
std::string Data(std::uint64_t count, unsigned keyLength) {
  std::uint64_t step = 7919;
  while (count > 0 && std::gcd(step, count) != 1) ++step;
  std::string data;
  data.reserve(count * (keyLength + 1));
  for (std::uint64_t i = 0; i < count; ++i) data += KeyOf(i * step % count, keyLength) + "\n";
  return data;
}

// The entries that trees of so many levels can hold, and one more.
std::uint64_t OneTooMany(std::uint64_t perNode, unsigned levels) {
  std::uint64_t entries = 1;
  for (; levels > 0; --levels) entries *= perNode + 1;
  return entries;
}

// The borders of one and two levels: around c, around (c + 1)^2.
std::set<std::uint64_t> BorderCounts(std::uint64_t perNode) {
  const std::uint64_t square = OneTooMany(perNode, 2);
  std::set<std::uint64_t> counts = {0, 1, perNode, perNode + 1, square - 1, square, square + 1};
  if (perNode > 0) counts.insert(perNode - 1);
  return counts;
}

class CapacityGrid : public ProgramTest, public ::testing::WithParamInterface<unsigned> {
 protected:
  static std::uint64_t PerNode(unsigned fillPercent) {
    return layout::FilledEntries(GetParam(), fillPercent);
  }
  void CheckBuild(unsigned fillPercent, std::uint64_t count);

 private:
  void CheckIndex(const std::vector<std::byte>& data, const BuildRequest& request,
                  const std::string& commandLine);
  static void CheckSize(const Report& report, std::size_t bytes, std::uint64_t count,
                        std::uint64_t perNode);
};

void CapacityGrid::CheckBuild(unsigned fillPercent, std::uint64_t count) {
  const std::string length = std::to_string(GetParam());
  const std::string fields = "data.txt,index.isi,l" + length;
  const std::string options = FillOption(fillPercent) + "1-" + length;
  SCOPED_TRACE(std::to_string(count) + " records, tavindex " + fields + " " + options);
  const std::string data = Data(count, GetParam());
  WriteBytes("data.txt", BytesOf(data));
  std::filesystem::remove("index.isi");
  const Outcome outcome = Run({fields, options});
  const std::uint64_t perNode = PerNode(fillPercent);
  // More entries a node can never be too many for 16 levels here.
  if (perNode < 2 && count >= OneTooMany(perNode, layout::kMaxLevels)) {
    EXPECT_EQ(outcome.code, kTreeLevelLimit) << outcome.text;
    EXPECT_FALSE(scratch.Exists("index.isi"));
    return;
  }
  ASSERT_EQ(outcome.code, kOk) << outcome.text;
  BuildRequest request;
  request.declaredLength = GetParam();
  request.keys = {{1, GetParam()}};
  request.fillPercent = fillPercent;
  CheckIndex(BytesOf(data), request, fields + " " + options);
}

void CapacityGrid::CheckIndex(const std::vector<std::byte>& data, const BuildRequest& request,
                              const std::string& commandLine) {
  const std::vector<std::byte> isi = ReadBytes("index.isi");
  const StructureOptions shape = {.builderShape = true, .fillPercent = request.fillPercent};
  const Report report = CheckStructure(isi, shape);
  EXPECT_TRUE(report.Ok()) << report.Text();
  const std::uint64_t records = data.size() / (GetParam() + 1);
  CheckSize(report, isi.size(), records, PerNode(request.fillPercent));
  const HeaderRequest header = {.dataFileName = "data.txt", .commandLine = commandLine};
  const Report images = CompareImages(isi, ExpectedIsi(BuildModel(data, request), request, header));
  EXPECT_TRUE(images.Ok()) << images.Text();
}

void CapacityGrid::CheckSize(const Report& report, std::size_t bytes, std::uint64_t count,
                             std::uint64_t perNode) {
  const TreeSize size = count == 0 ? TreeSize{} : SizeOfTree(count, perNode);
  EXPECT_EQ(report.entries, count);
  EXPECT_EQ(report.levels, size.levels);
  EXPECT_EQ(report.nodes, size.nodes);
  EXPECT_EQ(bytes, size.FileBytes());
}

TEST_P(CapacityGrid, FillsOneAndTwoLevels) {
  for (const unsigned fillPercent : kFillPercents) {
    for (const std::uint64_t count : BorderCounts(PerNode(fillPercent))) {
      CheckBuild(fillPercent, count);
    }
  }
}

class LargeCapacityGrid : public CapacityGrid {};

TEST_P(LargeCapacityGrid, FillsThreeLevels) {
  for (const unsigned fillPercent : kFillPercents) {
    const std::uint64_t cube = OneTooMany(PerNode(fillPercent), 3);
    for (const std::uint64_t count : {cube - 1, cube, cube + 1}) CheckBuild(fillPercent, count);
  }
}

// Nodes of one entry: 65535 of them are all that 16 levels hold.
class LargestTree : public CapacityGrid {};

TEST_P(LargestTree, FillsAllLevels) {
  const unsigned fillPercent = GetParam() == 100 ? 33 : 50;
  ASSERT_EQ(PerNode(fillPercent), 1U);
  for (const std::uint64_t count : {65534, 65535, 65536}) CheckBuild(fillPercent, count);
}

constexpr unsigned kKeyLengths[] = {1, 2, 3, 4, 5, 8, 10, 100, 149, 150};

std::string KeyLengthName(const ::testing::TestParamInfo<unsigned>& length) {
  return "KeyOf" + std::to_string(length.param);
}

INSTANTIATE_TEST_SUITE_P(KeyLengths, CapacityGrid, ::testing::ValuesIn(kKeyLengths), KeyLengthName);
INSTANTIATE_TEST_SUITE_P(KeyLengths, LargeCapacityGrid, ::testing::ValuesIn(kKeyLengths),
                         KeyLengthName);
INSTANTIATE_TEST_SUITE_P(KeyLengths, LargestTree, ::testing::Values(100U, 149U, 150U),
                         KeyLengthName);

// The capacities that the borders stand on, worked out by hand: an entry is 12 bytes and the key,
// rounded up to a multiple of 4, and a node has 500 bytes for entries.
TEST(NodeCapacity, FollowsFromTheKeyLength) {
  struct Row {
    unsigned keyLength;
    std::size_t full, at99, at50, at33, at1;
  };
  constexpr Row kRows[] = {
      {1, 31, 30, 15, 10, 0}, {2, 31, 30, 15, 10, 0}, {3, 31, 30, 15, 10, 0},
      {4, 31, 30, 15, 10, 0}, {5, 25, 24, 12, 8, 0},  {8, 25, 24, 12, 8, 0},
      {10, 20, 19, 10, 6, 0}, {100, 4, 3, 2, 1, 0},   {149, 3, 2, 1, 0, 0},
      {150, 3, 2, 1, 0, 0},
  };
  for (const Row& row : kRows) {
    EXPECT_EQ(layout::FilledEntries(row.keyLength, 100), row.full) << row.keyLength;
    EXPECT_EQ(layout::FilledEntries(row.keyLength, 99), row.at99) << row.keyLength;
    EXPECT_EQ(layout::FilledEntries(row.keyLength, 50), row.at50) << row.keyLength;
    EXPECT_EQ(layout::FilledEntries(row.keyLength, 33), row.at33) << row.keyLength;
    EXPECT_EQ(layout::FilledEntries(row.keyLength, 1), row.at1) << row.keyLength;
  }
}

}  // namespace
}  // namespace tavindex::test
