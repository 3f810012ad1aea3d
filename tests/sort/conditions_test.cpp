#include "sort/conditions.h"

#include "sort/record_scanner.h"
#include "sort_test.h"

namespace tavindex::test {
namespace {

constexpr std::size_t kBlock = 65536;

class ConditionsTest : public SortTest {
 protected:
  // The addresses of the records that meet the conditions added so far.
  std::vector<std::uint64_t> Selected(std::string_view data) {
    UseKey(1, 1, 4000);
    OpenData(data);
    EXPECT_EQ(CreateSubList(run), kInputExhausted);
    std::vector<std::uint64_t> selected;
    for (const Item& item : AreaItems()) selected.push_back(item.lfa);
    return selected;
  }
  const CompoundTerm& Term(std::size_t index) const { return run.keys.terms[index]; }
  std::string HeaderTable() const {
    std::string table;
    for (std::uint32_t i = 0; i < run.keys.conditionTableCount; ++i) {
      const HeaderCondition& entry = run.keys.conditionTable[i];
      table += std::to_string(entry.column) + (entry.flags == 0x20 ? "=" : "#") +
               static_cast<char>(entry.compareChar == 0 ? '-' : entry.compareChar) + " ";
      EXPECT_TRUE(entry.flags == 0x20 || entry.flags == 0x10) << int{entry.flags};
    }
    return table;
  }
};

using Places = std::vector<std::uint64_t>;

// ---- Simple conditions ----

TEST_F(ConditionsTest, AddConditionTakesEqualAndNotEqual) {
  EXPECT_EQ(AddConditionText("11=A"), kOk);
  EXPECT_EQ(AddConditionText("12#b"), kOk);
  EXPECT_EQ(run.keys.keyMap[0].recordPos, 10U);
  EXPECT_EQ(run.keys.keyMap[0].flags, 0x20U);
  EXPECT_EQ(run.keys.keyMap[0].compareChar, 'A');
  EXPECT_EQ(run.keys.keyMap[1].recordPos, 11U);
  EXPECT_EQ(run.keys.keyMap[1].flags, 0x10U);
  EXPECT_EQ(run.options.primaryOption, 'p');
}

TEST_F(ConditionsTest, AddConditionStopsBehindTheCondition) {
  EXPECT_EQ(AddConditionText("11=A,1-5"), kOk);
  EXPECT_EQ(conditionEnd, 4U);
  EXPECT_EQ(AddConditionText("12=\"A\",1-5"), kOk);
  EXPECT_EQ(conditionEnd, 6U);
}

TEST_F(ConditionsTest, AddConditionGivesTheSameForAQuotedCharacter) {
  ASSERT_EQ(AddConditionText("11=A"), kOk);
  const KeyMapEntry plain = run.keys.keyMap[0];
  run.keys = KeyState{};
  ASSERT_EQ(AddConditionText("11=\"A\""), kOk);
  const KeyMapEntry& quoted = run.keys.keyMap[0];
  EXPECT_EQ(quoted.recordPos, plain.recordPos);
  EXPECT_EQ(quoted.flags, plain.flags);
  EXPECT_EQ(quoted.compareChar, plain.compareChar);
}

TEST_F(ConditionsTest, AddConditionTakesAnyCharacter) {
  for (const char c : {' ', ',', '=', '#', '-', '\'', '1', '\x80'}) {
    run.keys = KeyState{};
    EXPECT_EQ(AddConditionText(std::string("3=") + c), kOk) << c;
    EXPECT_EQ(run.keys.keyMap[0].compareChar, static_cast<std::uint8_t>(c));
  }
}

TEST_F(ConditionsTest, AddConditionTakesAQuoteInQuotes) {
  EXPECT_EQ(AddConditionText("3=\"\"\""), kOk);
  EXPECT_EQ(run.keys.keyMap[0].compareChar, '"');
}

TEST_F(ConditionsTest, AddConditionTakesQuotesAlsoBesideACompoundCondition) {
  ASSERT_EQ(AddConditionText("=1='A'"), kOk);
  EXPECT_EQ(AddConditionText("3=\"B\""), kOk);
  EXPECT_EQ(run.keys.keyMap[1].compareChar, 'B');
  EXPECT_EQ(run.options.primaryOption, 'P');
}

TEST_F(ConditionsTest, AddConditionRefusesBadForms) {
  for (const char* text : {"11*A", "11", "11=", "", "A", "0=A", "x1=A", "11<A", "65535=A",
                           "99999999999999=A", "11=\"", "11=\"A", "11=\"AB\"", "11 =A"}) {
    run.keys = KeyState{};
    EXPECT_EQ(AddConditionText(text), -118) << text;
  }
}

TEST_F(ConditionsTest, AddConditionTakesColumnsUpTo65534) {
  EXPECT_EQ(AddConditionText("65534=A"), kOk);
  EXPECT_EQ(run.keys.keyMap[0].recordPos, 65533U);
}

TEST_F(ConditionsTest, AddConditionRefusesTheEntryThatWouldMake150) {
  ASSERT_EQ(AddKeyRange(run, 1, 148), kOk);
  EXPECT_EQ(AddConditionText("300=A"), kOk);
  EXPECT_EQ(AddConditionText("301=A"), -118);
  EXPECT_EQ(AddConditionText("5=A"), kOk);  // takes the key byte's entry
}

TEST_F(ConditionsTest, AddConditionKeepsTheHeaderTableInColumnOrder) {
  for (const char* text : {"30=a", "10#b", "20=c", "40#d", "10=e"}) {
    ASSERT_EQ(AddConditionText(text), kOk);
  }
  EXPECT_EQ(HeaderTable(), "10#b 10=e 20=c 30=a 40#d ");
}

TEST_F(ConditionsTest, AddConditionRefusesAnEleventhConditionOfAnIndex) {
  for (int column = 1; column <= 10; ++column) {
    EXPECT_EQ(AddConditionText(std::to_string(column) + "=A"), kOk);
  }
  EXPECT_EQ(AddConditionText("11=A"), -135);
  EXPECT_EQ(run.keys.conditionTableCount, 10U);
}

TEST_F(ConditionsTest, AddConditionRefusesACompoundConditionAsTheEleventh) {
  for (int column = 1; column <= 10; ++column) AddConditionText(std::to_string(column) + "=A");
  EXPECT_EQ(AddConditionText("=11='A'"), -135);
}

TEST_F(ConditionsTest, AddConditionHasNoHeaderTableInSortMode) {
  UseSortMode();
  for (int column = 1; column <= 11; ++column) {
    EXPECT_EQ(AddConditionText(std::to_string(column) + "=A"), kOk);
  }
  EXPECT_EQ(run.keys.conditionTableCount, 0U);
}

TEST_F(ConditionsTest, TwoConditionsOfAColumnSelectWhatMeetsBoth) {
  ASSERT_EQ(AddConditionText("2#A"), kOk);
  ASSERT_EQ(AddConditionText("2#B"), kOk);
  EXPECT_EQ(Selected("xA\nxB\nxC\nx\n"), (Places{6, 9}));
}

TEST_F(ConditionsTest, AConditionBehindTheRecordSeesASpace) {
  ASSERT_EQ(AddConditionText("9= "), kOk);
  EXPECT_EQ(Selected("ab\n12345678x\n12345678 \n"), (Places{0, 13}));
}

TEST_F(ConditionsTest, AConditionSeesTheSpacesOfATab) {
  ASSERT_EQ(AddConditionText("5= "), kOk);
  EXPECT_EQ(Selected("ab\tcdef\nabcdefgh\n"), (Places{0}));
}

// ---- Compound conditions: compiling ----

TEST_F(ConditionsTest, ParseCompoundReadsTerms) {
  ASSERT_EQ(AddConditionText("=1='A'&20>='XY'|3#'C'"), kOk);
  ASSERT_EQ(run.keys.termCount, 3U);
  EXPECT_EQ(Term(0).connector, Connector::kFirst);
  EXPECT_EQ(Term(0).column, 0U);
  EXPECT_EQ(Term(0).op, Operator::kEqual);
  EXPECT_EQ(Term(0).value, "A");
  EXPECT_EQ(Term(1).connector, Connector::kAnd);
  EXPECT_EQ(Term(1).column, 19U);
  EXPECT_EQ(Term(1).op, Operator::kGreaterOrEqual);
  EXPECT_EQ(Term(1).value, "XY");
  EXPECT_EQ(Term(2).connector, Connector::kOr);
  EXPECT_EQ(Term(2).op, Operator::kNotEqual);
  EXPECT_EQ(Term(3).connector, Connector::kEnd);
  EXPECT_EQ(run.options.primaryOption, 'P');
}

TEST_F(ConditionsTest, ParseCompoundTakesEveryFormOfEveryOperator) {
  const std::pair<const char*, Operator> forms[] = {
      {"<", Operator::kLess},
      {">", Operator::kGreater},
      {"g", Operator::kGreater},
      {"G", Operator::kGreater},
      {"=", Operator::kEqual},
      {"e", Operator::kEqual},
      {"E", Operator::kEqual},
      {"!=", Operator::kNotEqual},
      {"#", Operator::kNotEqual},
      {"n", Operator::kNotEqual},
      {"N", Operator::kNotEqual},
      {"<>", Operator::kNotEqual},
      {"<=", Operator::kLessOrEqual},
      {"le", Operator::kLessOrEqual},
      {"LE", Operator::kLessOrEqual},
      {"lE", Operator::kLessOrEqual},
      {">=", Operator::kGreaterOrEqual},
      {"ge", Operator::kGreaterOrEqual},
      {"Ge", Operator::kGreaterOrEqual},
  };
  for (const auto& [form, op] : forms) {
    run.keys = KeyState{};
    run.options.primaryOption = '\0';
    EXPECT_EQ(AddConditionText(std::string("=5 ") + form + " 'v'"), kOk) << form;
    EXPECT_EQ(Term(0).op, op) << form;
  }
}

TEST_F(ConditionsTest, ParseCompoundSkipsBlanksBetweenItsParts) {
  EXPECT_EQ(AddConditionText("= 1 = 'A' & 2 ge 'B' | 3 < 'C' ,1-3"), kOk);
  EXPECT_EQ(run.keys.termCount, 3U);
}

TEST_F(ConditionsTest, ParseCompoundClosesUpDoubledQuotes) {
  EXPECT_EQ(AddConditionText("=1='it''s'''"), kOk);
  EXPECT_EQ(Term(0).value, "it's'");
  run.keys = KeyState{};
  run.options.primaryOption = '\0';
  EXPECT_EQ(AddConditionText("=1=''''&2='b'"), kOk);
  EXPECT_EQ(Term(0).value, "'");
  EXPECT_EQ(Term(1).value, "b");
}

TEST_F(ConditionsTest, ParseCompoundNeedsBothDoubleQuotesOrNone) {
  EXPECT_EQ(AddConditionText("=\"1='A'|2='B'\",7"), kOk);
  EXPECT_EQ(conditionEnd, 14U);
  for (const char* text : {"=\"1='A'", "=1='A'\""}) {
    run.keys = KeyState{};
    run.options.primaryOption = '\0';
    EXPECT_EQ(AddConditionText(text), -118) << text;
  }
}

TEST_F(ConditionsTest, ParseCompoundRefusesBadForms) {
  for (const char* text : {"=", "#", "='A'", "=0='A'", "=32768='A'", "=1'A'", "=1?'A'", "=1l'A'",
                           "=1=A", "=1=''", "=1='A", "=1='A''", "=1='A'&", "=1='A'|", "=1='A'&2",
                           "=1=\"A\"", "=x='A'", "=99999999999='A'", "=1!'A'"}) {
    run.keys = KeyState{};
    run.options.primaryOption = '\0';
    EXPECT_EQ(AddConditionText(text), -118) << text;
  }
}

TEST_F(ConditionsTest, ParseCompoundTakesColumnsUpTo32767) {
  EXPECT_EQ(AddConditionText("=32767='A'"), kOk);
  EXPECT_EQ(Term(0).column, 32766U);
}

TEST_F(ConditionsTest, ParseCompoundTakesValuesUpTo299Characters) {
  EXPECT_EQ(AddConditionText("=1='" + std::string(299, 'v') + "'"), kOk);
  EXPECT_EQ(Term(0).value, std::string(299, 'v'));
  run.keys = KeyState{};
  run.options.primaryOption = '\0';
  EXPECT_EQ(AddConditionText("=1='" + std::string(300, 'v') + "'"), -118);
}

TEST_F(ConditionsTest, ParseCompoundCountsDoubledQuotesOnce) {
  std::string quotes;
  for (int i = 0; i < 299; ++i) quotes += "''";
  EXPECT_EQ(AddConditionText("=1='" + quotes + "'"), kOk);
  EXPECT_EQ(Term(0).value, std::string(299, '\''));
}

TEST_F(ConditionsTest, ASecondCompoundConditionFails) {
  ASSERT_EQ(AddConditionText("=1='A'"), kOk);
  EXPECT_EQ(AddConditionText("#2='B'"), -118);
}

TEST_F(ConditionsTest, TheHighestColumnCarriesTheSense) {
  ASSERT_EQ(AddConditionText("#20='A'|5='B'"), kOk);
  EXPECT_EQ(run.keys.keyMap[0].recordPos, 19U);
  EXPECT_EQ(run.keys.keyMap[0].flags, 0x14U);
  EXPECT_EQ(run.keys.keyMap[1].recordPos, 4U);
  EXPECT_EQ(run.keys.keyMap[1].flags, 0x04U);
  EXPECT_EQ(HeaderTable(), "20#- ");
}

TEST_F(ConditionsTest, TermsOfOneColumnShareItsEntry) {
  ASSERT_EQ(AddConditionText("=3>'A'&3<'F'"), kOk);
  EXPECT_EQ(run.keys.keyMapCount, 1U);
  EXPECT_EQ(run.keys.keyMap[0].flags, 0x24U);
}

TEST_F(ConditionsTest, ParseCompoundRefusesTheEntryThatWouldMake150) {
  ASSERT_EQ(AddKeyRange(run, 1, 149), kOk);
  EXPECT_EQ(AddConditionText("=200='A'"), -118);
}

// ---- Compound conditions: evaluating ----

TEST_F(ConditionsTest, ParseCompoundTakes256Terms) {
  std::string terms = "=1='a'";
  for (int i = 1; i < 256; ++i) terms += "|1='a'";
  EXPECT_EQ(AddConditionText(terms), kOk);
  EXPECT_EQ(run.keys.termCount, 256U);
}

TEST_F(ConditionsTest, ParseCompoundRefusesTheTerm257) {
  std::string terms = "=1='a'";
  for (int i = 1; i < 257; ++i) terms += "|1='a'";
  EXPECT_EQ(AddConditionText(terms), -118);
  EXPECT_EQ(run.keys.termCount, 256U);
}

TEST_F(ConditionsTest, AndBindsTighterThanOr) {
  // 1 | (2 & 3)
  ASSERT_EQ(AddConditionText("=1='y'|2='y'&3='y'"), kOk);
  EXPECT_EQ(Selected("ynn\nnyn\nnny\nnyy\nyyn\nnnn\n"), (Places{0, 12, 16}));
}

TEST_F(ConditionsTest, AFalseAndGroupGoesOnAtTheNextOr) {
  // (1 & 2) | (3 & 4) | 5
  ASSERT_EQ(AddConditionText("=1='y'&2='y'|3='y'&4='y'|5='y'"), kOk);
  EXPECT_EQ(Selected("yynnn\nynynn\nnnyyn\nynnyy\nnynyn\n"), (Places{0, 12, 18}));
}

TEST_F(ConditionsTest, AFalseTermPassesOverEveryAndBehindIt) {
  // (1 & 2 & 3 & 4) | 5
  ASSERT_EQ(AddConditionText("=1='y'&2='y'&3='y'&4='y'|5='y'"), kOk);
  EXPECT_EQ(Selected("nyyyy\nnnnny\nnyyyn\nynyyy\nyyyyn\n"), (Places{0, 6, 18, 24}));
}

TEST_F(ConditionsTest, NotEqualSelectsWhatTheWholeIsFalseFor) {
  ASSERT_EQ(AddConditionText("#1='A'|2='B'"), kOk);
  EXPECT_EQ(Selected("Ax\nxB\nxx\nAB\n\n"), (Places{6, 12}));
}

TEST_F(ConditionsTest, EveryOperatorComparesUnsignedBytes) {
  const std::pair<const char*, Places> expected[] = {
      {"<", {0, 2}},       {">", {6, 8}},     {"=", {4}},
      {"#", {0, 2, 6, 8}}, {"<=", {0, 2, 4}}, {">=", {4, 6, 8}},
  };
  for (const auto& [op, places] : expected) {
    run.keys = KeyState{};
    run.options.primaryOption = '\0';
    run.scan.bytesInBuffer = 0;
    run.scan.bufferFilePos = 0;
    run.scan.nextLfa = 0;
    ASSERT_EQ(AddConditionText(std::string("=1") + op + "'m'"), kOk);
    EXPECT_EQ(Selected("\x01\na\nm\nz\n\xE9\n"), places) << op;
  }
}

TEST_F(ConditionsTest, ComparesTheWholeValue) {
  ASSERT_EQ(AddConditionText("=2='bcd'"), kOk);
  EXPECT_EQ(Selected("abcd\nabce\nabcde\nabc\n"), (Places{0, 10}));
}

TEST_F(ConditionsTest, ARecordThatEndsInsideTheValueIsLess) {
  ASSERT_EQ(AddConditionText("=2<'bcd'"), kOk);
  EXPECT_EQ(Selected("abc\nabcd\nab\na\n\n"), (Places{0, 9, 12, 14}));
}

TEST_F(ConditionsTest, ARecordThatEndsInsideItsValueIsNeitherEqualNorGreater) {
  ASSERT_EQ(AddConditionText("=2>='b'|1='zz'"), kOk);
  EXPECT_EQ(Selected("a\nz\nab\n"), (Places{4}));
}

TEST_F(ConditionsTest, TermsBehindAShortRecordAreEvaluatedEachAtItsColumn) {
  ASSERT_EQ(AddConditionText("=5<'A'&9<'A'"), kOk);
  EXPECT_EQ(Selected("ab\nabcdZ\nabcd0\n"), (Places{0, 9}));
}

TEST_F(ConditionsTest, TheValueOfTheNextRecordIsNeverSeen) {
  ASSERT_EQ(AddConditionText("=2='b\n'"), kOk);
  EXPECT_EQ(Selected("ab\n\nab\n"), (Places{}));
}

TEST_F(ConditionsTest, ALineFeedInsideARecordEndsTheComparison) {
  UseEor("\r");
  ASSERT_EQ(AddConditionText("=1<'a\nb'"), kOk);
  EXPECT_EQ(Selected("a\nb\raxb\r"), (Places{0}));
}

TEST_F(ConditionsTest, EveryRecordIsEvaluatedAnew) {
  ASSERT_EQ(AddConditionText("=1='A'|2='B'&3='C'"), kOk);
  EXPECT_EQ(Selected("A\nx\nxBC\nx\nxxC\n"), (Places{0, 4}));
}

TEST_F(ConditionsTest, ATermAndASimpleConditionShareAColumn) {
  ASSERT_EQ(AddConditionText("1#B"), kOk);
  ASSERT_EQ(AddConditionText("=1>'A'&2='x'"), kOk);
  EXPECT_EQ(Selected("Ax\nBx\nCx\nCy\n"), (Places{6}));
}

TEST_F(ConditionsTest, TabsCountAsSpacesInAComparison) {
  ASSERT_EQ(AddConditionText("=3='c     d'"), kOk);
  EXPECT_EQ(Selected("abc\td\nabc     d\nabc      d\n"), (Places{0, 6}));
}

TEST_F(ConditionsTest, AComparisonMayBeginInsideATab) {
  ASSERT_EQ(AddConditionText("=5='    d'"), kOk);
  EXPECT_EQ(Selected("ab\td\nabcd\td\nabcd\te\n"), (Places{0, 5}));
}

class BehindTheBlock : public ConditionsTest, public ::testing::WithParamInterface<int> {};

// A value of 12 bytes whose first one stands at every place around the end of the block.
TEST_P(BehindTheBlock, ATermReadsOnInTheNextBlock) {
  UseEor("\r\n");
  const auto start = static_cast<std::size_t>(static_cast<int>(kBlock) + GetParam());
  std::string data;
  while (data.size() + 1000 < start) data += std::string(498, 'f') + "\r\n";
  data += std::string(start - data.size() - 5, 'f') + "\r\n";
  const std::size_t at = data.size();
  data += "xyzhello, world\r\nxyzhello, worlz\r\nxyzhello\r\n";
  ASSERT_EQ(AddConditionText("=4='hello, world'"), kOk);
  EXPECT_EQ(Selected(data), (Places{at}));
}

INSTANTIATE_TEST_SUITE_P(AllPlaces, BehindTheBlock, ::testing::Range(-40, 8));

TEST_F(ConditionsTest, ATermReadsOnWithoutMovingTheScan) {
  const std::string first = std::string(999, 'f') + "\n";
  std::string data;
  while (data.size() < 65000) data += first;
  const std::string value(299, 'v');
  const std::size_t at = data.size();
  data += std::string(400, 'g') + value + "\n" + "last\n";
  ASSERT_EQ(AddConditionText("=401='" + value + "'"), kOk);
  EXPECT_EQ(Selected(data), (Places{at}));
  EXPECT_EQ(run.scan.nextLfa, data.size());
}

TEST_F(ConditionsTest, ATermBehindTheEndOfTheDataIsLess) {
  std::string data(65530, 'f');
  data[9999] = data[19999] = data[29999] = data[39999] = data[49999] = data[59999] = '\n';
  data += "ab\nxyz\x1A";  // the file ends behind the block, in a Ctrl-Z
  ASSERT_EQ(AddConditionText("=1<'xyz\x1A'&1>='xyz'"), kOk);
  EXPECT_EQ(Selected(data), (Places{65533}));
}

TEST_F(ConditionsTest, ATermEndsAtTheEndOfABinaryRecord) {
  UseBinary(4);
  ASSERT_EQ(AddConditionText("=3='cde'"), kOk);
  EXPECT_EQ(Selected("abcdefgh"), (Places{}));
}

TEST_F(ConditionsTest, ATermTakesMarksInBinaryRecordsAsBytes) {
  UseBinary(4);
  ASSERT_EQ(AddConditionText("=2='b\rc'"), kOk);
  EXPECT_EQ(Selected("ab\rcabcd"), (Places{0}));
}

}  // namespace
}  // namespace tavindex::test
