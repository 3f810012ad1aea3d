#include "isi/tree_builder.h"

#include <unistd.h>

#include "common/buffered_write.h"
#include "common/console.h"
#include "isi/error_lines.h"
#include "tree_test.h"

namespace tavindex::test {
namespace {

using Entries = std::vector<Entry>;

class TreeBuilderTest : public TreeTest {};

// ---- StartTree ----

TEST_F(TreeBuilderTest, StartTreeFillsNodesToTheFillPercentage) {
  struct Case {
    std::uint32_t keyLength, percent, entries;
  };
  for (const Case& c : {Case{1, 100, 31}, Case{4, 100, 31}, Case{4, 50, 15}, Case{4, 99, 30},
                        Case{4, 1, 0}, Case{4, 0, 0}, Case{4, 4, 1}, Case{150, 100, 3},
                        Case{150, 34, 1}, Case{150, 33, 0}, Case{5, 100, 25}}) {
    run.options.fillPercent = c.percent;
    EXPECT_EQ(Start(c.keyLength), kOk);
    EXPECT_EQ(run.isi.maxEntries, c.entries)
        << c.keyLength << " bytes, " << c.percent << " percent";
  }
}

TEST_F(TreeBuilderTest, StartTreeClearsTheSectorsAndNumbersTheLevels) {
  EXPECT_EQ(Start(4), kOk);
  for (std::uint32_t level = 0; level < 16; ++level) {
    std::string expected(512, '\0');
    expected[506] = static_cast<char>(level);
    EXPECT_EQ(AsText({LevelNode(run, level), 512}), expected) << "level " << level;
  }
  EXPECT_EQ(AsText({LevelNode(run, 16), 512}), std::string(512, '\0'));
  EXPECT_EQ(run.isi.deletedListHead, 0xFFFFFFFFU);
  EXPECT_EQ(run.isi.nextNodeAddr, 1536U);
}

TEST_F(TreeBuilderTest, StartTreeCountsSectorsInRecordNumberMode) {
  run.isi.recordNumberMode = true;
  EXPECT_EQ(Start(4), kOk);
  EXPECT_EQ(run.isi.nextNodeAddr, 3U);
}

TEST_F(TreeBuilderTest, StartTreeTellsThatTheSectorsWereRefused) {
  calls.FailFrom<&SystemCalls::allocateZeroed>(1, ENOMEM);
  EXPECT_EQ(StartTree(run, 4, 16), -9);
  EXPECT_EQ(console.Text(), "ISI buffer allocation failed.\n");
}

// ---- InsertKey ----

TEST_F(TreeBuilderTest, InsertKeyAppendsToTheLeaf) {
  Start(4);
  EXPECT_EQ(Insert(0x12345678, "aaaa", 77), kOk);
  EXPECT_EQ(Insert(3, "bbbb", 78), kOk);
  EXPECT_EQ(OpenNode(0).entries, (Entries{{0x12345678, 0, 0, 77, "aaaa"}, {3, 0, 0, 78, "bbbb"}}));
}

TEST_F(TreeBuilderTest, InsertKeyStoresEveryFieldBigEndianToo) {
  run.isi.byteOrder = ByteOrder::kBig;
  Start(2);
  EXPECT_EQ(Insert(0x12345678, "aa", 0x0102), kOk);
  EXPECT_EQ(Insert(0x12345679, "aa", 0x0102), kOk);
  EXPECT_EQ(AsText({LevelNode(run, 0), 14}), std::string("\x12\x34\x56\x78\0\0\0\0\0\0\x01\x02"
                                                         "aa",
                                                         14));
  EXPECT_EQ(OpenNode(0).entries[1].dupSeq, 1U);
}

TEST_F(TreeBuilderTest, InsertKeyNumbersDuplicates) {
  Start(4);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Insert(static_cast<std::uint64_t>(i), "kkkk"), kOk);
  EXPECT_EQ(Insert(3, "llll"), kOk);
  EXPECT_EQ(Insert(4, "llll"), kOk);
  EXPECT_EQ(OpenNode(0).entries, (Entries{{0, 0, 0, 10, "kkkk"},
                                          {1, 0, 1, 10, "kkkk"},
                                          {2, 0, 2, 10, "kkkk"},
                                          {3, 0, 0, 10, "llll"},
                                          {4, 0, 1, 10, "llll"}}));
  EXPECT_EQ(run.isi.dupCount, 3U);
  EXPECT_EQ(run.isi.ignoredDupCount, 0U);
  EXPECT_EQ(console.Text(), "");
}

TEST_F(TreeBuilderTest, InsertKeyNeverTakesTheFirstKeyForADuplicate) {
  for (const std::string& key :
       {std::string(4, '\0'), std::string(4, '\xFF'), std::string(4, ' ')}) {
    Start(4);
    EXPECT_EQ(Insert(0, key), kOk);
    EXPECT_EQ(OpenNode(0).entries[0].dupSeq, 0U);
  }
  EXPECT_EQ(run.isi.dupCount, 0U);
}

TEST_F(TreeBuilderTest, InsertKeyComparesTheWholeKey) {
  Start(4);
  EXPECT_EQ(Insert(0, std::string("k\0aa", 4)), kOk);
  EXPECT_EQ(Insert(1, std::string("k\0ab", 4)), kOk);
  EXPECT_EQ(run.isi.dupCount, 0U);
}

TEST_F(TreeBuilderTest, InsertKeyDropsIgnoredDuplicates) {
  run.options.rejectDups = run.options.ignoreDups = run.options.quietDups = true;
  Start(4);
  EXPECT_EQ(Insert(0, "kkkk"), kOk);
  EXPECT_EQ(Insert(1, "kkkk"), kOk);
  EXPECT_EQ(Insert(2, "kkkk"), kOk);
  EXPECT_EQ(OpenNode(0).entries.size(), 1U);
  EXPECT_EQ(run.isi.ignoredDupCount, 2U);
  EXPECT_EQ(run.isi.dupCount, 0U);
  EXPECT_EQ(console.Text(), "");
}

TEST_F(TreeBuilderTest, InsertKeyDropsIgnoredDuplicatesOfAFullLeaf) {
  run.options.rejectDups = run.options.ignoreDups = true;
  Start(4);
  ASSERT_EQ(InsertMany(31), kOk);
  EXPECT_EQ(Insert(0xABC, KeyOf(30)), kOk);
  EXPECT_EQ(run.isi.ignoredDupCount, 1U);
  EXPECT_EQ(run.isi.topLevel, 0U);
  FlushLines(run);
  EXPECT_EQ(console.Text(), "Duplicate Key ignored at:             ABC Key: \n");
}

TEST_F(TreeBuilderTest, InsertKeyNumbersADuplicateThatMovesUp) {
  Start(4);
  ASSERT_EQ(InsertMany(31), kOk);
  EXPECT_EQ(Insert(310, KeyOf(30)), kOk);
  EXPECT_EQ(OpenNode(1).entries, (Entries{{310, 2048, 1, 10, KeyOf(30)}}));
  EXPECT_EQ(Insert(320, KeyOf(30)), kOk);
  EXPECT_EQ(OpenNode(0).entries, (Entries{{320, 0, 2, 10, KeyOf(30)}}));
}

TEST_F(TreeBuilderTest, InsertKeyWritesAFullLeafAndMovesTheKeyUp) {
  Start(4);
  ASSERT_EQ(InsertMany(33), kOk);
  ASSERT_TRUE(FlushWrite(run, run.files.outputFd));
  const Node leaf = NodeAt(2048);
  ASSERT_EQ(leaf.entries.size(), 31U);
  for (std::uint32_t i = 0; i < 31; ++i) {
    EXPECT_EQ(leaf.entries[i], (Entry{i * 10, 0, 0, 10, KeyOf(i)}));
  }
  EXPECT_EQ(leaf.level, 0U);
  EXPECT_EQ(leaf.lastChild, 0U);
  EXPECT_EQ(OpenNode(1).entries, (Entries{{310, 2048, 0, 10, KeyOf(31)}}));
  EXPECT_EQ(OpenNode(0).entries, (Entries{{320, 0, 0, 10, KeyOf(32)}}));
  EXPECT_EQ(run.isi.topLevel, 1U);
}

TEST_F(TreeBuilderTest, InsertKeyWritesAFullParentWithTheLeafBehindItsLastEntry) {
  run.options.fillPercent = 7;  // 2 entries a node
  Start(4);
  ASSERT_EQ(run.isi.maxEntries, 2U);
  ASSERT_EQ(InsertMany(9), kOk);
  ASSERT_TRUE(FlushWrite(run, run.files.outputFd));
  // Leaves 0-1, 3-4, 6-7; their parent holds 2 and 5; 8 separates at level 2.
  EXPECT_EQ(NodeAt(2048).entries.size(), 2U);
  EXPECT_EQ(NodeAt(2560).entries[0].key, KeyOf(3));
  EXPECT_EQ(NodeAt(3072).entries[1].key, KeyOf(7));
  const Node parent = NodeAt(3584);
  EXPECT_EQ(parent.entries, (Entries{{20, 2048, 0, 10, KeyOf(2)}, {50, 2560, 0, 10, KeyOf(5)}}));
  EXPECT_EQ(parent.level, 1U);
  EXPECT_EQ(parent.lastChild, 3072U);
  EXPECT_EQ(OpenNode(2).entries, (Entries{{80, 3584, 0, 10, KeyOf(8)}}));
}

TEST_F(TreeBuilderTest, InsertKeyKeepsTheLowHalfOfAPosition) {
  Start(4);
  EXPECT_EQ(Insert(0x5FFFFFFF0, "aaaa"), kOk);
  ASSERT_EQ(OpenNode(0).entries.size(), 1U);
  EXPECT_EQ(OpenNode(0).entries[0].lfa, 0xFFFFFFF0U);
  EXPECT_TRUE(run.data.longRecordSeen);
}

TEST_F(TreeBuilderTest, InsertKeyStoresRecordNumbers) {
  run.isi.recordNumberMode = true;
  Start(4);
  EXPECT_EQ(Insert(30, "aaaa"), kOk);
  EXPECT_EQ(Insert(42'949'672'950, "bbbb"), kOk);
  EXPECT_EQ(OpenNode(0).entries[0].lfa, 3U);
  EXPECT_EQ(OpenNode(0).entries[1].lfa, 4294967295U);
  EXPECT_FALSE(run.data.longRecordSeen);
}

TEST_F(TreeBuilderTest, InsertKeyTakesAPositionBetweenRecordsForALongRecord) {
  run.isi.recordNumberMode = true;
  Start(4);
  EXPECT_EQ(Insert(35, "aaaa"), kOk);
  EXPECT_TRUE(run.data.longRecordSeen);
}

TEST_F(TreeBuilderTest, InsertKeyAddressesNodesBySectorInRecordNumberMode) {
  run.isi.recordNumberMode = true;
  Start(4);
  ASSERT_EQ(InsertMany(64), kOk);
  ASSERT_TRUE(FlushWrite(run, run.files.outputFd));
  EXPECT_EQ(OpenNode(1).entries, (Entries{{31, 4, 0, 10, KeyOf(31)}, {63, 5, 0, 10, KeyOf(63)}}));
  EXPECT_EQ(NodeAt(5 * 512).entries[0].key, KeyOf(32));
}

// ---- The limit of levels ----

TEST_F(TreeBuilderTest, InsertKeyClimbsAllLevelsWhenANodeHoldsNothing) {
  run.options.fillPercent = 0;
  run.files.errorFd = OpenFile(scratch.Path("data.ERR").c_str(), O_RDWR | O_CREAT, 0600);
  Start(4);
  EXPECT_EQ(Insert(0, "aaaa"), -13);
  ASSERT_TRUE(FlushErrorLines(run));
  EXPECT_EQ(scratch.Read("data.ERR"),
            "\nError! Tree level limit (16) can only support 0 records for this ISI file! \r\n");
  EXPECT_EQ(console.Text(), "");
  ASSERT_TRUE(FlushWrite(run, run.files.outputFd));
  EXPECT_EQ(File().size(), 2048U + 16 * 512);
}

TEST_F(TreeBuilderTest, InsertKeyReachesTheLimitBehindTheLastKey) {
  run.options.fillPercent = 4;  // 1 entry a node: 2^16 - 1 keys
  run.files.errorFd = OpenFile(scratch.Path("data.ERR").c_str(), O_RDWR | O_CREAT, 0600);
  Start(4);
  ASSERT_EQ(run.isi.maxEntries, 1U);
  EXPECT_EQ(InsertMany(65535), kOk);
  EXPECT_EQ(run.isi.topLevel, 15U);
  EXPECT_EQ(Insert(655350, KeyOf(65535)), -13);
  ASSERT_TRUE(FlushErrorLines(run));
  EXPECT_EQ(
      scratch.Read("data.ERR"),
      "\nError! Tree level limit (16) can only support 65535 records for this ISI file! \r\n");
}

TEST_F(TreeBuilderTest, TreeCapacityIsThe16thPowerModulo2To64) {
  // (m + 1)^16 - 1.
  const std::pair<std::uint32_t, std::uint64_t> capacities[] = {{0, 0},
                                                                {1, 65535},
                                                                {2, 43046720},
                                                                {3, 4294967295},
                                                                {9, 9999999999999999},
                                                                {15, 18446744073709551615U},
                                                                {20, 10169396566349853888U},
                                                                {30, 12662688596514954752U},
                                                                {31, 18446744073709551615U}};
  for (const auto& [entries, capacity] : capacities) {
    run.isi.maxEntries = entries;
    EXPECT_EQ(TreeCapacity(run), capacity) << entries << " entries";
  }
}

// ---- WriteLevelNode ----

TEST_F(TreeBuilderTest, WriteLevelNodeGivesTheAddressAndEmptiesTheNode) {
  Start(4);
  Insert(0, "aaaa");
  std::uint32_t address = 0;
  EXPECT_EQ(WriteLevelNode(run, address), kOk);
  EXPECT_EQ(address, 2048U);
  EXPECT_EQ(OpenNode(0).entries.size(), 0U);
  EXPECT_EQ(WriteLevelNode(run, address), kOk);
  EXPECT_EQ(address, 2560U);
  ASSERT_TRUE(FlushWrite(run, run.files.outputFd));
  EXPECT_EQ(NodeAt(2048).entries, (Entries{{0, 0, 0, 10, "aaaa"}}));
}

TEST_F(TreeBuilderTest, WriteLevelNodeTellsThatTheWriteFailed) {
  Start(4);
  run.writer.used = kIoBufferSize - 512;  // the next node fills the buffer
  calls.FailFrom<&SystemCalls::write>(1, ENOSPC);
  std::uint32_t address = 7;
  EXPECT_EQ(WriteLevelNode(run, address), -2);
  EXPECT_EQ(console.Text(), "\nUnable to write segment of index file. Errno=28\n");
  EXPECT_EQ(run.files.workFile, run.files.outputFd);
}

TEST_F(TreeBuilderTest, WriteLevelNodeRefusesAnAddressPast32Bits) {
  Start(4);
  run.isi.nextNodeAddr = 0xFFFFFE00;
  std::uint32_t address = 0;
  EXPECT_EQ(WriteLevelNode(run, address), -2);
  EXPECT_EQ(console.Text(), "\nUnable to write segment of index file. Errno=27\n");
}

TEST_F(TreeBuilderTest, WriteLevelNodeTakesTheLastAddressOf32Bits) {
  Start(4);
  run.isi.nextNodeAddr = 0xFFFFFC00;
  std::uint32_t address = 0;
  EXPECT_EQ(WriteLevelNode(run, address), kOk);
  EXPECT_EQ(address, 0xFFFFFE00U);
}

TEST_F(TreeBuilderTest, InsertKeyPassesOnTheFailedWrite) {
  Start(4);
  ASSERT_EQ(InsertMany(31), kOk);
  run.writer.used = kIoBufferSize - 512;
  calls.FailFrom<&SystemCalls::write>(1, EFBIG);
  EXPECT_EQ(Insert(310, KeyOf(31)), -2);
  EXPECT_EQ(console.Text(), "\nUnable to write segment of index file. Errno=27\n");
}

// ---- FinishTree ----

TEST_F(TreeBuilderTest, FinishTreeWritesTheOnlyLeafAsTheRoot) {
  Start(4);
  ASSERT_EQ(InsertMany(31), kOk);
  EXPECT_EQ(FinishTree(run), kOk);
  EXPECT_EQ(File().size(), 2048U);
  const Node root = NodeAt(1024);
  EXPECT_EQ(root.entries.size(), 31U);
  EXPECT_EQ(root.level, 0U);
  EXPECT_EQ(root.lastChild, 0U);
  EXPECT_EQ(::lseek(run.files.outputFd, 0, SEEK_CUR), 1536);
}

TEST_F(TreeBuilderTest, FinishTreeWritesAnEmptyRoot) {
  Start(4);
  EXPECT_EQ(FinishTree(run), kOk);
  EXPECT_EQ(NodeAt(1024).entries.size(), 0U);
  EXPECT_EQ(NodeAt(1024).lastChild, 0U);
}

TEST_F(TreeBuilderTest, FinishTreeWritesOpenLevelsFromTheLeafUp) {
  run.options.fillPercent = 7;  // 2 entries a node
  Start(4);
  ASSERT_EQ(InsertMany(13), kOk);  // 8 at level 2; 11 at level 1; 9-10 written, 12 open
  EXPECT_EQ(FinishTree(run), kOk);
  const Node root = NodeAt(1024);
  EXPECT_EQ(root.level, 2U);
  EXPECT_EQ(root.entries, (Entries{{80, 3584, 0, 10, KeyOf(8)}}));
  EXPECT_EQ(NodeAt(4096).entries[0].key, KeyOf(9));
  EXPECT_EQ(NodeAt(4608).entries, (Entries{{120, 0, 0, 10, KeyOf(12)}}));
  EXPECT_EQ(NodeAt(5120).entries, (Entries{{110, 4096, 0, 10, KeyOf(11)}}));
  EXPECT_EQ(NodeAt(5120).lastChild, 4608U);
  EXPECT_EQ(root.lastChild, 5120U);
}

TEST_F(TreeBuilderTest, FinishTreeSkipsLevelsWithoutEntries) {
  run.options.fillPercent = 7;
  Start(4);
  ASSERT_EQ(InsertMany(9), kOk);  // 8 has just moved up to level 2: nothing open below
  EXPECT_EQ(FinishTree(run), kOk);
  EXPECT_EQ(File().size(), 4096U);
  EXPECT_EQ(NodeAt(1024).entries, (Entries{{80, 3584, 0, 10, KeyOf(8)}}));
  EXPECT_EQ(NodeAt(1024).lastChild, 0U);
}

TEST_F(TreeBuilderTest, FinishTreeTellsThatAWriteFailed) {
  for (const int failing : {1, 2}) {  // the flush of the nodes, the root
    console.Take();
    run.writer.used = 0;
    systemCalls = calls.Original();
    Start(4);
    ASSERT_EQ(InsertMany(40), kOk);
    calls.FailNth<&SystemCalls::write>(failing, ENOSPC);
    EXPECT_EQ(FinishTree(run), -157) << "write " << failing;
    EXPECT_EQ(console.Take(), "\nUnable to write segment of index file. Errno=28\n");
    EXPECT_EQ(run.files.workFile, run.files.outputFd);
  }
}

TEST_F(TreeBuilderTest, FinishTreeTellsThatAnOpenNodeHasNoAddress) {
  Start(4);
  ASSERT_EQ(InsertMany(40), kOk);
  run.isi.nextNodeAddr = 0xFFFFFE00;
  EXPECT_EQ(FinishTree(run), -157);
  EXPECT_EQ(console.Text(), "\nUnable to write segment of index file. Errno=27\n");
}

TEST_F(TreeBuilderTest, AddressesAreBytesOrSectors) {
  EXPECT_EQ(AddressOf(run, 1024), 1024U);
  EXPECT_EQ(AddressStep(run), 512U);
  run.isi.recordNumberMode = true;
  EXPECT_EQ(AddressOf(run, 1024), 2U);
  EXPECT_EQ(AddressStep(run), 1U);
}

}  // namespace
}  // namespace tavindex::test
