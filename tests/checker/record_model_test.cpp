// The model of a build against cases worked out by hand.

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "isi_checker.h"

namespace tavindex::test {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

using Deleted = std::vector<std::uint32_t>;
using Entries = std::vector<ModelEntry>;

BuildRequest Columns(std::vector<KeyRange> keys, RecordFormat format = RecordFormat::kFixedText,
                     unsigned declaredLength = 0) {
  BuildRequest request;
  request.keys = std::move(keys);
  request.format = format;
  request.declaredLength = declaredLength;
  return request;
}

IndexModel Model(std::string_view data, const BuildRequest& request) {
  return BuildModel(std::as_bytes(std::span(data)), request);
}

EorFormat Eor(std::string_view data, const BuildRequest& request) {
  return DetectFormat(std::as_bytes(std::span(data)), request).eor;
}

unsigned DetectedLength(std::string_view data) {
  return DetectFormat(std::as_bytes(std::span(data)), Columns({{1, 1}})).recordLength;
}

// The addresses of the records that came through, in key order.
std::vector<std::uint32_t> Addresses(const IndexModel& model) {
  std::vector<std::uint32_t> addresses;
  for (const ModelEntry& entry : model.entries) addresses.push_back(entry.lfa);
  return addresses;
}

const BuildRequest kVariable = Columns({{1, 2}}, RecordFormat::kVariableText);
const BuildRequest kFixed = Columns({{1, 2}});

// ---- Marks ----

TEST(DetectFormat, LastMarkOfTheFileDecides) {
  EXPECT_EQ(Eor("ab\ncd\r\n", kFixed), (EorFormat{1, 2, '\r', '\n', 0x40}));
  EXPECT_EQ(Eor("ab\r\ncd\n", kFixed), (EorFormat{2, 1, '\n', 0, 0x80}));
  EXPECT_EQ(Eor("ab\ncd\n\r", kFixed), (EorFormat{3, 2, '\n', '\r', 0xC0}));
}

TEST(DetectFormat, LineFeedFurtherBackBeatsALoneCr) {
  EXPECT_EQ(Eor("abc\ndef\r", kFixed).kind, 2);
  EXPECT_EQ(DetectedLength("abc\ndef\r"), 4U);
}

TEST(DetectFormat, LoneCrs) {
  EXPECT_EQ(Eor("abc\rdef\r", kFixed), (EorFormat{4, 1, '\r', 0, 0x00}));
  EXPECT_EQ(Eor("abc\rdef\r", kVariable), (EorFormat{0, 1, '\r', 0, 0x00}));
}

TEST(DetectFormat, NoMarkAtAll) {
  EXPECT_EQ(Eor("", kVariable), (EorFormat{4, 1, '\n', 0, 0x80}));
  EXPECT_EQ(Eor("abc", kFixed), (EorFormat{4, 1, '\n', 0, 0x80}));
  EXPECT_EQ(Eor("abc", kVariable), (EorFormat{0, 1, '\n', 0, 0x00}));
}

TEST(DetectFormat, BinaryDataIsNotSearched) {
  const BuildRequest binary = Columns({{1, 1}}, RecordFormat::kBinary, 4);
  EXPECT_EQ(Eor("abc\n", binary), (EorFormat{5, 0, '\n', 0, 0x00}));
}

// With a declared length only the last 65535 bytes are looked at.
TEST(DetectFormat, MarkBeforeTheTailIsSeenOnlyWithoutALength) {
  const std::string data = "ab\n" + std::string(65535, 'x');
  EXPECT_EQ(Eor(data, kFixed).kind, 2);
  EXPECT_EQ(Eor(data, Columns({{1, 1}}, RecordFormat::kFixedText, 10)).kind, 0);
  // The byte in front of the tail is still looked at beside the tail's first byte.
  const std::string pair = "ab\r\n" + std::string(65534, 'x');
  EXPECT_EQ(Eor(pair, Columns({{1, 1}}, RecordFormat::kFixedText, 10)).kind, 1);
}

TEST(DetectFormat, LengthOfTheLastRecord) {
  EXPECT_EQ(DetectedLength("a\nbcd\n"), 4U);
  EXPECT_EQ(DetectedLength("a\r\nbcd\r\n"), 5U);
  EXPECT_EQ(DetectedLength("a\n\rbcd\n\r"), 5U);
  EXPECT_EQ(DetectedLength("bcd\n"), 4U);
  EXPECT_EQ(DetectedLength("bcd\n\n"), 1U);
  EXPECT_EQ(DetectedLength("a\nbcd\nef"), 4U);
  EXPECT_EQ(DetectedLength("ab\0cde\n"sv), 4U);
  EXPECT_EQ(DetectedLength("abc"), 0U);
}

TEST(DetectFormat, MarkAskedFor) {
  BuildRequest request = kFixed;
  request.eor = EorKind::kCr;
  EXPECT_EQ(Eor("ab\ncd\n", request), (EorFormat{0, 1, '\r', 0, 0x00}));
  const IndexModel model = Model("ab\rcd\r", request);
  EXPECT_EQ(model.stride, 3U);
  EXPECT_EQ(Addresses(model), (std::vector<std::uint32_t>{0, 3}));
}

TEST(RecordModel, FixedTextWithoutALengthIsRefused) {
  EXPECT_EQ(Model("", kFixed).result, kResultNoRecordLength);
  EXPECT_EQ(Model("ab\rcd\r", kFixed).result, kResultNoRecordLength);
}

// ---- Text records ----

TEST(RecordModel, EveryRecordWithoutConditions) {
  const IndexModel model = Model("bbx\naay\n", kFixed);
  EXPECT_EQ(model.result, 0);
  EXPECT_EQ(model.entries, (Entries{{4, 0, 4, "aa"}, {0, 0, 4, "bb"}}));
  EXPECT_EQ(model.recordsIndexed, 2U);
  EXPECT_EQ(model.dataEnd, 8U);
  EXPECT_EQ(model.recordLength, 3U);
  EXPECT_EQ(model.fileFlags, 0x80);
  EXPECT_FALSE(model.variableLengthSeen);
}

TEST(RecordModel, TwoByteMarks) {
  const IndexModel crlf = Model("bb\r\naa\r\n", kFixed);
  EXPECT_EQ(crlf.entries, (Entries{{4, 0, 4, "aa"}, {0, 0, 4, "bb"}}));
  EXPECT_EQ(crlf.recordLength, 2U);
  EXPECT_EQ(crlf.fileFlags, 0x40);
  EXPECT_EQ(Model("bb\n\raa\n\r", kFixed).fileFlags, 0xC0);
}

// The record before the mark's first half alone goes on.
TEST(RecordModel, HalfAMarkIsData) {
  const IndexModel model = Model("a\rb\r\nccc\r\n", kFixed);
  EXPECT_EQ(model.entries, (Entries{{0, 0, 5, "a\r"}, {5, 0, 5, "cc"}}));
}

TEST(RecordModel, FirstHalfOfAMarkAtTheEndIsData) {
  BuildRequest request = Columns({{1, 4}}, RecordFormat::kVariableText);
  const IndexModel model = Model("aaaa\r\nbbb\r", request);
  EXPECT_EQ(model.entries, (Entries{{0, 0, 6, "aaaa"}, {6, 0, 6, "bbb\r"}}));
}

// Its missing mark counts with it, also in the end of the data.
TEST(RecordModel, LastRecordWithoutMark) {
  const IndexModel model = Model("aab\nccd", kFixed);
  EXPECT_EQ(model.entries, (Entries{{0, 0, 4, "aa"}, {4, 0, 4, "cc"}}));
  EXPECT_EQ(model.dataEnd, 8U);
  EXPECT_FALSE(model.variableLengthSeen);
}

TEST(RecordModel, ShortRecordIsPaddedWithSpaces) {
  const IndexModel model = Model("b\nabc\n", kFixed);
  EXPECT_EQ(model.result, 0);
  EXPECT_EQ(model.entries, (Entries{{2, 0, 4, "ab"}, {0, 0, 2, "b "}}));
  EXPECT_TRUE(model.shortRecordSeen);
  EXPECT_TRUE(model.variableLengthSeen);
  EXPECT_EQ(model.fileFlags, 0xA0);
}

TEST(RecordModel, LongRecordSpoilsTheIndex) {
  EXPECT_EQ(Model("abcd\nabc\n", kFixed).result, kResultWrongFormat);
}

TEST(RecordModel, EmptyRecord) {
  const IndexModel model = Model("\nabc\n", kFixed);
  EXPECT_EQ(model.entries, (Entries{{0, 0, 1, "  "}, {1, 0, 4, "ab"}}));
}

TEST(RecordModel, DeclaredLengthGoesBeforeTheLastRecords) {
  const IndexModel model = Model("ab\nabcd\n", Columns({{1, 2}}, RecordFormat::kFixedText, 4));
  EXPECT_EQ(model.result, 0);
  EXPECT_EQ(model.recordLength, 4U);
  EXPECT_TRUE(model.shortRecordSeen);
}

TEST(RecordModel, NullFileTakesTheDeclaredLength) {
  const IndexModel model = Model("", Columns({{1, 2}}, RecordFormat::kFixedText, 80));
  EXPECT_EQ(model.result, 0);
  EXPECT_EQ(model.recordLength, 80U);
  EXPECT_EQ(model.recordsIndexed, 0U);
  EXPECT_EQ(model.dataEnd, 0U);
  EXPECT_EQ(model.fileFlags, 0x80);
}

TEST(RecordModel, LongestRecords) {
  const std::string text(65533, 'x');
  EXPECT_EQ(Model(text + "\n", kFixed).result, 0);
  EXPECT_EQ(Model(text + "\n", kFixed).entries.front().recLength, 65534U);
  EXPECT_EQ(Model("x" + text + "\n", kFixed).result, kResultRecordTooLong);
  // As the last record it is refused before the scan, as an earlier one in the scan.
  EXPECT_EQ(Model("x" + text + "\nab\n", kFixed).result, kResultRecordTooLong);
  EXPECT_EQ(Model(text.substr(2) + "\r\n", kFixed).result, 0);
  EXPECT_EQ(Model(text.substr(1) + "\r\n", kFixed).result, kResultRecordTooLong);
}

// ---- Variable records ----

TEST(RecordModel, VariableRecordsCountAs256AtLeast) {
  const IndexModel model = Model("abc\nb\n", kVariable);
  EXPECT_EQ(model.result, 0);
  EXPECT_EQ(model.recordLength, 256U);
  EXPECT_EQ(model.entries, (Entries{{0, 0, 4, "ab"}, {4, 0, 2, "b "}}));
  EXPECT_EQ(model.fileFlags, 0xA2);
  const IndexModel longFirst = Model(std::string(300, 'x') + "\nb\n", kVariable);
  EXPECT_EQ(longFirst.recordLength, 300U);
}

TEST(RecordModel, VariableRecordAboveTheFirstSpoilsTheIndex) {
  EXPECT_EQ(Model("abc\n" + std::string(256, 'x') + "\n", kVariable).result, 0);
  EXPECT_EQ(Model("abc\n" + std::string(257, 'x') + "\n", kVariable).result, kResultWrongFormat);
}

TEST(RecordModel, VariableNullFileHasNoLength) {
  EXPECT_EQ(Model("", kVariable).result, kResultNullFile);
  EXPECT_EQ(Model("\0\0"sv, kVariable).result, kResultNullFile);
  EXPECT_EQ(Model("", Columns({{1, 1}}, RecordFormat::kVariableText, 30)).recordLength, 30U);
}

TEST(RecordModel, CompressionFlags) {
  const IndexModel model = Model("abc\n", Columns({{1, 1}}, RecordFormat::kCompressedText));
  EXPECT_EQ(model.fileFlags, 0xAA);
}

// ---- Deleted records ----

TEST(RecordModel, DeletedRecordsOfFixedText) {
  const IndexModel model = Model("\0\0\0\0aab\n\0\0\0\0\0\0\0\0ccd\n"sv, kFixed);
  EXPECT_EQ(model.deleted, (Deleted{0, 8, 12}));
  EXPECT_EQ(Addresses(model), (std::vector<std::uint32_t>{4, 16}));
  EXPECT_FALSE(model.variableLengthSeen);
  EXPECT_EQ(model.fileFlags, 0x80);
}

TEST(RecordModel, TwoAndAHalfDeletedRecordsAreThree) {
  const IndexModel model = Model("aab\n" + std::string(10, '\0') + "ccd\n", kFixed);
  EXPECT_EQ(model.deleted, (Deleted{4, 8, 12}));
  EXPECT_EQ(Addresses(model), (std::vector<std::uint32_t>{0, 14}));
  EXPECT_TRUE(model.variableAfterDeleted);
  EXPECT_TRUE(model.variableLengthSeen);
  EXPECT_EQ(model.fileFlags, 0xA0);
}

TEST(RecordModel, ShortRecordTakesTheBlameFromTheNuls) {
  const IndexModel model = Model("a\n\0\0aab\n"sv, kFixed);
  EXPECT_EQ(model.deleted, (Deleted{2}));
  EXPECT_FALSE(model.variableAfterDeleted);
  EXPECT_TRUE(model.variableLengthSeen);
}

// A run that reaches the end of the data is not measured.
TEST(RecordModel, NulsUpToTheEnd) {
  const IndexModel model = Model("aab\n\0\0\0\0\0"sv, kFixed);
  EXPECT_EQ(model.deleted, (Deleted{4, 8}));
  EXPECT_FALSE(model.variableLengthSeen);
  EXPECT_EQ(model.dataEnd, 9U);
}

TEST(RecordModel, NulsOnly) {
  const IndexModel model = Model("\0\0\0\0\0\0"sv, Columns({{1, 1}}, RecordFormat::kFixedText, 2));
  EXPECT_EQ(model.result, 0);
  EXPECT_EQ(model.deleted, (Deleted{0, 3}));
  EXPECT_EQ(model.recordsIndexed, 0U);
  EXPECT_EQ(model.dataEnd, 6U);
}

TEST(RecordModel, NulsInsideARecordAreData) {
  const IndexModel model = Model("a\0b\nccd\n"sv, kFixed);
  EXPECT_TRUE(model.deleted.empty());
  EXPECT_EQ(model.entries.front(), (ModelEntry{0, 0, 4, "a\0"s}));
}

TEST(RecordModel, NulsOfVariableRecordsAreSkipped) {
  const IndexModel model = Model("\0\0\0ab\n\0cd\n"sv, kVariable);
  EXPECT_TRUE(model.deleted.empty());
  EXPECT_EQ(Addresses(model), (std::vector<std::uint32_t>{3, 7}));
}

// ---- Ctrl-Z ----

TEST(RecordModel, CtrlZAtTheEndOfTheFileIsNoData) {
  const IndexModel model = Model("aab\nccd\x1A", kFixed);
  EXPECT_EQ(model.entries.back(), (ModelEntry{4, 0, 4, "cc"}));
  EXPECT_EQ(model.dataEnd, 8U);
  // One only: the other belongs to the record.
  EXPECT_EQ(Model("aab\nc\x1A\x1A", kFixed).entries.back(), (ModelEntry{4, 0, 3, "c\x1A"}));
}

TEST(RecordModel, CtrlZWhereARecordBeginsEndsTheInput) {
  const IndexModel model = Model(
      "aab\n\x1A"
      "cc\neef\n",
      kFixed);
  EXPECT_EQ(model.entries, (Entries{{0, 0, 4, "aa"}}));
  EXPECT_EQ(model.dataEnd, 4U);
}

TEST(RecordModel, CtrlZBehindNulsEndsTheInput) {
  const IndexModel model = Model(
      "aab\n\0\0\0\x1A"
      "ccd\n"sv,
      kFixed);
  EXPECT_EQ(Addresses(model), (std::vector<std::uint32_t>{0}));
  EXPECT_EQ(model.deleted, (Deleted{4}));
  EXPECT_EQ(model.dataEnd, 7U);
}

TEST(RecordModel, CtrlZInsideARecordIsData) {
  EXPECT_EQ(Model("a\x1A"
                  "b\nccd\n",
                  kFixed)
                .entries.front(),
            (ModelEntry{0, 0, 4, "a\x1A"}));
}

// ---- TABs ----

TEST(RecordModel, TabsAreColumnsButNotLength) {
  // a, 7 spaces, b: the key takes columns 8 to 10.
  const IndexModel model = Model("a\tbcd\n", Columns({{8, 10}}));
  EXPECT_EQ(model.entries, (Entries{{0, 0, 6, " bc"}}));
  EXPECT_TRUE(model.tabsExpanded);
  EXPECT_EQ(model.fileFlags, 0xA0);
}

TEST(RecordModel, TabAtAColumnOfEightIsEightSpaces) {
  const IndexModel model = Model("12345678\tx\n", Columns({{8, 17}}));
  EXPECT_EQ(model.entries.front().key, "8        x");
}

TEST(RecordModel, TabIsAByteWithoutExpansion) {
  BuildRequest request = Columns({{1, 3}});
  request.expandTabs = false;
  const IndexModel model = Model("a\tb\n", request);
  EXPECT_EQ(model.entries.front().key, "a\tb");
  EXPECT_FALSE(model.tabsExpanded);
  EXPECT_EQ(model.fileFlags, 0x80);
}

// ---- Binary records ----

TEST(RecordModel, BinaryRecords) {
  const BuildRequest request = Columns({{1, 2}}, RecordFormat::kBinary, 3);
  const IndexModel model = Model("b\n\x1A\x1A\0\0"sv, request);
  EXPECT_EQ(model.result, 0);
  EXPECT_EQ(model.entries, (Entries{{3, 0, 3, "\x1A\0"s}, {0, 0, 3, "b\n"}}));
  EXPECT_EQ(model.recordLength, 3U);
  EXPECT_EQ(model.stride, 3U);
  EXPECT_EQ(model.fileFlags, 0x10);
}

TEST(RecordModel, BinaryFileOfNoWholeRecords) {
  const BuildRequest request = Columns({{1, 2}}, RecordFormat::kBinary, 100);
  EXPECT_EQ(Model(std::string(250, 'x'), request).result, kResultBinarySize);
  EXPECT_EQ(Model(std::string(300, 'x'), request).entries.size(), 3U);
}

// A record is deleted when all of it is NUL; NULs at its front alone are data.
TEST(RecordModel, DeletedBinaryRecords) {
  const BuildRequest request = Columns({{1, 3}}, RecordFormat::kBinary, 3);
  const IndexModel model = Model("abc\0\0\0\0\0\0\0\0xyz\0"sv, request);
  EXPECT_EQ(model.deleted, (Deleted{3, 6}));
  EXPECT_EQ(model.entries, (Entries{{9, 0, 3, "\0\0x"s}, {0, 0, 3, "abc"}, {12, 0, 3, "yz\0"s}}));
  EXPECT_FALSE(model.variableLengthSeen);
}

TEST(RecordModel, BinaryRecordsWithMarks) {
  const BuildRequest request = Columns({{1, 2}}, RecordFormat::kBinaryWithEor, 2);
  const IndexModel model = Model("\n\n\nab\n", request);
  EXPECT_EQ(model.entries, (Entries{{0, 0, 3, "\n\n"}, {3, 0, 3, "ab"}}));
  EXPECT_EQ(model.recordLength, 2U);
  EXPECT_EQ(model.stride, 3U);
  EXPECT_EQ(model.fileFlags, 0x80);
  EXPECT_EQ(Model("abxab\n", request).result, kResultWrongMark);
  EXPECT_EQ(Model("ab\r\ncd\r\n", request).fileFlags, 0x40);
  EXPECT_EQ(Model("ab\n\ncd\r\n", request).result, kResultWrongMark);
}

TEST(RecordModel, TabsOfBinaryRecordsAreExpanded) {
  BuildRequest request = Columns({{9, 9}}, RecordFormat::kBinary, 2);
  const IndexModel model = Model("\tx", request);
  EXPECT_EQ(model.entries, (Entries{{0, 0, 2, "x"}}));
  EXPECT_EQ(model.fileFlags, 0x30);
  request.expandTabs = false;
  EXPECT_EQ(Model("\tx", request).entries.front().key, " ");
}

// ---- Keys ----

TEST(RecordModel, KeyPiecesInCommandLineOrder) {
  const IndexModel model = Model("abcdefgh\n", Columns({{5, 6}, {1, 2}, {8, 8}}));
  EXPECT_EQ(model.keyLength, 5U);
  EXPECT_EQ(model.entries.front().key, "efabh");
}

TEST(RecordModel, DownwardRange) {
  EXPECT_EQ(Model("abcdef\n", Columns({{5, 2}})).entries.front().key, "edcb");
}

TEST(RecordModel, UpperCaseFoldsLettersOnly) {
  BuildRequest request = Columns({{1, 5}});
  request.upperCase = true;
  EXPECT_EQ(Model("az`{\xE4\n", request).entries.front().key, "AZ`{\xE4");
}

TEST(RecordModel, KeysCompareAsUnsignedBytes) {
  const IndexModel model = Model("\xFF\xFFx\nzzx\n\x80\x7Fx\n", kFixed);
  EXPECT_EQ(Addresses(model), (std::vector<std::uint32_t>{4, 8, 0}));
}

// ---- Duplicates ----

TEST(RecordModel, DuplicatesKeepFileOrder) {
  const IndexModel model = Model("bb\naa\nbb\nbb\n", kFixed);
  EXPECT_EQ(model.entries,
            (Entries{{3, 0, 3, "aa"}, {0, 0, 3, "bb"}, {6, 1, 3, "bb"}, {9, 2, 3, "bb"}}));
  EXPECT_EQ(model.dupCount, 2U);
  EXPECT_EQ(model.ignoredDupCount, 0U);
}

TEST(RecordModel, IgnoredDuplicatesAreCountedAsRecords) {
  for (const Duplicates kind : {Duplicates::kIgnore, Duplicates::kIgnoreQuietly}) {
    BuildRequest request = kFixed;
    request.duplicates = kind;
    const IndexModel model = Model("bb\naa\nbb\nbb\n", request);
    EXPECT_EQ(model.result, 0);
    EXPECT_EQ(model.entries, (Entries{{3, 0, 3, "aa"}, {0, 0, 3, "bb"}}));
    EXPECT_EQ(model.dupCount, 0U);
    EXPECT_EQ(model.ignoredDupCount, 2U);
    EXPECT_EQ(model.recordsIndexed, 4U);
    EXPECT_EQ(model.fileFlags, 0x84);
  }
}

// The key of all zero bytes is no duplicate of a beginning without keys.
TEST(RecordModel, FirstKeyIsNeverADuplicate) {
  BuildRequest request = Columns({{2, 3}}, RecordFormat::kBinary, 3);
  const IndexModel model = Model("a\0\0"sv, request);
  EXPECT_EQ(model.entries, (Entries{{0, 0, 3, "\0\0"s}}));
}

TEST(RecordModel, RefusedDuplicatesSpoilTheIndex) {
  BuildRequest request = kFixed;
  request.duplicates = Duplicates::kRefuse;
  EXPECT_EQ(Model("aa\nbb\n", request).result, 0);
  EXPECT_EQ(Model("aa\naa\n", request).result, kResultWrongFormat);
}

// Short records or TABs that the options did not allow for take the blame from the duplicates.
TEST(RecordModel, RefusedDuplicatesOfIrregularData) {
  BuildRequest request = kFixed;
  request.duplicates = Duplicates::kRefuse;
  EXPECT_EQ(Model("aa\naa\na\nbb\n", request).result, 0);
  EXPECT_EQ(Model("aa\t\naa\t\n", request).result, 0);
  request.format = RecordFormat::kVariableText;
  EXPECT_EQ(Model("aa\naa\na\nbb\n", request).result, kResultWrongFormat);
  EXPECT_EQ(Model("aa\t\naa\t\n", request).result, 0);
  request.format = RecordFormat::kCompressedText;
  EXPECT_EQ(Model("aa\t\naa\t\n", request).result, kResultWrongFormat);
}

// ---- Conditions ----

std::vector<std::uint32_t> Selected(std::string_view data, std::vector<Condition> conditions,
                                    RecordFormat format = RecordFormat::kVariableText) {
  BuildRequest request = Columns({{1, 1}}, format);
  request.conditions = std::move(conditions);
  return Addresses(Model(data, request));
}

using Found = std::vector<std::uint32_t>;

TEST(Conditions, EqualAndNotEqual) {
  EXPECT_EQ(Selected("1A\n2B\n3A\n", {SimpleCondition{2, true, 'A'}}), (Found{0, 6}));
  EXPECT_EQ(Selected("1A\n2B\n3A\n", {SimpleCondition{2, false, 'A'}}), (Found{3}));
}

TEST(Conditions, AllMustHold) {
  const std::vector<Condition> both = {SimpleCondition{2, false, 'A'},
                                       SimpleCondition{2, false, 'B'}};
  EXPECT_EQ(Selected("1A\n2B\n3C\n", both), (Found{6}));
}

TEST(Conditions, RecordsNotSelectedAreNotIndexed) {
  BuildRequest request = Columns({{1, 1}});
  request.conditions = {SimpleCondition{2, true, 'A'}};
  const IndexModel model = Model("1Axxx\n2A\n3B\n", request);
  EXPECT_EQ(model.recordsIndexed, 2U);
  EXPECT_EQ(model.dataEnd, 12U);
  // A long record counts only when it is indexed.
  EXPECT_EQ(model.result, kResultWrongFormat);
  EXPECT_EQ(Model("1Bxxx\n2A\n3B\n", request).result, 0);
}

TEST(Conditions, BehindTheEndOfAShortRecordStandsASpace) {
  EXPECT_EQ(Selected("1\n2B\n", {SimpleCondition{2, true, ' '}}), (Found{0}));
  EXPECT_EQ(Selected("1\n2B\n", {SimpleCondition{2, false, ' '}}), (Found{2}));
}

TEST(Conditions, LookAtTheRecordBeforeUpperCase) {
  BuildRequest request = Columns({{1, 1}});
  request.upperCase = true;
  request.conditions = {SimpleCondition{1, true, 'a'}};
  const IndexModel model = Model("a\nA\n", request);
  EXPECT_EQ(model.entries, (Entries{{0, 0, 2, "A"}}));
}

TEST(Conditions, CompoundOperators) {
  const std::string data = "a\nb\nc\n";
  const auto with = [&](Operator op) {
    return Selected(data, {CompoundCondition{true, {{Connector::kFirst, 1, op, "b"}}}});
  };
  EXPECT_EQ(with(Operator::kLess), (Found{0}));
  EXPECT_EQ(with(Operator::kGreater), (Found{4}));
  EXPECT_EQ(with(Operator::kEqual), (Found{2}));
  EXPECT_EQ(with(Operator::kNotEqual), (Found{0, 4}));
  EXPECT_EQ(with(Operator::kLessEqual), (Found{0, 2}));
  EXPECT_EQ(with(Operator::kGreaterEqual), (Found{2, 4}));
}

TEST(Conditions, CompoundValueComparesUnsigned) {
  const CompoundCondition aboveZ = {true, {{Connector::kFirst, 2, Operator::kGreater, "z"}}};
  EXPECT_EQ(Selected("a\xE4\naz\n", {aboveZ}), (Found{0}));
}

// A or (B and C), (A and B) or C.
TEST(Conditions, AndBindsTighterThanOr) {
  const std::string data = "100\n010\n001\n011\n110\n";
  const auto is = [](Connector connector, unsigned column) {
    return CompoundTerm{connector, column, Operator::kEqual, "1"};
  };
  const CompoundCondition orAnd = {
      true, {is(Connector::kFirst, 1), is(Connector::kOr, 2), is(Connector::kAnd, 3)}};
  EXPECT_EQ(Selected(data, {orAnd}), (Found{12, 0, 16}));
  const CompoundCondition andOr = {
      true, {is(Connector::kFirst, 1), is(Connector::kAnd, 2), is(Connector::kOr, 3)}};
  EXPECT_EQ(Selected(data, {andOr}), (Found{8, 12, 16}));
}

TEST(Conditions, CompoundMayRefuse) {
  const CompoundCondition neither = {
      false,
      {{Connector::kFirst, 1, Operator::kEqual, "A"}, {Connector::kOr, 2, Operator::kEqual, "B"}}};
  EXPECT_EQ(Selected("AX\nXB\nXX\nAB\n", {neither}), (Found{6}));
}

TEST(Conditions, CompoundRecordIsLessWhereItEnds) {
  const auto with = [](Operator op, std::string value) {
    return CompoundCondition{true, {{Connector::kFirst, 2, op, std::move(value)}}};
  };
  EXPECT_EQ(Selected("ab\nabc\n", {with(Operator::kLess, "bc")}), (Found{0}));
  EXPECT_EQ(Selected("ab\nabc\n", {with(Operator::kGreaterEqual, "bc")}), (Found{3}));
  // Unlike a simple condition, a missing column is no space.
  EXPECT_EQ(Selected("a\na \n", {with(Operator::kEqual, " ")}), (Found{2}));
  EXPECT_EQ(Selected("a\na \n", {with(Operator::kNotEqual, " ")}), (Found{0}));
}

TEST(Conditions, CompoundRecordIsLessAtALineFeed) {
  const CompoundCondition notLess = {true,
                                     {{Connector::kFirst, 1, Operator::kGreaterEqual, "a\x01"}}};
  const BuildRequest plain = Columns({{1, 1}}, RecordFormat::kBinary, 2);
  BuildRequest request = plain;
  request.conditions = {notLess};
  EXPECT_EQ(Addresses(Model("a\nb\n", request)), (Found{2}));
}

TEST(Conditions, CompoundSeesTabsAsSpaces) {
  const CompoundCondition wide = {true, {{Connector::kFirst, 2, Operator::kEqual, "       b"}}};
  EXPECT_EQ(Selected("a\tb\na b\n", {wide}), (Found{0}));
}

// ---- Record numbers ----

TEST(RecordNumbers, PositionsCountInRecords) {
  BuildRequest request = Columns({{1, 2}});
  request.recordNumbers = true;
  const IndexModel model = Model("bb\n\0\0\0aa\n"sv, request);
  EXPECT_EQ(model.entries, (Entries{{2, 0, 3, "aa"}, {0, 0, 3, "bb"}}));
  EXPECT_EQ(model.deleted, (Deleted{1}));
  EXPECT_EQ(model.dataEnd, 3U);
}

TEST(RecordNumbers, PositionOffTheGridSpoilsTheIndex) {
  BuildRequest request = Columns({{1, 2}});
  request.recordNumbers = true;
  EXPECT_EQ(Model("b\naa\n", request).result, kResultWrongFormat);
}

TEST(RecordNumbers, NeverWithVariableRecords) {
  BuildRequest request = kVariable;
  request.recordNumbers = true;
  EXPECT_FALSE(Model("b\naa\n", request).recordNumbers);
}

// ---- Tree limit ----

TEST(TreeLimit, NoRoomAtAll) {
  BuildRequest request = kFixed;
  request.fillPercent = 0;
  EXPECT_EQ(Model("aa\n", request).result, kResultTreeLimit);
  EXPECT_EQ(Model("", Columns({{1, 1}}, RecordFormat::kFixedText, 2)).result, 0);
}

TEST(TreeLimit, OneKeyPerNodeHolds65535) {
  std::string data;
  for (int i = 0; i < 65535; ++i) data += "x\n";
  BuildRequest request = Columns({{1, 1}});
  request.fillPercent = 4;
  EXPECT_EQ(Model(data, request).result, 0);
  EXPECT_EQ(Model(data + "x\n", request).result, kResultTreeLimit);
}

}  // namespace
}  // namespace tavindex::test
