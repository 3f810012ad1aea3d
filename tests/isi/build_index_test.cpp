#include "isi/build_index.h"

#include <functional>

#include "common/console.h"
#include "isi/deleted_list.h"
#include "isi/error_lines.h"
#include "tree_test.h"

namespace tavindex::test {
namespace {

class BuildIndexTest : public TreeTest {
 protected:
  BuildIndexTest() {
    source = [](RunContext&) { return kOk; };
    run.isi.itemSource = [](RunContext& context) { return source(context); };
    run.options.buildLine.Assign("data -1-4");
  }
  Result Build() { return BuildIndex(run, 4, 16); }
  // Feeds keys as the sort and merge do.
  void UseKeys(std::uint32_t count) {
    source = [this, count](RunContext& context) {
      context.scan.recordCount = count;
      return InsertMany(count);
    };
  }
  std::uint32_t HeaderField(std::size_t offset) const {
    return LoadLe32(AsBytes(File()).data() + offset);
  }
  static inline std::function<Result(RunContext&)> source;
};

TEST_F(BuildIndexTest, WritesPlaceholdersBeforeTheSort) {
  std::string before;
  source = [&](RunContext&) {
    before = File();
    return -4;
  };
  EXPECT_EQ(Build(), -4);  // returned as it is
  EXPECT_EQ(before, std::string(2048, '\0'));
  EXPECT_EQ(console.Text(), "");
}

TEST_F(BuildIndexTest, WritesTheHeaderLast) {
  UseKeys(40);
  std::vector<off_t> offsets;
  calls.Replace<&SystemCalls::write>([&](int fd, const void* bytes, std::size_t count) {
    offsets.push_back(calls.Original().lseek(fd, 0, SEEK_CUR));
    return calls.Original().write(fd, bytes, count);
  });
  EXPECT_EQ(Build(), kOk);
  EXPECT_EQ(offsets, (std::vector<off_t>{0, 2048, 1024, 0}));
}

TEST_F(BuildIndexTest, WritesTheErrorLinesWhateverBecomesOfTheItems) {
  run.files.errorFd = OpenFile(scratch.Path("data.ERR").c_str(), O_RDWR | O_CREAT, 0600);
  source = [](RunContext& context) {
    EXPECT_TRUE(AddErrorLine(context, "line\r\n"));
    return kWorkReadFailed;
  };
  EXPECT_EQ(Build(), kWorkReadFailed);
  EXPECT_EQ(scratch.Read("data.ERR"), "line\r\n");
}

TEST_F(BuildIndexTest, ShowsTheLinesThatAreWaitingWhateverBecomesOfTheItems) {
  source = [](RunContext& context) {
    ShowLine(context, "line\n");
    return kWorkReadFailed;
  };
  EXPECT_EQ(Build(), kWorkReadFailed);
  EXPECT_EQ(console.Text(), "line\n");
}

TEST_F(BuildIndexTest, FailsWhenTheErrorLinesCannotBeWritten) {
  run.files.errorFd = OpenFile(scratch.Path("data.ERR").c_str(), O_RDWR | O_CREAT, 0600);
  source = [](RunContext& context) {
    EXPECT_TRUE(AddErrorLine(context, "line\r\n"));
    return kOk;
  };
  calls.Replace<&SystemCalls::write>([this](int fd, const void* bytes, std::size_t count) {
    errno = ENOSPC;
    return fd == run.files.errorFd ? -1 : calls.Original().write(fd, bytes, count);
  });
  EXPECT_EQ(Build(), kInsertFailed);
  EXPECT_EQ(run.files.workFile, run.files.errorFd);
  EXPECT_EQ(File(), std::string(2048, '\0'));
}

TEST_F(BuildIndexTest, BuildsATreeOfTwoLevels) {
  UseKeys(40);
  EXPECT_EQ(Build(), kOk);
  const std::string file = File();
  EXPECT_EQ(file.size(), 2048U + 2 * 512);
  EXPECT_EQ(file.substr(0, 6), "KISI\x03\xFC");
  EXPECT_EQ(HeaderField(20), 1024U);
  EXPECT_EQ(HeaderField(44), 40U);
  const Node root = NodeAt(1024);
  EXPECT_EQ(root.entries, (std::vector<Entry>{{310, 2048, 0, 10, KeyOf(31)}}));
  EXPECT_EQ(root.lastChild, 2560U);
  EXPECT_EQ(NodeAt(2560).entries.size(), 8U);
  EXPECT_EQ(console.Text(), "");
}

TEST_F(BuildIndexTest, BuildsALeafOfExactlyAllEntries) {
  UseKeys(31);
  EXPECT_EQ(Build(), kOk);
  EXPECT_EQ(File().size(), 2048U);
  EXPECT_EQ(NodeAt(1024).entries.size(), 31U);
  EXPECT_EQ(NodeAt(1024).lastChild, 0U);
}

TEST_F(BuildIndexTest, LeavesTheListFieldsEmptyWithoutDeletions) {
  UseKeys(1);
  EXPECT_EQ(Build(), kOk);
  EXPECT_EQ(HeaderField(16), 0xFFFFFFFFU);
  EXPECT_EQ(HeaderField(48), 0U);
  EXPECT_EQ(File().substr(1536, 512), std::string(512, '\0'));
}

TEST_F(BuildIndexTest, PlacesTheFirstNodeBehindTheFullListSectors) {
  source = [this](RunContext& context) {
    for (std::uint32_t i = 0; i < 127; ++i) {
      context.scan.nextLfa = i * 10;
      AddDeletedRecord(context);
      ++context.scan.deletedCount;
    }
    return InsertMany(40);
  };
  EXPECT_EQ(Build(), kOk);
  EXPECT_EQ(NodeAt(1024).entries[0].child, 2560U);
  EXPECT_EQ(HeaderField(16), 1536U);
  EXPECT_EQ(HeaderField(48), 127U);
  EXPECT_EQ(File().substr(2048 + 510, 2), "\xF9\xFD");
  EXPECT_EQ(File()[1536 + 508], 1);
}

TEST_F(BuildIndexTest, TakesTheRecordLengthOfTheCommandLineForAnEmptyFile) {
  run.data.recordLength = 0;
  run.options.declaredRecordLength = 81;
  run.data.eorLength = 1;
  EXPECT_EQ(Build(), kOk);
  EXPECT_EQ(File()[8], 80);
  EXPECT_EQ(HeaderField(44), 0U);
  EXPECT_EQ(NodeAt(1024).entries.size(), 0U);
}

TEST_F(BuildIndexTest, RefusesAnEmptyFileWithoutARecordLength) {
  run.data.recordLength = 0;
  EXPECT_EQ(Build(), -151);
  EXPECT_EQ(console.Text(), "\aNull file must have record length on command line\n");
  EXPECT_EQ(File().substr(0, 4), std::string(4, '\0'));
}

TEST_F(BuildIndexTest, AsksForARecordLengthOnlyWhenNoRecordWasRead) {
  run.data.recordLength = 0;
  source = [](RunContext& context) {
    context.scan.recordCount = 1;
    return kOk;
  };
  EXPECT_EQ(Build(), kOk);
  EXPECT_EQ(File().substr(8, 2), std::string(2, '\0'));
  EXPECT_EQ(console.Text(), "");
}

TEST_F(BuildIndexTest, TellsThatTheSectorsWereRefused) {
  calls.FailFrom<&SystemCalls::allocateZeroed>(1, ENOMEM);
  EXPECT_EQ(Build(), -9);
  EXPECT_EQ(console.Text(), "ISI buffer allocation failed.\n");
  EXPECT_EQ(File(), "");
}

class FailedWrite : public BuildIndexTest, public ::testing::WithParamInterface<int> {};

// The placeholder, the nodes, the root, the open list sector, the header.
TEST_P(FailedWrite, EndsTheBuild) {
  source = [this](RunContext& context) {
    context.scan.nextLfa = 0;
    AddDeletedRecord(context);
    return InsertMany(40);
  };
  calls.FailNth<&SystemCalls::write>(GetParam(), ENOSPC);
  EXPECT_EQ(Build(), -157);
  EXPECT_EQ(console.Text(), "\nUnable to write segment of index file. Errno=28\n");
  EXPECT_EQ(run.files.workFile, run.files.outputFd);
  EXPECT_EQ(calls.Count<&SystemCalls::write>(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(BuildIndex, FailedWrite, ::testing::Range(1, 6));

TEST_F(BuildIndexTest, TellsThatTheFileMayNotGrow) {
  UseKeys(40);
  calls.FailNth<&SystemCalls::write>(2, EFBIG);
  EXPECT_EQ(Build(), -157);
  EXPECT_EQ(console.Text(), "\nUnable to write segment of index file. Errno=27\n");
}

// ---- The closing lines ----

class ClosingLines : public BuildIndexTest {
 protected:
  std::string Lines() {
    EXPECT_EQ(Build(), kOk);
    return console.Text();
  }
};

TEST_F(ClosingLines, CountDuplicates) {
  source = [this](RunContext&) {
    for (std::uint64_t i = 0; i < 4; ++i) Insert(i, "same");
    return kOk;
  };
  EXPECT_EQ(Lines(), "Data file has 3 duplicate key entries.\n");
}

TEST_F(ClosingLines, DescribeVariableRecords) {
  run.data.variableLengthSeen = true;
  EXPECT_EQ(Lines(), "Data file has variable length records.\n");
}

TEST_F(ClosingLines, DescribeSpaceCompression) {
  run.data.tabsExpanded = true;
  EXPECT_EQ(Lines(), "Data file has space compression.\n");
}

TEST_F(ClosingLines, DescribeBoth) {
  run.data.variableLengthSeen = run.data.tabsExpanded = true;
  run.data.variableAfterDeleted = true;
  EXPECT_EQ(Lines(), "Data file has variable length records and space compression.\n");
}

TEST_F(ClosingLines, DescribeARunOfNulsOfOddLength) {
  run.data.variableLengthSeen = run.data.variableAfterDeleted = true;
  EXPECT_EQ(Lines(),
            "Data file record encountered with position invalid for fixed length records.\n");
}

TEST_F(ClosingLines, DescribeVariableRecordsAlsoBehindDeletedOnes) {
  run.data.variableLengthSeen = run.data.variableAfterDeleted = true;
  run.options.variableRecords = true;
  EXPECT_EQ(Lines(), "Data file has variable length records.\n");
}

TEST_F(ClosingLines, TellOfALongRecordBehindTheDescription) {
  run.data.variableLengthSeen = run.data.longRecordSeen = true;
  EXPECT_EQ(Lines(),
            "Data file has variable length records.\n"
            "Record longer than maximum record length was found.\n");
}

TEST_F(ClosingLines, TellOfNoLongRecordWithoutTheirDescription) {
  run.data.longRecordSeen = true;
  EXPECT_EQ(Lines(), "");
}

TEST_F(ClosingLines, TellThatTheLineWasTooLongToStore) {
  run.options.buildLine.Assign(std::string(528, 'l'));
  source = [this](RunContext&) {
    Insert(0, "same");
    return Insert(1, "same");
  };
  EXPECT_EQ(Lines(),
            "Command line too long to store in ISI header!\n"
            "Data file has 1 duplicate key entries.\n");
}

}  // namespace
}  // namespace tavindex::test
