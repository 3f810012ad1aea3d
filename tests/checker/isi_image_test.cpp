// The expected image against images put together by hand, and against the structure check, which
// was written apart from it.

#include <gtest/gtest.h>

#include <cstdio>
#include <ostream>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "hand_image.h"
#include "isi_checker.h"

namespace tavindex::test {
namespace {

const HeaderRequest kTexts = {"data.txt", "data -1-4", 0, ByteOrder::kLittle};

BuildRequest FirstFour(unsigned fillPercent = 100) {
  BuildRequest request;
  request.keys = {{1, 4}};
  request.fillPercent = fillPercent;
  return request;
}

std::span<const std::byte> BytesOf(std::string_view text) { return std::as_bytes(std::span(text)); }

std::vector<std::byte> Isi(std::string_view data, const BuildRequest& request,
                           const HeaderRequest& texts = kTexts) {
  return ExpectedIsi(BuildModel(BytesOf(data), request), request, texts);
}

void ExpectSame(const std::vector<std::byte>& actual, const HandImage& expected) {
  const Report report = CompareImages(actual, expected.Bytes());
  EXPECT_TRUE(report.Ok()) << report.Text();
}

// Ten columns and LF, the key in the first four.
std::string Records(std::string_view letters) {
  std::string data;
  for (const char letter : letters) data += std::string(4, letter) + "......\n";
  return data;
}

TEST(ExpectedIsi, NullFile) {
  BuildRequest request = FirstFour();
  request.declaredLength = 10;
  ExpectSame(Isi("", request), HandImage(2048));
}

TEST(ExpectedIsi, ExactlyOneFullLeafIsTheRoot) {
  HandImage image(2048);
  image.Counts(33, 3, 0);
  image.Node(1024, 0,
             {{.key = "AAAA", .lfa = 11}, {.key = "BBBB", .lfa = 0}, {.key = "CCCC", .lfa = 22}},
             0);
  ExpectSame(Isi(Records("BAC"), FirstFour(10)), image);
}

// The fourth key moves up; no leaf is begun, so nothing follows it.
TEST(ExpectedIsi, OneKeyMoreThanALeaf) {
  HandImage image(2560);
  image.Counts(44, 4, 0);
  image.Node(1024, 1, {{.key = "DDDD", .lfa = 33, .child = 2048}}, 0);
  image.Node(2048, 0,
             {{.key = "AAAA", .lfa = 0}, {.key = "BBBB", .lfa = 11}, {.key = "CCCC", .lfa = 22}},
             0);
  ExpectSame(Isi(Records("ABCD"), FirstFour(10)), image);
}

// Behind the one entry of the second leaf still stand the second and third of the first leaf.
TEST(ExpectedIsi, UsedBufferKeepsItsOldEntries) {
  HandImage image(3072);
  image.Counts(55, 5, 0);
  image.Node(1024, 1, {{.key = "DDDD", .lfa = 33, .child = 2048}}, 2560);
  image.Node(2048, 0,
             {{.key = "AAAA", .lfa = 0}, {.key = "BBBB", .lfa = 11}, {.key = "CCCC", .lfa = 22}},
             0);
  image.Node(2560, 0,
             {{.key = "EEEE", .lfa = 44}, {.key = "BBBB", .lfa = 11}, {.key = "CCCC", .lfa = 22}},
             0);
  image.Put8(2560 + 500, 1);
  ExpectSame(Isi(Records("ABCDE"), FirstFour(10)), image);
}

TEST(ExpectedIsi, BigEndian) {
  HandImage image(2560, true);
  image.Counts(44, 4, 0);
  image.Node(1024, 1, {{.key = "DDDD", .lfa = 33, .child = 2048}}, 0);
  image.Node(2048, 0,
             {{.key = "AAAA", .lfa = 0}, {.key = "BBBB", .lfa = 11}, {.key = "CCCC", .lfa = 22}},
             0);
  HeaderRequest texts = kTexts;
  texts.order = ByteOrder::kBig;
  ExpectSame(Isi(Records("ABCD"), FirstFour(10), texts), image);
}

// One key a node. The fourth key meets a full leaf and a full level 1 and becomes the root of
// level 2; the fifth begins a leaf, to which the root points past the empty level 1.
TEST(ExpectedIsi, EmptyLevelIsPassedOver) {
  HandImage image(4096);
  image.Counts(55, 5, 0);
  image.Node(1024, 2, {{.key = "DDDD", .lfa = 33, .child = 3072}}, 3584);
  image.Node(2048, 0, {{.key = "AAAA", .lfa = 0}}, 0);
  image.Node(2560, 0, {{.key = "CCCC", .lfa = 22}}, 0);
  image.Node(3072, 1, {{.key = "BBBB", .lfa = 11, .child = 2048}}, 2560);
  image.Node(3584, 0, {{.key = "EEEE", .lfa = 44}}, 0);
  ExpectSame(Isi(Records("ABCDE"), FirstFour(4)), image);
}

TEST(ExpectedIsi, RecordNumbers) {
  HandImage image(2560);
  image.Put8(7, 0x01);
  image.Put32(20, 2);
  image.Counts(5, 4, 1);
  image.Put32(16, 3);
  image.Node(1024, 1, {{.key = "DDDD", .lfa = 4, .child = 4}}, 0);
  image.List(1536, {1}, 0xFFFFFFFF);
  image.Node(2048, 0,
             {{.key = "AAAA", .lfa = 0}, {.key = "BBBB", .lfa = 2}, {.key = "CCCC", .lfa = 3}}, 0);
  BuildRequest request = FirstFour(10);
  request.recordNumbers = true;
  const std::string data = Records("A") + std::string(11, '\0') + Records("BCD");
  ExpectSame(Isi(data, request), image);
}

std::vector<std::uint32_t> Steps(std::size_t count) {
  std::vector<std::uint32_t> addresses(count);
  for (std::size_t i = 0; i < count; ++i) addresses[i] = static_cast<std::uint32_t>(11 * i);
  return addresses;
}

TEST(ExpectedIsi, List126StandsAt1536Alone) {
  HandImage image(2048);
  image.Counts(127 * 11, 1, 126);
  image.Put32(16, 1536);
  image.Node(1024, 0, {{.key = "AAAA", .lfa = 126 * 11}}, 0);
  image.List(1536, Steps(126), 0xFFFFFFFF);
  ExpectSame(Isi(std::string(126 * 11, '\0') + Records("A"), FirstFour()), image);
}

// The 127th address drives the full sector out to 2048; 125 old addresses stand behind it.
TEST(ExpectedIsi, List127FillsASector) {
  HandImage image(3072);
  image.Counts(131 * 11, 4, 127);
  image.Put32(16, 1536);
  image.Node(1024, 1, {{.key = "DDDD", .lfa = 130 * 11, .child = 2560}}, 0);
  image.List(1536, Steps(126), 2048);
  image.Put32(1536, 126 * 11);
  image.Put16(1536 + 508, 1);
  image.List(2048, Steps(126), 0xFFFFFFFF);
  image.Node(2560, 0,
             {{.key = "AAAA", .lfa = 127 * 11},
              {.key = "BBBB", .lfa = 128 * 11},
              {.key = "CCCC", .lfa = 129 * 11}},
             0);
  ExpectSame(Isi(std::string(127 * 11, '\0') + Records("ABCD"), FirstFour(10)), image);
}

TEST(ExpectedIsi, HeaderTablesAndFlags) {
  HandImage image(2048);
  image.Put8(6, 0x85);
  image.Put8(7, 0x10);
  image.Put16(10, 4);
  image.Counts(11, 1, 0);
  image.Put16(64, 3);
  image.Put8(66, 0x10);
  image.Put8(67, 'x');
  image.Put16(68, 7);
  image.Put8(70, 0x20);
  image.Put8(71, '7');
  image.Put16(72, 7);
  image.Put8(74, 0x20);
  image.Put16(112, 7);
  image.Put16(114, 3);
  image.Put16(116, 1);
  image.Put16(118, 1);
  image.Node(1024, 0, {{.key = "A982", .lfa = 0}}, 0);
  BuildRequest request;
  request.keys = {{10, 8}, {2, 2}};
  request.duplicates = Duplicates::kIgnore;
  request.writeAll = true;
  request.conditions = {SimpleCondition{7, true, '7'},
                        CompoundCondition{true,
                                          {{Connector::kFirst, 7, Operator::kGreaterEqual, "7"},
                                           {Connector::kAnd, 2, Operator::kLess, "3"}}},
                        SimpleCondition{3, false, 'x'}};
  HeaderRequest texts = kTexts;
  texts.osType = 0x10;
  ExpectSame(Isi("123456789A\n", request, texts), image);
  // Two conditions may share a column.
  const Report report = CheckStructure(image.Bytes());
  EXPECT_TRUE(report.Ok()) << report.Text();
}

TEST(ExpectedIsi, CommandLineOf527CharactersIsStored) {
  HeaderRequest texts = kTexts;
  texts.commandLine = std::string(527, 'c');
  HandImage image(2048);
  image.Counts(11, 1, 0);
  image.Node(1024, 0, {{.key = "AAAA", .lfa = 0}}, 0);
  image.Text(496, texts.commandLine);
  ExpectSame(Isi(Records("A"), FirstFour(), texts), image);
}

TEST(ExpectedIsi, LongerCommandLineLeavesTheFieldEmpty) {
  HeaderRequest texts = kTexts;
  texts.commandLine = std::string(528, 'c');
  HandImage image(2048);
  image.Counts(11, 1, 0);
  image.Node(1024, 0, {{.key = "AAAA", .lfa = 0}}, 0);
  for (std::size_t at = 496; at < 1024; ++at) image.Put8(at, 0);
  ExpectSame(Isi(Records("A"), FirstFour(), texts), image);
}

// 256 characters fill the field of the name up to the command line.
TEST(ExpectedIsi, LongestDataFileName) {
  HeaderRequest texts = kTexts;
  texts.dataFileName = std::string(256, 'n');
  HandImage image(2048);
  image.Counts(11, 1, 0);
  image.Node(1024, 0, {{.key = "AAAA", .lfa = 0}}, 0);
  image.Text(240, texts.dataFileName);
  ExpectSame(Isi(Records("A"), FirstFour(), texts), image);
  EXPECT_TRUE(CheckStructure(image.Bytes()).Ok());
}

TEST(ExpectedIsi, NoImageWithoutAnIndex) { EXPECT_TRUE(Isi("abc\rdef\r", FirstFour()).empty()); }

TEST(CompareImages, NamesThePlace) {
  const std::vector<std::byte> good = Isi(Records("A"), FirstFour());
  std::vector<std::byte> bad = good;
  bad[6] = std::byte{0};
  bad[1029] = std::byte{7};
  const Report report = CompareImages(bad, good);
  ASSERT_EQ(report.faultCount, 2U);
  EXPECT_EQ(report.faults[0], "header byte 6 is 0, expected 128");
  EXPECT_EQ(report.faults[1], "byte 5 of the sector at 1024 is 7, expected 0");
  bad.resize(1024);
  EXPECT_EQ(CompareImages(bad, good).faults[0], "size is 1024, expected 2048");
}

// ---- Every tree the builder can give ----

std::string NumberedRecords(unsigned count) {
  std::string data;
  for (unsigned i = 0; i < count; ++i) {
    char record[16];
    std::snprintf(record, sizeof record, "%08u\n", i * 7919U % 100000U);
    data += record;
  }
  return data;
}

struct Shape {
  unsigned keyColumns;
  unsigned fillPercent;
};

void PrintTo(const Shape& shape, std::ostream* out) {
  *out << shape.keyColumns << " key columns, fill " << shape.fillPercent;
}

class TreeShapes : public testing::TestWithParam<Shape> {};

TEST_P(TreeShapes, PassTheStructureCheck) {
  for (unsigned count = 0; count < 150; ++count) {
    BuildRequest request;
    request.keys = {{1, GetParam().keyColumns}};
    request.declaredLength = 8;
    request.fillPercent = GetParam().fillPercent;
    const std::string data = NumberedRecords(count);
    for (const ByteOrder order : {ByteOrder::kLittle, ByteOrder::kBig}) {
      const auto isi = Isi(data, request, {"data", "data -1", 0, order});
      CompareOptions options;
      options.structure = {true, GetParam().fillPercent};
      const Report report = CompareWithData(isi, BytesOf(data), request, options);
      ASSERT_TRUE(report.Ok()) << count << " records\n" << report.Text();
      ASSERT_EQ(report.entries, count);
    }
  }
}

std::string ShapeName(const testing::TestParamInfo<Shape>& info) {
  return "Key" + std::to_string(info.param.keyColumns) + "Fill" +
         std::to_string(info.param.fillPercent);
}

// Keys of 8 bytes: 25, 3, 2 and 1 entries a node; of 16: 17; of 150: 3 and 1.
INSTANTIATE_TEST_SUITE_P(Fill, TreeShapes,
                         testing::Values(Shape{8, 100}, Shape{8, 12}, Shape{8, 8}, Shape{8, 4},
                                         Shape{16, 100}, Shape{150, 100}, Shape{150, 34}),
                         ShapeName);

TEST(CompareWithData, RandomDataAgreesWithItsImage) {
  std::mt19937 random(99);
  for (int round = 0; round < 200; ++round) {
    std::string data;
    const int records = static_cast<int>(random() % 200);
    for (int i = 0; i < records; ++i) {
      const bool deleted = random() % 3 == 0;
      for (int c = 0; c < 5; ++c) {
        data.push_back(deleted ? '\0' : static_cast<char>('a' + random() % 3));
      }
      data.push_back(deleted ? '\0' : '\n');
    }
    BuildRequest request;
    request.declaredLength = 5;
    request.keys = {{4, 2}};
    request.fillPercent = 5 + static_cast<unsigned>(random() % 96);
    request.duplicates = random() % 2 == 0 ? Duplicates::kStore : Duplicates::kIgnore;
    request.recordNumbers = random() % 2 == 0;
    CompareOptions options;
    options.structure = {true, request.fillPercent};
    const Report report = CompareWithData(Isi(data, request), BytesOf(data), request, options);
    ASSERT_TRUE(report.Ok()) << "round " << round << "\n" << report.Text();
  }
}

// ---- An ISI that is orderly, but of other data ----

class OtherData : public testing::Test {
 protected:
  void ExpectFault(const std::string& fault) const {
    const Report report = CompareWithData(isi_, BytesOf(data_), request_);
    EXPECT_NE(report.Text().find(fault), std::string::npos) << report.Text();
  }

  std::string data_ = Records("AB") + std::string(22, '\0') + Records("C");
  BuildRequest request_ = FirstFour();
  std::vector<std::byte> isi_ = Isi(data_, request_);
};

TEST_F(OtherData, NoFaultWithItsOwn) {
  EXPECT_TRUE(CompareWithData(isi_, BytesOf(data_), request_).Ok());
}

TEST_F(OtherData, Key) {
  data_[0] = '0';
  ExpectFault(
      "entry 1 is lfa 0 dupSeq 0 recLength 11 key 41414141, expected lfa 0 dupSeq 0 "
      "recLength 11 key 30414141");
}

TEST_F(OtherData, OneRecordMore) {
  data_ += Records("D");
  ExpectFault("number of entries is 3, expected 4");
  ExpectFault("recordsIndexed is 3, expected 4");
  ExpectFault("dataEnd is 55, expected 66");
}

TEST_F(OtherData, Deleted) {
  isi_[1536] = std::byte{23};
  ExpectFault("deleted records differ from number 1 on");
}

TEST_F(OtherData, DeletedCount) {
  data_.replace(22, 11, Records("D"));
  ExpectFault("deletedCount is 2, expected 1");
}

TEST_F(OtherData, RecordLength) {
  isi_[8] = std::byte{9};
  ExpectFault("recordLength is 9, expected 10");
}

TEST_F(OtherData, FileFlags) {
  request_.writeAll = true;
  ExpectFault("fileFlags is 128, expected 129");
}

TEST_F(OtherData, Keys) {
  request_.keys = {{2, 5}};
  ExpectFault("keyTable is not that of the request");
}

TEST_F(OtherData, KeyLength) {
  request_.keys = {{1, 3}};
  ExpectFault("keyLength is 4, expected 3");
}

TEST_F(OtherData, Condition) {
  request_.conditions = {SimpleCondition{9, true, '.'}};
  ExpectFault("conditionTable is not that of the request");
}

TEST_F(OtherData, RecordNumbers) {
  request_.recordNumbers = true;
  ExpectFault("record-number mode is 0, expected 1");
}

TEST_F(OtherData, NoIndex) {
  data_ = "abc\rdef\r";
  ExpectFault("the data gives no index, but result -160");
}

// A compaction drops the deleted records of an irregular data file; a build keeps them.
TEST(CompareWithData, DroppedList) {
  const std::string data = Records("A") + std::string(11, '\0') + "BBBB\n" + Records("C");
  const BuildRequest request = FirstFour();
  const HandImage built = [&] {
    HandImage image(2048);
    image.Put8(6, 0xA0);
    image.Counts(38, 3, 0);
    image.Node(1024, 0,
               {{.key = "AAAA", .lfa = 0},
                {.key = "BBBB", .lfa = 22, .recLength = 5},
                {.key = "CCCC", .lfa = 27}},
               0);
    return image;
  }();
  EXPECT_FALSE(CompareWithData(built.Bytes(), BytesOf(data), request).Ok());
  CompareOptions options;
  options.compacted = true;
  const Report report = CompareWithData(built.Bytes(), BytesOf(data), request, options);
  EXPECT_TRUE(report.Ok()) << report.Text();
}

}  // namespace
}  // namespace tavindex::test
