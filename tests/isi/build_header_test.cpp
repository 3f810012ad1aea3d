#include "isi/build_header.h"

#include "tree_test.h"

namespace tavindex::test {
namespace {

class BuildHeaderTest : public TreeTest {
 protected:
  BuildHeaderTest() {
    run.data.eorFlags = 0x80;
    run.data.eorLength = 1;
    run.data.recordLength = 81;
    run.keys.keyLength = 7;
    run.isi.deletedListHead = 0xFFFFFFFF;
  }
  int Flags() { return BuildHeader(run).fileFlags; }
};

TEST_F(BuildHeaderTest, TakesLengthsAndCounts) {
  run.scan.nextLfa = 0x123456789;
  run.scan.recordCount = 0x900000005;
  run.scan.deletedCount = 3;
  run.isi.deletedListHead = 1536;
  const IsiHeader fields = BuildHeader(run);
  EXPECT_EQ(fields.recordLength, 80);
  EXPECT_EQ(fields.keyLength, 7);
  EXPECT_EQ(fields.dataEnd, 0x23456789U);
  EXPECT_EQ(fields.recordsIndexed, 5U);
  EXPECT_EQ(fields.deletedCount, 3U);
  EXPECT_EQ(fields.deletedListHead, 1536U);
  EXPECT_EQ(fields.rootNode, 1024U);
  EXPECT_EQ(fields.spinCounter, 0U);
  EXPECT_EQ(fields.addrFlags, 0);
}

TEST_F(BuildHeaderTest, LeavesTheMarksOutOfTheRecordLength) {
  run.data.eorLength = 2;
  EXPECT_EQ(BuildHeader(run).recordLength, 79);
  run.data.eorLength = 0;  // binary records whose mark is inside
  run.data.trailerLength = 2;
  EXPECT_EQ(BuildHeader(run).recordLength, 79);
  run.data.trailerLength = 0;
  EXPECT_EQ(BuildHeader(run).recordLength, 81);
}

TEST_F(BuildHeaderTest, TellsTheLongestRecordThatItsFieldCanTell) {
  run.data.recordLength = 65536;
  EXPECT_EQ(BuildHeader(run).recordLength, 65535);
  run.data.recordLength = 65537;  // of 8 columns for each TAB of a line
  EXPECT_EQ(BuildHeader(run).recordLength, 65535);
  run.data.recordLength = 72001;
  EXPECT_EQ(BuildHeader(run).recordLength, 65535);
}

TEST_F(BuildHeaderTest, NumbersRecordsAndSectorsInRecordNumberMode) {
  run.isi.recordNumberMode = true;
  run.scan.nextLfa = 81ULL * 60'000'000;
  const IsiHeader fields = BuildHeader(run);
  EXPECT_EQ(fields.dataEnd, 60'000'000U);
  EXPECT_EQ(fields.rootNode, 2U);
  EXPECT_EQ(fields.addrFlags, 0x01);
}

TEST_F(BuildHeaderTest, KeepsTheOsTypeBesideTheMode) {
  run.options.osType = 0x10;
  EXPECT_EQ(BuildHeader(run).addrFlags, 0x10);
  run.isi.recordNumberMode = true;
  EXPECT_EQ(BuildHeader(run).addrFlags, 0x11);
}

TEST_F(BuildHeaderTest, SetsTheFlagsOfEveryKindOfFile) {
  EXPECT_EQ(Flags(), 0x80);  // plain LF
  run.data.eorFlags = 0x40;
  EXPECT_EQ(Flags(), 0x40);  // CR LF
  run.data.eorFlags = 0xC0;
  EXPECT_EQ(Flags(), 0xC0);  // LF CR
}

TEST_F(BuildHeaderTest, SetsTheFlagsOfVariableRecords) {
  run.options.variableRecords = true;
  EXPECT_EQ(Flags(), 0xA2);
  run.options.spaceCompAllowed = true;
  EXPECT_EQ(Flags(), 0xAA);
}

TEST_F(BuildHeaderTest, SetsTheFlagsOfOptions) {
  run.options.rejectDups = true;
  EXPECT_EQ(Flags(), 0x84);
  run.options.rejectDups = false;
  run.options.writeAllAtEnd = true;
  EXPECT_EQ(Flags(), 0x81);
  run.options.writeAllAtEnd = false;
  run.data.eorFlags = 0;
  run.options.binaryPlain = true;
  EXPECT_EQ(Flags(), 0x10);
}

TEST_F(BuildHeaderTest, SetsTheLoneFlagOfIrregularRecords) {
  run.data.variableLengthSeen = true;
  EXPECT_EQ(Flags(), 0xA0);
  run.data.variableLengthSeen = false;
  run.data.tabsExpanded = true;
  EXPECT_EQ(Flags(), 0xA0);
}

TEST_F(BuildHeaderTest, TakesTheTablesInTheirOrder) {
  run.keys.conditionTable[0] = {3, 0x20, 'x'};
  run.keys.conditionTableCount = 1;
  run.keys.keyTable[0] = {20, 10};
  run.keys.keyTable[1] = {0, 5};
  run.keys.keyTableCount = 2;
  const IsiHeader fields = BuildHeader(run);
  EXPECT_EQ(fields.conditionTable[0].column, 3);
  EXPECT_EQ(fields.conditionTable[0].compareChar, 'x');
  EXPECT_EQ(fields.conditionTable[1].column, 0);
  EXPECT_EQ(fields.keyTable[0].start, 20);
  EXPECT_EQ(fields.keyTable[1].length, 5);
  EXPECT_EQ(fields.keyTable[31].length, 0);
}

TEST_F(BuildHeaderTest, StoresTheResolvedName) {
  run.files.dataFileName.Assign("/data/dir/NAMES.TXT");
  EXPECT_EQ(BuildHeader(run).dataFileName.View(), "/data/dir/NAMES.TXT");
}

TEST_F(BuildHeaderTest, StoresTheLastPartOfTheNameOnRequest) {
  run.options.discardPath = true;
  run.files.dataFileName.Assign("/data/dir/NAMES.TXT");
  EXPECT_EQ(BuildHeader(run).dataFileName.View(), "NAMES.TXT");
  run.files.dataFileName.Assign("NAMES.TXT");
  EXPECT_EQ(BuildHeader(run).dataFileName.View(), "NAMES.TXT");
}

TEST_F(BuildHeaderTest, DropsADriveLetter) {
  run.files.dataFileName.Assign("c:NAMES.TXT");
  EXPECT_EQ(BuildHeader(run).dataFileName.View(), "NAMES.TXT");
  run.files.dataFileName.Assign("1:NAMES.TXT");
  EXPECT_EQ(BuildHeader(run).dataFileName.View(), "1:NAMES.TXT");
  run.files.dataFileName.Assign("[:NAMES.TXT");  // behind the letters
  EXPECT_EQ(BuildHeader(run).dataFileName.View(), "[:NAMES.TXT");
}

TEST_F(BuildHeaderTest, StoresALineOf527Characters) {
  run.options.buildLine.Assign(std::string(527, 'l'));
  EXPECT_EQ(BuildHeader(run).commandLine.View(), std::string(527, 'l'));
}

TEST_F(BuildHeaderTest, StoresNoPartOfALongerLine) {
  run.options.buildLine.Assign(std::string(528, 'l'));
  EXPECT_EQ(BuildHeader(run).commandLine.View(), "");
}

}  // namespace
}  // namespace tavindex::test
