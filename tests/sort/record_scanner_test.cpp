#include "sort/record_scanner.h"

#include <algorithm>

#include "sort/input_buffer.h"
#include "sort_test.h"

namespace tavindex::test {
namespace {

constexpr std::size_t kBlock = 65536;

using Items = std::vector<Item>;

class CreateSubListTest : public SortTest {
 protected:
  // Scans a whole text in one area, with a key of one column range.
  Items Scan(std::string_view data, std::uint32_t from, std::uint32_t to,
             std::uint32_t records = 4000) {
    UseKey(from, to, records);
    OpenData(data);
    EXPECT_EQ(CreateSubList(run), kInputExhausted);
    return AreaItems();
  }
  // Back to the front of the data, with no key.
  void StartAgain() {
    run.scan.bytesInBuffer = 0;
    run.scan.bufferFilePos = 0;
    run.scan.nextLfa = 0;
    run.data = DataState{};
    run.keys = KeyState{};
  }
};

// ---- Text records ----

TEST_F(CreateSubListTest, MakesOneItemForEachRecord) {
  EXPECT_EQ(Scan("one\ntwo\nsix\n", 1, 3), (Items{{0, 4, "one"}, {4, 4, "two"}, {8, 4, "six"}}));
  EXPECT_EQ(run.scan.recordCount, 3U);
  EXPECT_EQ(run.scan.nextLfa, 12U);
  EXPECT_EQ(run.data.recordLength, 4U);
}

TEST_F(CreateSubListTest, EndsTheInputOfAnEmptyFile) {
  EXPECT_EQ(Scan("", 1, 3), Items{});
  EXPECT_EQ(run.scan.recordCount, 0U);
}

TEST_F(CreateSubListTest, StopsWhenTheAreaIsFullAndGoesOnFromThere) {
  UseKey(1, 2, 2);
  OpenData("aa\nbb\ncc\ndd\nee\n");
  EXPECT_EQ(CreateSubList(run), kOk);
  EXPECT_EQ(AreaItems(), (Items{{0, 3, "aa"}, {3, 3, "bb"}}));
  EXPECT_EQ(run.scan.itemsLeft, 0U);
  EXPECT_EQ(CreateSubList(run), kOk);
  EXPECT_EQ(AreaItems(), (Items{{6, 3, "cc"}, {9, 3, "dd"}}));
  EXPECT_EQ(CreateSubList(run), kInputExhausted);
  EXPECT_EQ(AreaItems(), (Items{{12, 3, "ee"}}));
  EXPECT_EQ(run.scan.recordCount, 5U);
}

TEST_F(CreateSubListTest, FindsTheEndBehindTheRecordThatFillsTheArea) {
  UseKey(1, 2, 2);
  OpenData("aa\nbb\n");
  EXPECT_EQ(CreateSubList(run), kInputExhausted);
  EXPECT_EQ(AreaItems().size(), 2U);
}

TEST_F(CreateSubListTest, TakesEveryKindOfEndOfRecord) {
  for (const std::string mark : {"\n", "\r", "\r\n", "\n\r"}) {
    StartAgain();
    UseEor(mark);
    const std::uint32_t length = 2 + static_cast<std::uint32_t>(mark.size());
    EXPECT_EQ(Scan("ab" + mark + "cd" + mark, 1, 2),
              (Items{{0, length, "ab"}, {length, length, "cd"}}))
        << "mark of " << mark.size();
  }
}

TEST_F(CreateSubListTest, TakesTheFirstByteOfAMarkAloneAsData) {
  UseEor("\r\n");
  UseVariable();
  EXPECT_EQ(Scan("a\rb\r\nc\n\r\n", 1, 4), (Items{{0, 5, "a\rb "}, {5, 4, "c\n  "}}));
}

TEST_F(CreateSubListTest, TakesTheFirstByteOfAMarkAtTheEndOfTheFileAsData) {
  UseEor("\r\n");
  UseVariable();
  EXPECT_EQ(Scan("ab\r\ncd\r", 1, 3), (Items{{0, 4, "ab "}, {4, 5, "cd\r"}}));
}

TEST_F(CreateSubListTest, CountsTheMarkOfALastRecordThatHasNone) {
  UseEor("\r\n");
  EXPECT_EQ(Scan("ab\r\ncd", 1, 2), (Items{{0, 4, "ab"}, {4, 4, "cd"}}));
  EXPECT_EQ(run.scan.nextLfa, 8U);  // the data ends at 6
}

TEST_F(CreateSubListTest, PadsTheKeyOfAShortRecordWithSpaces) {
  EXPECT_EQ(Scan("abcdef\nxy\n\n", 2, 5), (Items{{0, 7, "bcde"}, {7, 3, "y   "}, {10, 1, "    "}}));
}

TEST_F(CreateSubListTest, TakesColumnsDownwards) {
  ASSERT_EQ(AddKeyRange(run, 5, 3), kOk);
  ASSERT_EQ(AddKeyRange(run, 1, 1), kOk);
  FinishKeyMap(run);
  SizeArea(3);
  OpenData("abcdefg\nab\n");
  EXPECT_EQ(CreateSubList(run), kInputExhausted);
  EXPECT_EQ(AreaKeys(), (std::vector<std::string>{"edca", "   a"}));
}

TEST_F(CreateSubListTest, FoldsKeysToUpperCaseAndOnlyLetters) {
  run.options.upperCaseKeys = true;
  EXPECT_EQ(Scan("az{`\xE4"
                 "A\n",
                 1, 6),
            (Items{{0, 7,
                    "AZ{`\xE4"
                    "A"}}));
}

// ---- Ends of blocks ----

// Variable records up to `end`, so that the next one begins there.
std::string FillTo(std::size_t end, const std::string& mark) {
  std::string data;
  while (end - data.size() > 2000) data += std::string(1000 - mark.size(), 'f') + mark;
  return data + std::string(end - data.size() - mark.size(), 'f') + mark;
}

class EorAtBlockEnd : public CreateSubListTest,
                      public ::testing::WithParamInterface<std::tuple<std::string, int>> {};

TEST_P(EorAtBlockEnd, IsRecognisedAndSkipped) {
  const auto& [mark, offset] = GetParam();
  const auto markAt = static_cast<std::size_t>(static_cast<int>(kBlock) + offset);
  UseEor(mark);
  UseVariable();
  const std::string data = FillTo(markAt - 3, mark) + "abc" + mark + "xyz" + mark;
  const Items items = Scan(data, 1, 4);
  const std::uint32_t length = 3 + static_cast<std::uint32_t>(mark.size());
  ASSERT_GE(items.size(), 2U);
  EXPECT_EQ(items[items.size() - 2], (Item{markAt - 3, length, "abc "}));
  EXPECT_EQ(items.back(), (Item{markAt - 3 + length, length, "xyz "}));
  EXPECT_EQ(run.scan.nextLfa, data.size());
}

std::string MarkName(const ::testing::TestParamInfo<std::tuple<std::string, int>>& info) {
  std::string name;
  for (const char c : std::get<0>(info.param)) name += c == '\r' ? "Cr" : "Lf";
  const int offset = std::get<1>(info.param);
  return name + (offset < 0 ? "Before" : "Behind") + std::to_string(std::abs(offset));
}

INSTANTIATE_TEST_SUITE_P(AllMarks, EorAtBlockEnd,
                         ::testing::Combine(::testing::Values("\n", "\r", "\r\n", "\n\r"),
                                            ::testing::Range(-6, 6)),
                         MarkName);

TEST_F(CreateSubListTest, TakesALoneFirstMarkByteAtTheEndOfABlockAsData) {
  UseEor("\r\n");
  UseVariable();
  const std::string data = FillTo(kBlock - 3, "\r\n") + "ab\rc\r\n";
  EXPECT_EQ(Scan(data, 1, 4).back(), (Item{kBlock - 3, 6, "ab\rc"}));
}

TEST_F(CreateSubListTest, EndsAtAMarkWhoseSecondByteIsAlone) {
  UseEor("\r\n");
  UseVariable();
  const std::string data = FillTo(kBlock + 1, "\r\n");
  const Items items = Scan(data, 1, 1);
  EXPECT_EQ(run.scan.nextLfa, kBlock + 1);
  EXPECT_EQ(items.back().lfa + items.back().length, kBlock + 1);
}

TEST_F(CreateSubListTest, ReadsAFileOfExactlyOneBlockTwice) {
  UseVariable();
  calls.Watch<&SystemCalls::read>();
  const Items items = Scan(FillTo(kBlock, "\n"), 1, 1);
  EXPECT_EQ(items.back().lfa + items.back().length, kBlock);
  EXPECT_EQ(calls.Count<&SystemCalls::read>(), 2);
}

TEST_F(CreateSubListTest, TakesKeysThatStraddleBlocks) {
  UseVariable();
  const std::string data = FillTo(kBlock - 4, "\n") + "abcdefgh\n";
  EXPECT_EQ(Scan(data, 2, 7).back(), (Item{kBlock - 4, 9, "bcdefg"}));
}

// ---- Ctrl-Z ----

TEST_F(CreateSubListTest, DropsACtrlZAtTheEndOfTheFile) {
  EXPECT_EQ(Scan("ab\ncd\n\x1A", 1, 2).size(), 2U);
  EXPECT_EQ(run.scan.nextLfa, 6U);
}

TEST_F(CreateSubListTest, DropsACtrlZBehindARecordWithoutMark) {
  EXPECT_EQ(Scan("ab\ncd\x1A", 1, 2), (Items{{0, 3, "ab"}, {3, 3, "cd"}}));
}

TEST_F(CreateSubListTest, EndsTheInputAtACtrlZThatBeginsARecord) {
  EXPECT_EQ(Scan("ab\n\x1Agh\nij\n", 1, 2), (Items{{0, 3, "ab"}}));
  EXPECT_EQ(run.scan.recordCount, 1U);
}

TEST_F(CreateSubListTest, TakesACtrlZInsideARecordAsData) {
  EXPECT_EQ(Scan("a\x1A"
                 "b\ncde\n",
                 1, 3),
            (Items{{0, 4,
                    "a\x1A"
                    "b"},
                   {4, 4, "cde"}}));
}

TEST_F(CreateSubListTest, TakesACtrlZOfBinaryDataAsData) {
  UseBinary(3);
  EXPECT_EQ(Scan("\x1A"
                 "bccd\x1A",
                 1, 3),
            (Items{{0, 3,
                    "\x1A"
                    "bc"},
                   {3, 3, "cd\x1A"}}));
}

// ---- TABs ----

TEST_F(CreateSubListTest, ExpandsTabsToColumnsOfEight) {
  EXPECT_EQ(Scan("a\tb\n\tc\n1234567\td\n12345678\te\n", 9, 10),
            (Items{{0, 4, "b "}, {4, 3, "c "}, {7, 10, "d "}, {17, 11, "  "}}));
  EXPECT_TRUE(run.data.tabsExpanded);
}

TEST_F(CreateSubListTest, DeliversEverySpaceOfATab) {
  EXPECT_EQ(Scan("ab\tc\n", 1, 9), (Items{{0, 5, "ab      c"}}));
}

TEST_F(CreateSubListTest, LeavesTabsAloneWhenExpansionIsOff) {
  run.options.expandTabs = false;
  EXPECT_EQ(Scan("a\tb\n", 1, 3), (Items{{0, 4, "a\tb"}}));
  EXPECT_FALSE(run.data.tabsExpanded);
}

TEST_F(CreateSubListTest, LeavesTheMarkUnsetWithoutTabs) {
  Scan("abc\n", 1, 3);
  EXPECT_FALSE(run.data.tabsExpanded);
}

TEST_F(CreateSubListTest, ExpandsTabsInBinaryRecords) {
  UseBinary(4);
  EXPECT_EQ(Scan("a\tbcd\tef", 9, 10), (Items{{0, 4, "bc"}, {4, 4, "ef"}}));
  EXPECT_TRUE(run.data.tabsExpanded);
}

TEST_F(CreateSubListTest, CountsColumnsPastSixteenBits) {
  // 9000 TABs are 72000 columns; column 3 must not come round again at 65539.
  run.options.variableRecords = true;
  const std::string data = std::string(9000, '\t') + "xyz\n";
  EXPECT_EQ(Scan(data, 65534, 65534), (Items{{0, 9004, " "}}));
}

// ---- Far columns ----

TEST_F(CreateSubListTest, TakesAKeyFarFromTheRecordsStart) {
  const std::string record = std::string(40000, 'a') + "KEY" + std::string(100, 'b');
  EXPECT_EQ(Scan(record + "\n" + record + "\n", 40001, 40003),
            (Items{{0, 40104, "KEY"}, {40104, 40104, "KEY"}}));
}

TEST_F(CreateSubListTest, PadsAKeyFarBehindTheRecordsEnd) {
  ASSERT_EQ(AddKeyRange(run, 1, 1), kOk);
  ASSERT_EQ(AddKeyRange(run, 20001, 20001), kOk);
  ASSERT_EQ(AddKeyRange(run, 65534, 65534), kOk);
  FinishKeyMap(run);
  SizeArea(4);
  OpenData("abc\n" + std::string(20000, 'x') + "y\n");
  EXPECT_EQ(CreateSubList(run), kInputExhausted);
  EXPECT_EQ(AreaKeys(), (std::vector<std::string>{"a  ", "xy "}));
}

TEST_F(CreateSubListTest, PadsNothingBehindALongRecordThatFailedACondition) {
  // The failed condition stands far before the record's end.
  ASSERT_EQ(AddConditionText("1=A"), kOk);
  UseKey(65000, 65001, 4);
  OpenData("B" + std::string(60000, 'x') + "\nA\n");
  EXPECT_EQ(CreateSubList(run), kInputExhausted);
  EXPECT_EQ(AreaItems(), (Items{{60002, 2, "  "}}));
}

// ---- Record lengths ----

TEST_F(CreateSubListTest, AcceptsARecordOf65534BytesWithAOneByteMark) {
  EXPECT_EQ(Scan(std::string(65533, 'a') + "\nb\n", 1, 1),
            (Items{{0, 65534, "a"}, {65534, 2, "b"}}));
}

TEST_F(CreateSubListTest, AcceptsARecordOf65534BytesByteByByte) {
  run.scan.fastWalk = false;
  EXPECT_EQ(Scan(std::string(65533, 'a') + "\nb\n", 1, 1),
            (Items{{0, 65534, "a"}, {65534, 2, "b"}}));
}

TEST_F(CreateSubListTest, RefusesARecordOf65535BytesWithAOneByteMark) {
  UseKey(1, 1, 4);
  OpenData("b\n" + std::string(65534, 'a') + "\n");
  EXPECT_EQ(CreateSubList(run), -161);
  EXPECT_EQ(AreaItems(), (Items{{0, 2, "b"}}));
}

TEST_F(CreateSubListTest, AcceptsARecordOf65533BytesWithATwoByteMark) {
  UseEor("\r\n");
  EXPECT_EQ(Scan(std::string(65531, 'a') + "\r\n", 1, 1), (Items{{0, 65533, "a"}}));
}

TEST_F(CreateSubListTest, RefusesARecordOf65534BytesWithATwoByteMark) {
  UseEor("\r\n");
  UseKey(1, 1, 4);
  OpenData(std::string(65532, 'a') + "\r\n");
  EXPECT_EQ(CreateSubList(run), -161);
}

TEST_F(CreateSubListTest, RefusesALongRecordBeforeTheFilesEnd) {
  UseKey(1, 1, 4);
  OpenData(std::string(std::size_t{1} << 22, 'a'));
  calls.Watch<&SystemCalls::read>();
  EXPECT_EQ(CreateSubList(run), -161);
  EXPECT_LE(calls.Count<&SystemCalls::read>(), 2);
}

TEST_F(CreateSubListTest, CountsTabsAsOneByteOfARecordsLength) {
  EXPECT_EQ(Scan(std::string(65533, '\t') + "\n", 1, 1), (Items{{0, 65534, " "}}));
}

TEST_F(CreateSubListTest, TakesTheFirstRecordsLengthOfAFixedFile) {
  UseEor("\r\n");
  Scan("abcde\r\nab\r\n", 1, 1);
  EXPECT_EQ(run.data.recordLength, 7U);
}

TEST_F(CreateSubListTest, TakesAtLeast256ForVariableRecords) {
  UseVariable();
  Scan("abc\nabcdef\n", 1, 1);
  EXPECT_EQ(run.data.recordLength, 257U);
}

TEST_F(CreateSubListTest, TakesALongerFirstVariableRecordAsItIs) {
  UseVariable();
  Scan(std::string(300, 'a') + "\nb\n", 1, 1);
  EXPECT_EQ(run.data.recordLength, 301U);
}

TEST_F(CreateSubListTest, TakesTheDeclaredLengthForVariableRecords) {
  UseVariable();
  run.options.declaredRecordLength = 81;  // with its mark
  Scan("abc\n", 1, 1);
  EXPECT_EQ(run.data.recordLength, 81U);
}

TEST_F(CreateSubListTest, AcceptsTheDeclaredLengthOfFixedRecords) {
  run.options.declaredRecordLength = 4;
  Scan("abc\n", 1, 1);
  EXPECT_EQ(run.data.recordLength, 4U);
}

TEST_F(CreateSubListTest, RefusesAFirstFixedRecordThatDiffersFromTheDeclaredLength) {
  for (const char* data : {"ab\n", "abcd\n"}) {
    StartAgain();
    run.options.declaredRecordLength = 4;
    UseKey(1, 1, 4);
    OpenData(data);
    EXPECT_EQ(CreateSubList(run), -6) << data;
    EXPECT_EQ(AreaItems(), Items{});
  }
}

TEST_F(CreateSubListTest, RefusesAFirstVariableRecordLongerThanTheDeclaredLength) {
  UseVariable();
  run.options.declaredRecordLength = 4;
  UseKey(1, 1, 4);
  OpenData("abcd\n");
  EXPECT_EQ(CreateSubList(run), -7);
  EXPECT_EQ(AreaItems(), Items{});
}

TEST_F(CreateSubListTest, LeavesAKnownRecordLengthAlone) {
  run.data.recordLength = 9;
  Scan("abc\n", 1, 1);
  EXPECT_EQ(run.data.recordLength, 9U);
}

// ---- Long records ----

TEST_F(CreateSubListTest, DoesNotLookForLongRecordsByDefault) {
  Scan("abc\nabcdefgh\n", 1, 1);
  EXPECT_FALSE(run.data.longRecordSeen);
}

// The line speaks of the maximum where the address has its high half.
TEST_F(CreateSubListTest, ReportsTheFirstLongRecordOnce) {
  run.scan.checkLongRecords = true;
  run.control.debugMode = true;
  Scan("abc\nabcdefgh\nabcdefghi\n", 1, 1);
  EXPECT_TRUE(run.data.longRecordSeen);
  EXPECT_EQ(console.Text(),
            "\nCreateSubList(1):\n1st Long Rec Length:8 at LFA:0x00000004 Max Allowed "
            "RecordLength:0!\n");
}

TEST_F(CreateSubListTest, ReportsTheHighHalfOfALongRecordsAddressAsMaximum) {
  run.scan.checkLongRecords = true;
  run.control.debugMode = true;
  run.data.recordLength = 4;
  run.scan.nextLfa = 0x500000012;
  Scan("abcde\n", 1, 1);
  EXPECT_EQ(console.Text(),
            "\nCreateSubList(1):\n1st Long Rec Length:5 at LFA:0x00000012 Max Allowed "
            "RecordLength:5!\n");
}

TEST_F(CreateSubListTest, NotesLongRecordsSilentlyOutsideDebugMode) {
  run.scan.checkLongRecords = true;
  Scan("abc\nabcdefgh\n", 1, 1);
  EXPECT_TRUE(run.data.longRecordSeen);
  EXPECT_EQ(console.Text(), "");
}

TEST_F(CreateSubListTest, AllowsRecordsUpToTheLengthWithItsMark) {
  run.scan.checkLongRecords = true;
  Scan("abc\nabcd\n", 1, 1);  // 4 columns are not more than 4 bytes
  EXPECT_FALSE(run.data.longRecordSeen);
}

// ---- Binary records ----

TEST_F(CreateSubListTest, CutsBinaryDataIntoRecords) {
  UseBinary(4);
  EXPECT_EQ(Scan("a\nbc\r\n\xFF"
                 "def\nx",
                 1, 4),
            (Items{{0, 4, "a\nbc"},
                   {4, 4,
                    "\r\n\xFF"
                    "d"},
                   {8, 3 + 1, "ef\nx"}}));
}

TEST_F(CreateSubListTest, TakesBinaryRecordsAcrossBlocks) {
  UseBinary(1000);
  std::string data;
  for (int i = 0; i < 140; ++i) data += std::to_string(1000 + i) + std::string(996, 'x');
  const Items items = Scan(data, 1, 4);
  ASSERT_EQ(items.size(), 140U);
  for (std::size_t i = 0; i < items.size(); ++i) {
    EXPECT_EQ(items[i], (Item{i * 1000, 1000, std::to_string(1000 + i)}));
  }
}

TEST_F(CreateSubListTest, ChecksTheMarkInsideBinaryRecords) {
  UseBinary(4);
  run.data.trailerLength = 1;
  EXPECT_EQ(Scan("abc\nde\n\n", 1, 3), (Items{{0, 4, "abc"}, {4, 4, "de\n"}}));
}

TEST_F(CreateSubListTest, RefusesABinaryRecordWithoutItsMark) {
  UseBinary(4);
  run.data.trailerLength = 1;
  UseKey(1, 3, 4);
  OpenData("abc\nde\nf");
  EXPECT_EQ(CreateSubList(run), -5);
  EXPECT_EQ(run.scan.nextLfa, 4U);
  EXPECT_EQ(AreaItems(), (Items{{0, 4, "abc"}}));
}

TEST_F(CreateSubListTest, ChecksBothBytesOfAMarkInsideBinaryRecords) {
  UseBinary(4);
  run.data.eorChar1 = '\r';
  run.data.eorChar2 = '\n';
  run.data.trailerLength = 2;
  EXPECT_EQ(Scan("ab\r\ncd\r\n", 1, 2).size(), 2U);
  run.scan.bufferFilePos = 0;
  run.scan.bytesInBuffer = 0;
  OpenData("ab\r\ncd\n\n");
  EXPECT_EQ(CreateSubList(run), -5);
}

// ---- Conditions and kept items ----

TEST_F(CreateSubListTest, KeepsEveryRecordWithoutConditions) {
  EXPECT_EQ(Scan("a\nb\nc\n", 1, 1).size(), 3U);
}

TEST_F(CreateSubListTest, OverwritesTheItemOfARecordThatFailsItsCondition) {
  ASSERT_EQ(AddConditionText("2=x"), kOk);
  EXPECT_EQ(Scan("ax\nby\ncx\ndz\n", 1, 1), (Items{{0, 3, "a"}, {6, 3, "c"}}));
  EXPECT_EQ(run.scan.recordCount, 4U);
  EXPECT_EQ(run.scan.nextLfa, 12U);
}

TEST_F(CreateSubListTest, NeedsEveryCondition) {
  ASSERT_EQ(AddConditionText("1=a"), kOk);
  ASSERT_EQ(AddConditionText("2#b"), kOk);
  EXPECT_EQ(Scan("ab\nac\nxc\n", 1, 2), (Items{{3, 3, "ac"}}));
}

TEST_F(CreateSubListTest, KeepsKeysThatBeginWithTwoOnes) {
  UseBinary(4);
  EXPECT_EQ(Scan("\xFF\xFF"
                 "ab\xFF\xFF\xFF\xFF"
                 "abcd",
                 1, 4),
            (Items{{0, 4,
                    "\xFF\xFF"
                    "ab"},
                   {4, 4, "\xFF\xFF\xFF\xFF"},
                   {8, 4, "abcd"}}));
}

// ---- Failures ----

TEST_F(CreateSubListTest, EndsTheAreaAlsoAfterAReadFailure) {
  UseKey(1, 1, 400);
  OpenData(FillTo(kBlock + 3000, "\n"));
  calls.FailFrom<&SystemCalls::read>(2, EIO);
  EXPECT_EQ(CreateSubList(run), -4);
  EXPECT_EQ(AreaItems().size(), 65U);
}

TEST_F(CreateSubListTest, FailsWhenTheFirstBlockCannotBeRead) {
  UseKey(1, 1, 4);
  OpenData("a\n");
  calls.FailFrom<&SystemCalls::read>(1, EIO);
  EXPECT_EQ(CreateSubList(run), -4);
  EXPECT_EQ(AreaItems(), Items{});
}

// A record that is taken for shorter than it is could be left out of the index, or taken into it.
class ReadAhead : public CreateSubListTest, public ::testing::WithParamInterface<const char*> {
 protected:
  // A record of which the condition asks for bytes behind the block; the first reads fail.
  Result ScanWithFailures(int failures) {
    EXPECT_EQ(AddConditionText(GetParam()), kOk);
    UseKey(1, 1, 60000);
    const std::string start = FillTo(kBlock - 3, "\n");
    before_ = static_cast<std::size_t>(std::count(start.begin(), start.end(), '\n'));
    OpenData(start + "abcdxyz\n");
    EXPECT_GT(fillInputBuffer(run, run.files.inputFd), 0);
    calls.Replace<&SystemCalls::read>(
        [this, failures](int fd, void* bytes, std::size_t count) mutable -> ssize_t {
          errno = EIO;
          return failures-- > 0 ? -1 : calls.Original().read(fd, bytes, count);
        });
    return CreateSubList(run);
  }
  bool IsEqual() const { return GetParam()[0] == '='; }

  std::size_t before_ = 0;  // records without what is asked for
};

TEST_P(ReadAhead, IsTriedFourTimes) {
  EXPECT_EQ(ScanWithFailures(3), kInputExhausted);
  EXPECT_EQ(AreaItems().size(), IsEqual() ? 1U : before_);
}

TEST_P(ReadAhead, FailsTheScan) { EXPECT_EQ(ScanWithFailures(4), -4); }

INSTANTIATE_TEST_SUITE_P(Senses, ReadAhead, ::testing::Values("=1='abcdxyz'", "#1='abcdxyz'"));

// ---- Sort mode ----

class SortModeTest : public CreateSubListTest {
 protected:
  SortModeTest() { UseSortMode(); }
  // Key bytes of columns 1 to the number of flag words, with those flags.
  void UseFlags(const std::vector<unsigned>& flags, std::uint8_t subtract = 0) {
    for (std::size_t i = 0; i < flags.size(); ++i) {
      run.keys.keyMap[i] = {.recordPos = static_cast<std::uint16_t>(i),
                            .keyPos = static_cast<std::uint16_t>(i),
                            .flags = static_cast<std::uint16_t>(flags[i] | kKeyByte),
                            .compareChar = 0,
                            .subtractValue = subtract};
    }
    run.keys.keyMapCount = static_cast<std::uint32_t>(flags.size());
    run.keys.keyLength = run.keys.keyMapCount;
    FinishKeyMap(run);
    SizeArea(20);
  }
  std::vector<std::string> Keys(std::string_view data) {
    OpenData(data);
    EXPECT_EQ(CreateSubList(run), kInputExhausted);
    return AreaKeys();
  }
};

using KeyList = std::vector<std::string>;

TEST_F(SortModeTest, TranslatesKeyBytes) {
  std::array<std::uint8_t, 256> table{};
  for (std::size_t i = 0; i < table.size(); ++i) table[i] = static_cast<std::uint8_t>(255 - i);
  run.scan.translationTable = table.data();
  UseFlags({0, 0});
  EXPECT_EQ(Keys("a\x01\n"), (KeyList{"\x9E\xFE"}));
}

TEST_F(SortModeTest, SubtractsModulo256) {
  UseFlags({kSubtract, 0, kSubtract}, 'B');
  EXPECT_EQ(Keys("AAC\n"), (KeyList{"\xFF"
                                    "A\x01"}));
}

// 'O' less the digit: digits of a negative number sort below the space, in reverse.
TEST_F(SortModeTest, TurnsTheDigitsOfNegativeNumbersRound) {
  UseFlags({kSignAware, kSignAware, kSignAware | kEndNegative, 0});
  EXPECT_EQ(Keys("-128\n 128\n1-78\n"), (KeyList{" \x1E\x1D"
                                                 "8",
                                                 " 128",
                                                 "1 \x18"
                                                 "8"}));
}

TEST_F(SortModeTest, EndsTheNegativeStateBehindTheNumber) {
  UseFlags({kSignAware, kSignAware | kEndNegative, kSignAware});
  EXPECT_EQ(Keys("-11\n"), (KeyList{" \x1E"
                                    "1"}));
}

TEST_F(SortModeTest, ComplementsDescendingBytes) {
  UseFlags({kDescending, kDescending});
  EXPECT_EQ(Keys("a \n"), (KeyList{"\x9E\xDF"}));
}

TEST_F(SortModeTest, AppliesTheTransformationsInTheirOrder) {
  // Upper case, table, subtraction, sign, end of the negative state, complement.
  std::array<std::uint8_t, 256> table{};
  table['Q'] = '.';  // upper case comes before the table
  run.scan.translationTable = table.data();
  UseFlags({kUpperCase | kSubtract | kSignAware | kDescending}, 1);  // '.' - 1 is '-'
  EXPECT_EQ(Keys("q\n"), (KeyList{"\xDF"}));  // '-' becomes a space, complemented
}

// A padding space is negated, where a space of the record is complemented.
TEST_F(SortModeTest, PadsDescendingColumnsWithE0) {
  UseFlags({kDescending, kDescending, kDescending});
  EXPECT_EQ(Keys("a \n"), (KeyList{"\x9E\xDF\xE0"}));
}

TEST_F(SortModeTest, PadsWithoutAnyOtherTransformation) {
  std::array<std::uint8_t, 256> table{};
  table[' '] = 'T';
  table['a'] = 'U';
  run.scan.translationTable = table.data();
  UseFlags({0, kSubtract, kSignAware}, 3);
  EXPECT_EQ(Keys("a\n"), (KeyList{"U  "}));
}

TEST_F(SortModeTest, LeavesBytesAloneInIndexMode) {
  run.control.sortMode = false;
  run.control.indexMode = true;
  UseFlags({kDescending, kSignAware, kSubtract, kDescending}, 1);
  EXPECT_EQ(Keys("a-b\n"), (KeyList{"a-b "}));
}

TEST_F(SortModeTest, GrowsTheRecordLengthAndSumsTheBytes) {
  UseFlags({0});
  Keys("abc\na\nabcdef\n");
  EXPECT_EQ(run.data.recordLength, 7U);
  EXPECT_EQ(run.scan.outputBytes, 13U);
  EXPECT_EQ(run.scan.recordCount, 0U);
}

TEST_F(SortModeTest, SkipsNulsWithoutCounting) {
  UseFlags({0});
  EXPECT_EQ(Keys(std::string("\0\0\0a\n\0b\n", 8)), (KeyList{"a", "b"}));
  EXPECT_EQ(run.scan.deletedCount, 0U);
  EXPECT_EQ(AreaItems()[0].lfa, 3U);
  EXPECT_EQ(AreaItems()[1].lfa, 6U);
}

TEST_F(SortModeTest, SumsOnlyKeptRecordsWithoutThePrimaryOption) {
  ASSERT_EQ(AddConditionText("1=P"), kOk);
  run.options.primaryOption = '\0';
  UseKey(2, 2, 9);
  EXPECT_EQ(Keys("Pa\nxbcd\nPc\n"), (KeyList{"a", "c"}));
  EXPECT_EQ(run.scan.outputBytes, 6U);
  EXPECT_EQ(run.data.recordLength, 5U);
}

TEST_F(SortModeTest, GivesRecordsTheKeyOfThePrimaryRecordBeforeThem) {
  ASSERT_EQ(AddConditionText("1=P"), kOk);
  UseKey(2, 3, 9);
  EXPECT_EQ(Keys("xaa\nPbb\nxcc\nxdd\nPee\nxff\n"),
            (KeyList{std::string(2, '\0'), "bb", "bb", "bb", "ee", "ee"}));
  EXPECT_EQ(run.scan.outputBytes, 24U);
}

}  // namespace
}  // namespace tavindex::test
