// CheckStructure: good images are accepted, and every kind of fault is found.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <ostream>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "hand_image.h"
#include "isi_checker.h"

namespace tavindex::test {
namespace {

// With keys of 4 bytes a node holds 31 entries: 10 percent are 3, 4 percent are 1.
constexpr StructureOptions kThreePerNode{.builderShape = true, .fillPercent = 10};
constexpr StructureOptions kOnePerNode{.builderShape = true, .fillPercent = 4};
constexpr StructureOptions kDense{.builderShape = true};

std::vector<std::string> KeysOf(const IsiContents& contents) {
  std::vector<std::string> keys;
  for (const ModelEntry& entry : contents.entries) keys.push_back(entry.key);
  return keys;
}

// Five records, the second and third with one key, and two deleted ones behind them, at three keys
// a node: A B B fill a leaf, D separates it from E.
HandImage FiveKeys(bool big = false) {
  HandImage image(3072, big);
  image.Counts(77, 5, 2);
  image.Put32(16, 1536);
  image.Node(1024, 1, {{.key = "DDDD", .lfa = 33, .child = 2048}}, 2560);
  image.List(1536, {55, 66}, 0xFFFFFFFF);
  image.Node(2048, 0,
             {{.key = "AAAA", .lfa = 44},
              {.key = "BBBB", .lfa = 11},
              {.key = "BBBB", .lfa = 22, .dupSeq = 1}},
             0);
  image.Node(2560, 0, {{.key = "EEEE", .lfa = 0}}, 0);
  return image;
}

TEST(CheckStructure, EmptyTreeIsAnEmptyLeafAtTheRoot) {
  HandImage image(2048);
  const Report report = CheckStructure(image.Bytes(), kDense);
  EXPECT_TRUE(report.Ok()) << report.Text();
  EXPECT_EQ(report.entries, 0U);
  EXPECT_EQ(report.nodes, 1U);
  EXPECT_EQ(report.levels, 1U);
}

TEST(CheckStructure, OneLeafAtTheRoot) {
  HandImage image(2048);
  image.Counts(22, 2, 0);
  image.Node(1024, 0, {{.key = "AAAA", .lfa = 11}, {.key = "BBBB", .lfa = 0}}, 0);
  IsiContents contents;
  const Report report = CheckStructure(image.Bytes(), kDense, &contents);
  EXPECT_TRUE(report.Ok()) << report.Text();
  const std::vector<ModelEntry> expected = {{11, 0, 11, "AAAA"}, {0, 0, 11, "BBBB"}};
  EXPECT_EQ(contents.entries, expected);
  EXPECT_EQ(contents.dataFileName, "data.txt");
  EXPECT_EQ(contents.commandLine, "data -1-4");
}

TEST(CheckStructure, TwoLevelsAndDeletedRecords) {
  IsiContents contents;
  const Report report = CheckStructure(FiveKeys().Bytes(), kThreePerNode, &contents);
  EXPECT_TRUE(report.Ok()) << report.Text();
  EXPECT_EQ(report.entries, 5U);
  EXPECT_EQ(report.nodes, 3U);
  EXPECT_EQ(report.levels, 2U);
  EXPECT_EQ(report.listSectors, 1U);
  EXPECT_EQ(report.deletedRecords, 2U);
  const std::vector<std::string> keys = {"AAAA", "BBBB", "BBBB", "DDDD", "EEEE"};
  EXPECT_EQ(KeysOf(contents), keys);
  EXPECT_EQ(contents.deleted, (std::vector<std::uint32_t>{55, 66}));
}

TEST(CheckStructure, BigEndianGivesTheSameContents) {
  IsiContents little;
  IsiContents big;
  const Report report = CheckStructure(FiveKeys(true).Bytes(), kThreePerNode, &big);
  EXPECT_TRUE(report.Ok()) << report.Text();
  CheckStructure(FiveKeys().Bytes(), kThreePerNode, &little);
  EXPECT_EQ(big.order, ByteOrder::kBig);
  EXPECT_EQ(big.entries, little.entries);
  EXPECT_EQ(big.deleted, little.deleted);
  EXPECT_EQ(big.dataEnd, 77U);
  EXPECT_EQ(big.keyFields, (std::vector<HeaderKeyField>{{0, 4}}));
}

// One key a node, four keys: the leaf and level 1 are empty at the end, so nothing follows the
// root's entry.
TEST(CheckStructure, LastChildOfTheRightSpineMayBeMissing) {
  HandImage image(3584);
  image.Counts(44, 4, 0);
  image.Node(1024, 2, {{.key = "DDDD", .lfa = 33, .child = 3072}}, 0);
  image.Node(2048, 0, {{.key = "AAAA", .lfa = 0}}, 0);
  image.Node(2560, 0, {{.key = "CCCC", .lfa = 22}}, 0);
  image.Node(3072, 1, {{.key = "BBBB", .lfa = 11, .child = 2048}}, 2560);
  const Report report = CheckStructure(image.Bytes(), kOnePerNode);
  EXPECT_TRUE(report.Ok()) << report.Text();
  EXPECT_EQ(report.levels, 3U);
}

// A fifth key begins a leaf while level 1 is still empty: the root of level 2 points to a leaf.
TEST(CheckStructure, LastChildOfTheRightSpineMaySkipALevel) {
  HandImage image(4096);
  image.Counts(55, 5, 0);
  image.Node(1024, 2, {{.key = "DDDD", .lfa = 33, .child = 3072}}, 3584);
  image.Node(2048, 0, {{.key = "AAAA", .lfa = 0}}, 0);
  image.Node(2560, 0, {{.key = "CCCC", .lfa = 22}}, 0);
  image.Node(3072, 1, {{.key = "BBBB", .lfa = 11, .child = 2048}}, 2560);
  image.Node(3584, 0, {{.key = "EEEE", .lfa = 44}}, 0);
  const Report report = CheckStructure(image.Bytes(), kOnePerNode);
  EXPECT_TRUE(report.Ok()) << report.Text();
  EXPECT_EQ(report.entries, 5U);
}

TEST(CheckStructure, RecordNumberModeCountsSectorsAndRecords) {
  HandImage image(3072);
  image.Put8(7, 0x01);
  image.Put32(20, 2);
  image.Counts(7, 5, 2);
  image.Put32(16, 3);
  image.Node(1024, 1, {{.key = "DDDD", .lfa = 3, .child = 4}}, 5);
  image.List(1536, {5, 6}, 0xFFFFFFFF);
  image.Node(2048, 0,
             {{.key = "AAAA", .lfa = 4}, {.key = "BBBB", .lfa = 1}, {.key = "CCCC", .lfa = 2}}, 0);
  image.Node(2560, 0, {{.key = "EEEE", .lfa = 0}}, 0);
  const Report report = CheckStructure(image.Bytes(), kThreePerNode);
  EXPECT_TRUE(report.Ok()) << report.Text();
  EXPECT_EQ(report.nodes, 3U);
}

// Records of variable length have no numbers, so the addresses of this image are byte offsets.
TEST(CheckStructure, VariableLengthTurnsRecordNumbersOff) {
  HandImage image(2048);
  image.Put8(6, 0xA2);
  image.Put8(7, 0x01);
  image.Counts(11, 1, 0);
  image.Node(1024, 0, {{.key = "AAAA", .lfa = 0}}, 0);
  const Report report = CheckStructure(image.Bytes(), kDense);
  EXPECT_TRUE(report.Ok()) << report.Text();
}

// 127 deleted records: 126 of them fill the sector at 2048, the last one stands at 1536.
HandImage LongList() {
  HandImage image(3072);
  std::vector<std::uint32_t> full(126);
  for (std::size_t i = 0; i < full.size(); ++i) full[i] = static_cast<std::uint32_t>(11 * i);
  image.Counts(11 * 129, 2, 127);
  image.Put32(16, 1536);
  image.Node(1024, 1, {{.key = "BBBB", .lfa = 1408, .child = 2560}}, 0);
  image.List(1536, {11 * 126}, 2048);
  image.List(2048, full, 0xFFFFFFFF);
  image.Node(2560, 0, {{.key = "AAAA", .lfa = 1397}}, 0);
  return image;
}

TEST(CheckStructure, ListOfTwoSectors) {
  IsiContents contents;
  const Report report = CheckStructure(LongList().Bytes(), kOnePerNode, &contents);
  EXPECT_TRUE(report.Ok()) << report.Text();
  EXPECT_EQ(report.listSectors, 2U);
  ASSERT_EQ(contents.deleted.size(), 127U);
  EXPECT_EQ(contents.deleted.front(), 0U);
  EXPECT_EQ(contents.deleted.back(), 1386U);
}

// Other programs insert and remove keys: half-filled nodes are orderly, but no build makes them.
TEST(CheckStructure, OnlyTheBuilderShapeAsksForFilledNodes) {
  EXPECT_TRUE(CheckStructure(FiveKeys().Bytes()).Ok());
  EXPECT_FALSE(CheckStructure(FiveKeys().Bytes(), kDense).Ok());
}

TEST(CheckStructure, DupSeqWrapsAfter65535) {
  std::string data;
  for (int i = 0; i < 65537; ++i) data += "AAAA\n";
  BuildRequest request;
  request.keys = {{1, 4}};
  const auto bytes = std::as_bytes(std::span(data));
  const auto isi = ExpectedIsi(BuildModel(bytes, request), request, {"data", "data -1-4"});
  IsiContents contents;
  const Report report = CheckStructure(isi, kDense, &contents);
  EXPECT_TRUE(report.Ok()) << report.Text();
  ASSERT_EQ(contents.entries.size(), 65537U);
  EXPECT_EQ(contents.entries[65535].dupSeq, 65535U);
  EXPECT_EQ(contents.entries[65536].dupSeq, 0U);
}

// With n0 the header counts a dropped duplicate that the tree does not have.
TEST(CheckStructure, DroppedDuplicatesAreIndexedButNotStored) {
  HandImage image(2048);
  image.Counts(22, 2, 0);
  image.Node(1024, 0, {{.key = "AAAA", .lfa = 0}}, 0);
  EXPECT_FALSE(CheckStructure(image.Bytes()).Ok());
  image.Put8(6, 0x84);
  EXPECT_TRUE(CheckStructure(image.Bytes()).Ok());
}

// A file of 4 GiB less one byte without a last mark ends, mark counted, at 0.
TEST(CheckStructure, DataEndMayWrap) {
  HandImage image(2048);
  image.Counts(0, 2, 0);
  image.Node(1024, 0, {{.key = "AAAA", .lfa = 0}, {.key = "BBBB", .lfa = 0xFFFFFFF5}}, 0);
  const Report report = CheckStructure(image.Bytes(), kDense);
  EXPECT_TRUE(report.Ok()) << report.Text();
}

// ---- Faults ----

struct FaultCase {
  const char* name;
  std::function<void(HandImage&)> damage;  // of FiveKeys()
  const char* fault;                       // what some fault's text must contain
};

void PrintTo(const FaultCase& fault, std::ostream* out) { *out << fault.name; }

class StructureFault : public testing::TestWithParam<FaultCase> {};

TEST_P(StructureFault, IsFound) {
  HandImage image = FiveKeys();
  ASSERT_TRUE(CheckStructure(image.Bytes(), kThreePerNode).Ok());
  GetParam().damage(image);
  const Report report = CheckStructure(image.Bytes(), kThreePerNode);
  EXPECT_FALSE(report.Ok());
  EXPECT_NE(report.Text().find(GetParam().fault), std::string::npos) << report.Text();
}

auto Byte(std::size_t at, unsigned value) {
  return [=](HandImage& image) { image.Put8(at, value); };
}
auto Half(std::size_t at, unsigned value) {
  return [=](HandImage& image) { image.Put16(at, value); };
}
auto Word(std::size_t at, std::uint32_t value) {
  return [=](HandImage& image) { image.Put32(at, value); };
}
auto Resize(std::size_t size) {
  return [=](HandImage& image) { image.Bytes().resize(size); };
}

const FaultCase kFileFaults[] = {
    {"Empty", Resize(0), "shorter than 2048"},
    {"Short", Resize(2047), "shorter than 2048"},
    {"NoWholeSectors", Resize(3073), "no multiple of 512"},
    {"ExtraSector", Resize(3584), "sector at 3072: reached by nothing"},
    {"LostSector", Resize(2560), "last child lies outside the sectors: 2560"},
};

const FaultCase kHeaderFaults[] = {
    {"Signature", Byte(0, 'k'), "wrong signature"},
    {"Version", Byte(4, 0x04), "unknown version"},
    {"VersionCheck", Byte(5, 0xFD), "unknown version"},
    {"ComplementOfAnotherVersion",
     [](HandImage& image) {
       image.Put8(4, 0x05);
       image.Put8(5, 0xFA);
     },
     "unknown version"},
    {"CompressionWithoutVariable", Byte(6, 0xA8), "compression without variable"},
    {"VariableAlone", Byte(6, 0x82), "0x02 without 0x20"},
    {"BinaryWithMark", Byte(6, 0x90), "binary data with marks"},
    {"AddrFlags", Byte(7, 0x02), "addrFlags: unknown bits"},
    {"TwoSystems", Byte(7, 0x18), "two operating systems"},
    {"KeyLengthZero", Half(10, 0), "keyLength is 0"},
    {"KeyLengthAbove150", Half(10, 151), "keyLength is 151"},
    {"KeyLengthAgainstTable", Half(10, 3), "do not add up"},
    {"RecordLengthZeroWithNumbers",
     [](HandImage& image) {
       image.Put8(7, 0x01);
       image.Put16(8, 0);
     },
     "recordLength is 0"},
    {"RootNode", Word(20, 1536), "rootNode is 1536"},
    {"RootNodeInRecordNumberMode", Byte(7, 0x01), "rootNode is 1024"},
    {"Reserved24", Word(24, 0), "reserved24"},
    {"Byte28", Byte(28, 1), "byte 28 is not zero"},
    {"Byte31", Byte(31, 1), "byte 31 is not zero"},
    {"Byte36", Byte(36, 1), "byte 36 is not zero"},
    {"Byte43", Byte(43, 1), "byte 43 is not zero"},
    {"Byte52", Byte(52, 1), "byte 52 is not zero"},
    {"Byte63", Byte(63, 1), "byte 63 is not zero"},
    {"Byte104", Byte(104, 1), "byte 104 is not zero"},
    {"Byte111", Byte(111, 1), "byte 111 is not zero"},
    {"ConditionFlag",
     [](HandImage& image) {
       image.Put16(64, 5);
       image.Put8(66, 0x30);
     },
     "unknown condition flag"},
    {"ConditionOrder",
     [](HandImage& image) {
       image.Put16(64, 5);
       image.Put8(66, 0x10);
       image.Put16(68, 4);
       image.Put8(70, 0x20);
     },
     "columns do not ascend"},
    {"ConditionColumn",
     [](HandImage& image) {
       image.Put16(64, 65535);
       image.Put8(66, 0x10);
     },
     "conditionTable: column out of range"},
    {"ConditionBehindUnused", Byte(103, 'A'), "conditionTable: an unused entry"},
    {"KeyTableEmpty", Half(114, 0), "keyTable is empty"},
    {"KeyBehindUnused", Half(124, 7), "keyTable: an unused entry"},
    {"KeyColumn", Half(112, 65531), "keyTable: column out of range"},
    {"KeyOverlap",
     [](HandImage& image) {
       image.Put16(114, 3);
       image.Put16(116, 2);
       image.Put16(118, 1);
     },
     "fields overlap"},
    {"KeyTable32",
     [](HandImage& image) {
       for (std::size_t i = 0; i < 32; ++i) {
         image.Put16(112 + 4 * i, static_cast<unsigned>(i));
         image.Put16(114 + 4 * i, 1);
       }
     },
     "more than 31"},
    {"NoDataFileName",
     [](HandImage& image) {
       for (std::size_t i = 240; i < 496; ++i) image.Put8(i, 0);
     },
     "dataFileName is empty"},
    {"BehindDataFileName", Byte(495, 'x'), "dataFileName: bytes behind"},
    {"BehindCommandLine", Byte(1000, 'x'), "commandLine: bytes behind"},
    {"CommandLineWithoutEnd",
     [](HandImage& image) {
       for (std::size_t i = 496; i < 1024; ++i) image.Put8(i, 'x');
     },
     "commandLine has no end"},
    {"RecordsIndexedTooFew", Word(44, 4), "recordsIndexed is 4"},
    {"RecordsIndexedTooMany", Word(44, 6), "recordsIndexed is 6"},
    {"DataEndBeforeARecord", Word(12, 54), "record lies behind dataEnd"},
    {"DataEndBeforeADeletedRecord", Word(12, 66), "deleted address lies behind dataEnd"},
};

const FaultCase kListFaults[] = {
    {"Mark1", Byte(1536 + 510, 0xF8), "list marks are missing"},
    {"Mark2", Byte(1536 + 511, 0), "list marks are missing"},
    {"CountAbove126", Half(1536 + 508, 127), "listCount is above 126"},
    {"CountOfHeader", Word(48, 3), "deletedCount is 3, the list has 2"},
    {"HeadWithoutCount", Word(48, 0), "deletedListHead and deletedCount disagree"},
    {"CountWithoutHead", Word(16, 0xFFFFFFFF), "deletedListHead and deletedCount disagree"},
    {"EmptySector", Half(1536 + 508, 0), "empty list sector"},
    {"HeadOffSector", Word(16, 1540), "deletedListHead is no sector address: 1540"},
    {"HeadOutside", Word(16, 3072), "deletedListHead lies outside"},
    {"HeadAtRoot", Word(16, 1024), "deletedListHead lies outside"},
    {"HeadAtALeaf", Word(16, 2560), "list marks are missing"},
    {"Loop", Word(1536 + 504, 1536), "prevListSector leads to a sector reached before"},
    {"PrevOffSector", Word(1536 + 504, 2049), "prevListSector is no sector address"},
    {"Order", Word(1536, 66), "not in file order"},
    {"WithVariableLength", Byte(6, 0xA2), "deleted records of a variable-length"},
};

const FaultCase kTreeFaults[] = {
    {"Byte501", Byte(2048 + 501, 1), "sector at 2048: byte 501 is not zero"},
    {"Byte505", Byte(2048 + 505, 1), "byte 505 is not zero"},
    {"RootByte503", Byte(1024 + 503, 1), "sector at 1024: byte 503 is not zero"},
    {"LevelHighByte", Byte(2048 + 507, 1), "high byte of the level"},
    {"RootLevel", Byte(1024 + 506, 16), "level is above 15"},
    {"CountAboveCapacity", Byte(2048 + 500, 32), "above the capacity"},
    {"CountZero", Byte(2560 + 500, 0), "node without entries"},
    {"RootCountZero", Byte(1024 + 500, 0), "sector at 1024: node without entries"},
    {"LevelOfALeaf", Byte(2560 + 506, 1), "level does not fall"},
    {"ChildTooFarDown", Byte(1024 + 506, 2), "sector at 2048: level is not one below"},
    {"NoChild", Word(1024 + 4, 0), "entry 1 has no child"},
    {"ChildOfALeaf", Word(2048 + 4, 2560), "entry 1 of a leaf has a child"},
    {"LastChildOfALeaf", Word(2048 + 508, 2560), "last child of a leaf has a child"},
    {"ChildOffSector", Word(1024 + 4, 2052), "entry 1 is no sector address: 2052"},
    {"ChildOutside", Word(1024 + 4, 3072), "entry 1 lies outside"},
    {"ChildFarOutside", Word(1024 + 4, 0xFFFFFE00), "entry 1 lies outside"},
    {"ChildInTheHeader", Word(1024 + 508, 512), "last child lies outside"},
    {"ChildIsTheRoot", Word(1024 + 508, 1024), "last child lies outside"},
    {"ChildAt1536", Word(1024 + 508, 1536), "last child lies outside"},
    {"NodeTwice", Word(1024 + 508, 2048), "reached before: 2048"},
    {"KeyOrder", Byte(2048 + 12, 'C'), "entry 2: key is smaller"},
    {"KeyOrderAcrossNodes", Byte(2560 + 12, 'C'), "sector at 2560: entry 1: key is smaller"},
    {"KeyOrderToTheParent", Byte(1024 + 12, 'A'), "sector at 1024: entry 1: key is smaller"},
    {"DuplicateOrder", Word(2048 + 32, 10), "entry 3: duplicate does not stand in file order"},
    {"DuplicateOnceMore", Word(2048 + 32, 11), "does not stand in file order"},
    {"DupSeqOfTheFirst", Half(2048 + 8, 1), "entry 1: dupSeq is 1 instead of 0"},
    {"DupSeqMissing", Half(2048 + 32 + 8, 0), "entry 3: dupSeq is 0 instead of 1"},
    {"DupSeqJumps", Half(2048 + 32 + 8, 2), "entry 3: dupSeq is 2 instead of 1"},
    {"DupSeqOfANewKey", Half(2560 + 8, 1), "dupSeq is 1 instead of 0"},
    {"RecLengthZero", Half(2560 + 10, 0), "recLength is 0"},
};

const FaultCase kShapeFaults[] = {
    {"NodeTooFull",
     [](HandImage& image) {
       image.Node(2560, 0,
                  {{.key = "EEEE", .lfa = 0},
                   {.key = "FFFF", .lfa = 5},
                   {.key = "GGGG", .lfa = 6},
                   {.key = "HHHH", .lfa = 7}},
                  0);
       image.Put32(44, 8);
     },
     "sector at 2560: entryCount is above the fill percentage"},
    {"NodeNotFilled",
     [](HandImage& image) {
       image.Put8(2048 + 500, 2);
       image.Put32(44, 4);
     },
     "sector at 2048: node inside the tree is not filled"},
    {"OrderOfCompletion",
     [](HandImage& image) {
       const HandImage good = FiveKeys();
       for (std::size_t i = 0; i < 512; ++i) {
         image.Bytes()[2048 + i] = good.Bytes()[2560 + i];
         image.Bytes()[2560 + i] = good.Bytes()[2048 + i];
       }
       image.Put32(1024 + 4, 2560);
       image.Put32(1024 + 508, 2048);
     },
     "node stands before a node completed earlier"},
};

std::string CaseName(const testing::TestParamInfo<FaultCase>& info) { return info.param.name; }
INSTANTIATE_TEST_SUITE_P(File, StructureFault, testing::ValuesIn(kFileFaults), CaseName);
INSTANTIATE_TEST_SUITE_P(Header, StructureFault, testing::ValuesIn(kHeaderFaults), CaseName);
INSTANTIATE_TEST_SUITE_P(List, StructureFault, testing::ValuesIn(kListFaults), CaseName);
INSTANTIATE_TEST_SUITE_P(Tree, StructureFault, testing::ValuesIn(kTreeFaults), CaseName);
INSTANTIATE_TEST_SUITE_P(Shape, StructureFault, testing::ValuesIn(kShapeFaults), CaseName);

void ExpectFault(const HandImage& image, const char* fault) {
  const Report report = CheckStructure(image.Bytes(), kOnePerNode);
  EXPECT_NE(report.Text().find(fault), std::string::npos) << report.Text();
}

TEST(StructureFault, ListSectorBehindTheHeadIsNotFull) {
  HandImage image = LongList();
  image.Put16(2048 + 508, 125);
  image.Put32(48, 126);
  ExpectFault(image, "list sector behind the head is not full");
}

TEST(StructureFault, OpenListSectorIsNotAt1536) {
  HandImage image = LongList();
  image.Put32(16, 2048);
  image.Put32(48, 126);
  ExpectFault(image, "sector at 2048: the open list sector is not at 1536");
}

TEST(StructureFault, ListSectorBehindANode) {
  HandImage image = LongList();
  HandImage swapped = LongList();
  for (std::size_t i = 0; i < 512; ++i) {
    swapped.Bytes()[2048 + i] = image.Bytes()[2560 + i];
    swapped.Bytes()[2560 + i] = image.Bytes()[2048 + i];
  }
  swapped.Put32(1024 + 4, 2048);
  swapped.Put32(1536 + 504, 2560);
  ExpectFault(swapped, "a list sector stands behind a node");
}

TEST(StructureFault, EmptyRootHasALastChild) {
  HandImage image(2048);
  image.Put32(1024 + 508, 2048);
  ExpectFault(image, "empty root has a last child");
}

// Off the right spine every node of level L has its last child in level L - 1.
TEST(StructureFault, InnerNodeWithoutLastChild) {
  HandImage image(3584);
  image.Counts(33, 3, 0);
  image.Node(1024, 2, {{.key = "CCCC", .lfa = 22, .child = 3072}}, 0);
  image.Node(2048, 0, {{.key = "AAAA", .lfa = 0}}, 0);
  image.Node(3072, 1, {{.key = "BBBB", .lfa = 11, .child = 2048}}, 0);
  ExpectFault(image, "sector at 3072: last child has no child");
}

TEST(StructureFault, FaultsAreCountedBeyondThoseShown) {
  HandImage image(2048 + 512 * 200);
  const Report report = CheckStructure(image.Bytes());
  EXPECT_EQ(report.faultCount, 200U);
  EXPECT_EQ(report.faults.size(), 100U);
  EXPECT_NE(report.Text().find("100 further faults"), std::string::npos);
}

// ---- Hostile bytes ----

// Every single damaged byte must be survived; that the walk ends is the assertion.
TEST(HostileBytes, EveryByteDamagedInTurn) {
  const HandImage good = FiveKeys();
  std::uint64_t entries = 0;
  for (std::size_t at = 0; at < good.Bytes().size(); ++at) {
    for (const unsigned value : {0x00U, 0x01U, 0x7FU, 0xFFU}) {
      HandImage image = good;
      image.Put8(at, value);
      entries = std::max(entries, CheckStructure(image.Bytes(), kThreePerNode).entries);
    }
  }
  EXPECT_LE(entries, 3U * 31U);
}

TEST(HostileBytes, RandomSectorsBehindAGoodHeader) {
  std::mt19937 random(20240611);
  for (int round = 0; round < 500; ++round) {
    HandImage image(2048 + 512 * 8);
    for (std::size_t at = 1024; at < image.Bytes().size(); ++at) {
      // Mostly small numbers, so that levels and addresses are often believable.
      image.Put8(at, random() % 4 == 0 ? static_cast<unsigned>(random() & 0xFF) : 0U);
    }
    for (std::size_t sector = 1024; sector < image.Bytes().size(); sector += 512) {
      image.Put32(sector + 508, 2048 + 512 * static_cast<std::uint32_t>(random() % 8));
      image.Put8(sector + 506, static_cast<unsigned>(random() % 17));
    }
    const Report report = CheckStructure(image.Bytes());
    EXPECT_FALSE(report.Ok());
    EXPECT_LE(report.nodes, 9U);
  }
}

TEST(HostileBytes, RandomHeader) {
  std::mt19937 random(7);
  for (int round = 0; round < 500; ++round) {
    HandImage image = FiveKeys(round % 2 == 1);
    for (int i = 0; i < 20; ++i) {
      image.Put8(6 + random() % 1018, static_cast<unsigned>(random() & 0xFF));
    }
    IsiContents contents;
    EXPECT_LE(CheckStructure(image.Bytes(), {}, &contents).nodes, 3U);
  }
}

}  // namespace
}  // namespace tavindex::test
