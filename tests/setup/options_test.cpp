#include "setup/options.h"

#include "support/run_test.h"

namespace tavindex::test {
namespace {

class OptionsTest : public RunTest {
 protected:
  void Reset() {
    run.options = OptionState{};
    run.keys = KeyState{};
    run.data = DataState{};
  }
  // The option text alone, from fresh settings.
  Result Read(const std::string& options) {
    Reset();
    return ReadMore(options);
  }
  Result ReadMore(const std::string& options) {
    text = options;
    return ReadOptions(run, {text.data(), text.size()});
  }
  Result ReadAndCheck(const std::string& options, std::uint32_t declared = 0) {
    Reset();
    run.options.declaredRecordLength = declared;
    const Result result = ReadMore(options);
    return result == kOk ? CheckOptions(run) : result;
  }
  void ExpectKey(std::size_t index, unsigned start, unsigned length) {
    EXPECT_EQ(run.keys.keyTable[index].start, start) << index;
    EXPECT_EQ(run.keys.keyTable[index].length, length) << index;
  }

  std::string text;
};

using ReadOptionsTest = OptionsTest;
using CheckOptionsTest = OptionsTest;

// --- letters ---------------------------------------------------------------------------------

TEST_F(ReadOptionsTest, QuestionMarkShowsTheUsage) {
  EXPECT_EQ(Read("?"), -12);
  EXPECT_EQ(console.Text().substr(0, 16), "\ntavindex [-l{lo");
}

TEST_F(ReadOptionsTest, FoldsLettersToLowerCase) {
  EXPECT_EQ(Read("UV1-5"), kOk);
  EXPECT_TRUE(run.options.upperCaseKeys);
  EXPECT_TRUE(run.options.variableRecords);
}

TEST_F(ReadOptionsTest, CompactsWithLocking) {
  EXPECT_EQ(Read("c"), kOk);
  EXPECT_EQ(run.options.compactFlags, 1U);
  EXPECT_TRUE(run.options.compactLocking);
}

TEST_F(ReadOptionsTest, CompactZeroSetsTheBitOfValueTwo) {
  EXPECT_EQ(Read("c=0"), kOk);
  EXPECT_EQ(run.options.compactFlags, 3U);
  EXPECT_TRUE(run.options.compactLocking);
}

TEST_F(ReadOptionsTest, CompactOneDoesNotLock) {
  EXPECT_EQ(Read("c=1"), kOk);
  EXPECT_EQ(run.options.compactFlags, 9U);
  EXPECT_FALSE(run.options.compactLocking);
}

TEST_F(ReadOptionsTest, CompactStandsAloneButForBlanksAndCommas) {
  for (const char* options : {" c", ", ,c , ", "c=0 ,", " C"}) {
    EXPECT_EQ(Read(options), kOk) << options;
    EXPECT_NE(run.options.compactFlags, 0U) << options;
  }
}

TEST_F(ReadOptionsTest, CompactRefusesEverythingBesideIt) {
  for (const char* options : {"dc", "1-5c", "1 c", "cd", "c1-5", "c?", "ci", "ic", "cr", "cc",
                              "c=0d", "c=1c", "c h", "ih c", "c>"}) {
    EXPECT_EQ(Read(options), -128) << options;
  }
}

TEST_F(ReadOptionsTest, CompactRefusesOtherValues) {
  for (const char* options : {"c=2", "c=", "c=x", "c= 0"}) {
    EXPECT_EQ(Read(options), -171) << options;
  }
}

TEST_F(ReadOptionsTest, DisplayAndRebuildAreFlags) {
  EXPECT_EQ(Read("i"), kOk);
  EXPECT_TRUE(run.options.displayRun);
  EXPECT_FALSE(run.options.reindexRun);
  EXPECT_EQ(Read("r"), kOk);
  EXPECT_TRUE(run.options.reindexRun);
  EXPECT_EQ(Read("ir"), kOk);
  EXPECT_TRUE(run.options.displayRun && run.options.reindexRun);
}

TEST_F(ReadOptionsTest, PlainLettersSetTheirFlags) {
  EXPECT_EQ(Read("z"), kOk);
  EXPECT_TRUE(run.options.discardPath);
  EXPECT_EQ(Read("y"), kOk);
  EXPECT_TRUE(run.options.noDrive);
  EXPECT_EQ(Read("q"), kOk);
  EXPECT_TRUE(run.options.quitIfNotOpened);
  EXPECT_EQ(Read("w"), kOk);
  EXPECT_TRUE(run.options.writeAllAtEnd);
  EXPECT_EQ(Read("v"), kOk);
  EXPECT_TRUE(run.options.variableRecords);
  EXPECT_FALSE(run.options.spaceCompAllowed);
}

TEST_F(ReadOptionsTest, PlainLettersClearTheirFlags) {
  EXPECT_EQ(Read(""), kOk);
  EXPECT_TRUE(run.options.expandTabs);
  EXPECT_TRUE(run.options.showRecordProgress);
  EXPECT_EQ(Read("bx"), kOk);
  EXPECT_FALSE(run.options.expandTabs);
  EXPECT_FALSE(run.options.showRecordProgress);
}

TEST_F(ReadOptionsTest, SpaceCompressionImpliesVariableLength) {
  EXPECT_EQ(Read("s"), kOk);
  EXPECT_TRUE(run.options.spaceCompAllowed);
  EXPECT_TRUE(run.options.variableRecords);
}

TEST_F(ReadOptionsTest, NothingIsSetWithoutLetters) {
  EXPECT_EQ(Read("1-5"), kOk);
  const OptionState& options = run.options;
  EXPECT_EQ(options.compactFlags, 0U);
  EXPECT_EQ(options.fillPercent, 100U);
  EXPECT_EQ(options.osType, 0);
  EXPECT_FALSE(options.rejectDups || options.ignoreDups || options.quietDups);
  EXPECT_FALSE(options.errorFileWanted || options.upperCaseKeys || options.binaryRecords);
}

// --- duplicates --------------------------------------------------------------------------------

TEST_F(ReadOptionsTest, ErrorFileIsWantedByEAndN) {
  EXPECT_EQ(Read("e"), kOk);
  EXPECT_TRUE(run.options.errorFileWanted);
  EXPECT_FALSE(run.options.rejectDups);
  EXPECT_EQ(Read("n"), kOk);
  EXPECT_TRUE(run.options.errorFileWanted);
  EXPECT_TRUE(run.options.rejectDups);
  EXPECT_FALSE(run.options.ignoreDups);
}

TEST_F(ReadOptionsTest, NZeroIgnoresDuplicates) {
  EXPECT_EQ(Read("n0"), kOk);
  EXPECT_TRUE(run.options.rejectDups);
  EXPECT_TRUE(run.options.ignoreDups);
  EXPECT_FALSE(run.options.quietDups);
  EXPECT_TRUE(run.options.errorFileWanted);
}

TEST_F(ReadOptionsTest, NDollarIgnoresThemQuietly) {
  EXPECT_EQ(Read("n$"), kOk);
  EXPECT_TRUE(run.options.rejectDups);
  EXPECT_TRUE(run.options.ignoreDups);
  EXPECT_TRUE(run.options.quietDups);
  EXPECT_FALSE(run.options.errorFileWanted);
}

TEST_F(ReadOptionsTest, NDollarTakesBackTheErrorFileOfAnEarlierN) {
  EXPECT_EQ(Read("nn$"), kOk);
  EXPECT_FALSE(run.options.errorFileWanted);
}

TEST_F(ReadOptionsTest, NDollarLeavesTheErrorFileOfAnE) {
  for (const char* options : {"en$", "n$e"}) {
    EXPECT_EQ(Read(options), kOk);
    EXPECT_TRUE(run.options.errorFileWanted) << options;
    EXPECT_TRUE(run.options.quietDups) << options;
  }
}

TEST_F(ReadOptionsTest, OnlyTheCharacterBehindNBelongsToIt) {
  EXPECT_EQ(Read("n1-5"), kOk);
  EXPECT_FALSE(run.options.ignoreDups);
  ExpectKey(0, 0, 5);
  EXPECT_EQ(Read("n01-5"), kOk);
  EXPECT_TRUE(run.options.ignoreDups);
  ExpectKey(0, 0, 5);
}

TEST_F(ReadOptionsTest, TheLastOfDAndNWins) {
  EXPECT_EQ(Read("n$d"), kOk);
  EXPECT_FALSE(run.options.rejectDups || run.options.ignoreDups || run.options.quietDups);
  EXPECT_EQ(Read("n0n"), kOk);
  EXPECT_TRUE(run.options.rejectDups);
  EXPECT_FALSE(run.options.ignoreDups);
  EXPECT_EQ(Read("dn0"), kOk);
  EXPECT_TRUE(run.options.rejectDups && run.options.ignoreDups);
}

// --- values ------------------------------------------------------------------------------------

TEST_F(ReadOptionsTest, FillPercentTakesTwoDigits) {
  EXPECT_EQ(Read("m75"), kOk);
  EXPECT_EQ(run.options.fillPercent, 75U);
  EXPECT_EQ(Read("m051-5"), kOk);
  EXPECT_EQ(run.options.fillPercent, 5U);
  ExpectKey(0, 0, 5);
}

TEST_F(ReadOptionsTest, FillPercentRefusesFewerDigits) {
  for (const char* options : {"m", "m7", "mx5", "m7x", "m 75", "m7,5"}) {
    EXPECT_EQ(Read(options), -129) << options;
  }
}

TEST_F(ReadOptionsTest, OsTypeHasThreeForms) {
  EXPECT_EQ(Read("o"), kOk);
  EXPECT_EQ(run.options.osType, 16);
  EXPECT_EQ(Read("o=2"), kOk);
  EXPECT_EQ(run.options.osType, 16);
  EXPECT_EQ(Read("o=11-5"), kOk);
  EXPECT_EQ(run.options.osType, 8);
  ExpectKey(0, 0, 5);
}

TEST_F(ReadOptionsTest, OsTypeRefusesOtherValues) {
  for (const char* options : {"o=", "o=0", "o=3", "o=x", "o= 1"}) {
    EXPECT_EQ(Read(options), -159) << options;
  }
}

TEST_F(ReadOptionsTest, UpperCaseMustStandBeforeTheKeys) {
  EXPECT_EQ(Read("u1-5"), kOk);
  EXPECT_TRUE(run.options.upperCaseKeys);
  EXPECT_EQ(Read("1-5u"), -136);
  EXPECT_EQ(Read("1,u"), -136);
}

TEST_F(ReadOptionsTest, UpperCaseMayStandBehindACondition) { EXPECT_EQ(Read("p11=A,u,1-5"), kOk); }

// --- conditions --------------------------------------------------------------------------------

TEST_F(ReadOptionsTest, TakesConditionsBetweenOtherOptions) {
  EXPECT_EQ(Read("un,p11=A,1-10,20,30-40"), kOk);
  EXPECT_TRUE(run.options.upperCaseKeys && run.options.rejectDups);
  EXPECT_EQ(run.keys.keyLength, 22U);
  ASSERT_EQ(run.keys.conditionTableCount, 1U);
  EXPECT_EQ(run.keys.conditionTable[0].column, 11);
  EXPECT_EQ(run.keys.conditionTable[0].flags, 0x20);
  EXPECT_EQ(run.keys.conditionTable[0].compareChar, 'A');
  ExpectKey(0, 0, 10);
  ExpectKey(1, 19, 1);
  ExpectKey(2, 29, 11);
}

TEST_F(ReadOptionsTest, RefusesInvalidConditions) {
  for (const char* options : {"p", "p11", "p11*A", "p0=A", "p65535=A", "p=A", "p11="}) {
    EXPECT_EQ(Read(options), -118) << options;
  }
}

TEST_F(ReadOptionsTest, RefusesASecondCompoundCondition) {
  EXPECT_EQ(Read("p=1='A'"), kOk);
  EXPECT_EQ(Read("p=1='A',p#2='B'"), -118);
}

TEST_F(ReadOptionsTest, TakesTenConditionsAndRefusesAnEleventh) {
  std::string options;
  for (int column = 1; column <= 10; ++column) options += "p" + std::to_string(column) + "=A,";
  EXPECT_EQ(Read(options), kOk);
  EXPECT_EQ(Read(options + "p11=A"), -135);
}

// --- binary records ----------------------------------------------------------------------------

TEST_F(ReadOptionsTest, BinaryLengthComesFromTheOption) {
  EXPECT_EQ(Read("f=100"), kOk);
  EXPECT_TRUE(run.options.binaryRecords && run.options.binaryPlain);
  EXPECT_FALSE(run.options.binaryWithEor);
  EXPECT_EQ(run.options.declaredRecordLength, 100U);
  EXPECT_EQ(Read("g=100"), kOk);
  EXPECT_TRUE(run.options.binaryRecords && run.options.binaryWithEor);
  EXPECT_FALSE(run.options.binaryPlain);
}

TEST_F(ReadOptionsTest, BinaryLengthMustAgreeWithTheField) {
  EXPECT_EQ(ReadAndCheck("f=100,1-5", 100), kOk);
  EXPECT_EQ(ReadAndCheck("f=100,1-5", 80), -137);
  EXPECT_EQ(ReadAndCheck("g=100,1-5", 80), -137);
  EXPECT_EQ(ReadAndCheck("f=0,1-5", 80), -137);
}

TEST_F(ReadOptionsTest, BinaryLengthIsAtMost65534) {
  EXPECT_EQ(Read("f=65534"), kOk);
  EXPECT_EQ(Read("f=65535"), -108);
  EXPECT_EQ(Read("g=4294967296"), -108);
}

// --- key specifications --------------------------------------------------------------------------

TEST_F(ReadOptionsTest, KeysKeepTheCommandLinesOrder) {
  EXPECT_EQ(Read("11-20,1-5,7-8,21-30"), kOk);
  EXPECT_EQ(run.keys.keyLength, 27U);
  EXPECT_EQ(run.keys.keyTableCount, 4U);
  ExpectKey(0, 10, 10);
  ExpectKey(1, 0, 5);
  ExpectKey(2, 6, 2);
  ExpectKey(3, 20, 10);
}

TEST_F(ReadOptionsTest, SingleColumnIsAKeyOfOneByte) {
  EXPECT_EQ(Read("65534"), kOk);
  EXPECT_EQ(run.keys.keyLength, 1U);
  ExpectKey(0, 65533, 1);
}

TEST_F(ReadOptionsTest, DownwardRangeIsKeptAsStartAndLength) {
  EXPECT_EQ(Read("30-21"), kOk);
  EXPECT_EQ(run.keys.keyLength, 10U);
  ExpectKey(0, 20, 10);
  EXPECT_EQ(run.keys.keyMap[0].recordPos, 29);
  EXPECT_EQ(run.keys.keyMap[0].keyPos, 0);
}

TEST_F(ReadOptionsTest, KeysRefuseColumnsAbove65534) {
  for (const char* options : {"65535", "1-65535", "65535-1", "99999999999"}) {
    EXPECT_EQ(Read(options), -111) << options;
  }
}

TEST_F(ReadOptionsTest, KeysRefuseWrongSyntax) {
  for (const char* options :
       {"1-5-7", "-5", "1-", "1--5", "0", "0-5", "1-0", "-", "n-1-5", "1-x"}) {
    EXPECT_EQ(Read(options), -112) << options;
  }
}

TEST_F(ReadOptionsTest, KeysRefuseASecondDashBeforeTheyAreCounted) {
  EXPECT_EQ(Read("1-200-3"), -112);
  EXPECT_EQ(Read("1-5,2-3-4"), -112);
}

TEST_F(ReadOptionsTest, KeysRefuseOverlaps) {
  EXPECT_EQ(Read("1-10,5-7"), -113);
  EXPECT_EQ(Read("5,5"), -113);
}

TEST_F(ReadOptionsTest, KeysTake150BytesAndNoMore) {
  EXPECT_EQ(Read("1-150"), kOk);
  EXPECT_EQ(run.keys.keyLength, 150U);
  EXPECT_EQ(Read("1-151"), -114);
  EXPECT_EQ(Read("1-100,201-251"), -114);
}

TEST_F(ReadOptionsTest, KeysTake31SpecificationsAndRefuseTheNext) {
  std::string options;
  for (int column = 1; column <= 31; ++column) options += std::to_string(column * 2) + ",";
  EXPECT_EQ(Read(options), kOk);
  EXPECT_EQ(run.keys.keyTableCount, 31U);
  EXPECT_EQ(Read(options + "100"), -115);
}

TEST_F(ReadOptionsTest, KeyTableIsForIndexRunsOnly) {
  run.control.indexMode = false;
  std::string options;
  for (int column = 1; column <= 32; ++column) options += std::to_string(column * 2) + ",";
  EXPECT_EQ(Read(options), kOk);
  EXPECT_EQ(run.keys.keyTableCount, 0U);
  EXPECT_EQ(run.keys.keyLength, 32U);
}

// --- other characters ----------------------------------------------------------------------------

TEST_F(ReadOptionsTest, RefusesUnknownCharacters) {
  for (const char* options : {"h", "1-5h", "1-5,h", "1-5;2", "u!1"}) {
    EXPECT_EQ(Read(options), -112) << options;
  }
}

TEST_F(ReadOptionsTest, UnknownCharacterBehindABlankEndsTheText) {
  EXPECT_EQ(Read("1-5 h?u"), kOk);
  EXPECT_EQ(run.keys.keyLength, 5U);
}

TEST_F(ReadOptionsTest, KnownLetterBehindABlankIsRead) {
  EXPECT_EQ(Read("1-5 v"), kOk);
  EXPECT_TRUE(run.options.variableRecords);
}

TEST_F(ReadOptionsTest, DisplayAndRebuildIgnoreUnknownCharactersBehindThem) {
  for (const char* options : {"ih", "r!h", "i h v", "rj"}) {
    EXPECT_EQ(Read(options), kOk) << options;
  }
  EXPECT_EQ(Read("i hv"), kOk);
  EXPECT_TRUE(run.options.variableRecords);
}

TEST_F(ReadOptionsTest, DisplayAndRebuildAcceptNoUnknownCharactersBeforeThem) {
  EXPECT_EQ(Read("hi"), -112);
}

TEST_F(ReadOptionsTest, DisplayAndRebuildKeepTheRefusalsOfKnownLetters) {
  EXPECT_EQ(Read("im7"), -129);
  EXPECT_EQ(Read("ro=5"), -159);
}

TEST_F(ReadOptionsTest, GreaterThanEndsTheTextOfAnIndexRun) {
  EXPECT_EQ(Read("1-5>not read?"), kOk);
  EXPECT_EQ(run.keys.keyLength, 5U);
  EXPECT_EQ(console.Text(), "");
}

TEST_F(ReadOptionsTest, GreaterThanBeginsAReformatListInASortRun) {
  run.control.indexMode = false;
  EXPECT_EQ(Read("1-5>1-10,'x',3"), kOk);
  EXPECT_EQ(run.keys.reformat.count, 3U);
  EXPECT_EQ(Read("1-5>5-1"), -130);
}

TEST_F(ReadOptionsTest, CommasAndBlanksSeparate) {
  EXPECT_EQ(Read(" ,1-2,, 4 , 6-7 ,"), kOk);
  EXPECT_EQ(run.keys.keyTableCount, 3U);
}

// --- the checks behind the options ---------------------------------------------------------------

TEST_F(CheckOptionsTest, WantsAKey) {
  EXPECT_EQ(ReadAndCheck(""), -104);
  EXPECT_EQ(ReadAndCheck("nv"), -104);
  EXPECT_EQ(ReadAndCheck("p1=A"), -104);
  EXPECT_EQ(ReadAndCheck("1"), kOk);
}

TEST_F(CheckOptionsTest, WantsNoKeyToDisplayRebuildOrCompact) {
  for (const char* options : {"i", "r", "c"}) EXPECT_EQ(ReadAndCheck(options), kOk) << options;
}

TEST_F(CheckOptionsTest, RefusesBinaryWithVariableLength) {
  for (const char* options : {"f=100v", "f=100s", "vg=100", "sg=100", "f=100g=100", "fg"}) {
    EXPECT_EQ(ReadAndCheck(options), -124) << options;
  }
}

TEST_F(CheckOptionsTest, WantsALengthForBinary) {
  for (const char* options : {"f1-5", "g1-5", "f=,1-5", "f=0,1-5", "g=0 1-5"}) {
    EXPECT_EQ(ReadAndCheck(options), -133) << options;
  }
}

TEST_F(CheckOptionsTest, BinaryTakesTheLengthOfTheField) {
  EXPECT_EQ(ReadAndCheck("f1-5", 80), kOk);
  EXPECT_EQ(run.options.declaredRecordLength, 80U);
  EXPECT_EQ(run.data.recordLength, 80U);
  EXPECT_EQ(ReadAndCheck("g1-5", 80), kOk);
}

TEST_F(CheckOptionsTest, LooksForConflictsBeforeTheLengthAndTheKey) {
  EXPECT_EQ(ReadAndCheck("fv"), -124);
  EXPECT_EQ(ReadAndCheck("f"), -133);
}

TEST_F(CheckOptionsTest, NoPathIsOnInAnyCase) {
  for (const char* value : {"ON", "on", "On"}) {
    environment.Set("KVR_NOPATH", value);
    EXPECT_EQ(ReadAndCheck("1"), kOk);
    EXPECT_TRUE(run.options.discardPath) << value;
  }
}

TEST_F(CheckOptionsTest, NoPathIsNothingElse) {
  for (const char* value : {"OFF", "ONE", "1", ""}) {
    environment.Set("KVR_NOPATH", value);
    EXPECT_EQ(ReadAndCheck("1"), kOk);
    EXPECT_FALSE(run.options.discardPath) << value;
  }
}

TEST_F(CheckOptionsTest, NoPathIsShownInDebugModeWheneverItHasAValue) {
  run.control.debugMode = true;
  environment.Set("KVR_NOPATH", "off");
  ReadAndCheck("1");
  EXPECT_EQ(console.Take(), "'KVR_NOPATH=off'\n");
  environment.Unset("KVR_NOPATH");
  ReadAndCheck("1");
  EXPECT_EQ(console.Take(), "");
}

TEST_F(CheckOptionsTest, NoPathIsForIndexRunsOnly) {
  environment.Set("KVR_NOPATH", "ON");
  run.control.indexMode = false;
  ReadAndCheck("1");
  EXPECT_FALSE(run.options.discardPath);
}

}  // namespace
}  // namespace tavindex::test
