// Whole compactions of trees of every shape, into a new file and in place, against the image that
// the format gives, byte for byte.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "isi_layout.h"
#include "program_test.h"

namespace tavindex::test {
namespace {

std::string CountLine(const MadeTree& tree) {
  const bool dropped = (tree.plan.fileFlags & 0x2A) != 0;
  const std::size_t deleted = dropped ? 0 : tree.deleted.size();
  const bool purged = dropped && !tree.deleted.empty();
  return (purged ? "Deleted Data Record sectors purged from ISI!" : "") +
         std::to_string(tree.walk.size()) + " records, " + std::to_string(deleted) +
         " deleted entries\n";
}

class EveryTree : public ProgramTest, public ::testing::WithParamInterface<TreePlan> {
 protected:
  EveryTree() {
    WriteBytes("old.ISI", tree_.image);
    scratch.Write("data.TXT", "not looked at");
  }

  void ExpectImage(const std::string& name, const std::vector<std::byte>& expected) const {
    const Report report = CompareImages(ReadBytes(name), expected);
    EXPECT_TRUE(report.Ok()) << report.Text();
  }
  // The checker's own judgement, apart from the expected image.
  void ExpectSound(const std::string& name) const {
    IsiContents contents;
    const Report report = CheckStructure(ReadBytes(name), {.builderShape = true}, &contents);
    EXPECT_TRUE(report.Ok()) << report.Text();
    EXPECT_EQ(contents.entries, tree_.compacted);
    EXPECT_EQ(contents.order, tree_.plan.order);
    const bool dropped = (tree_.plan.fileFlags & 0x2A) != 0;
    EXPECT_EQ(contents.deleted, dropped ? std::vector<std::uint32_t>{} : tree_.deleted);
  }

  MadeTree tree_ = MakeTree(GetParam());
};

TEST_P(EveryTree, IsCompactedIntoANewFile) {
  const Outcome run = Run({"old,new", "-c"});
  EXPECT_EQ(run.code, kOk);
  EXPECT_EQ(run.text, "Compacting old.ISI into new.ISI\n" + CountLine(tree_));
  ExpectImage("new.ISI", ExpectedCompaction(tree_, "data,new -1-4"));
  ExpectSound("new.ISI");
  ExpectImage("old.ISI", tree_.image);
  EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT", "new.ISI", "old.ISI"}));
}

TEST_P(EveryTree, IsCompactedInPlace) {
  const Outcome run = Run({"old", "-c"});
  EXPECT_EQ(run.code, kOk);
  EXPECT_EQ(run.text, "Compacting old.ISI into old.ISI\n" + CountLine(tree_));
  ExpectImage("old.ISI", ExpectedCompaction(tree_, "data,old -1-4"));
  ExpectSound("old.ISI");
  EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT", "old.ISI"}));
}

// The second one finds a dense tree with its list in place, and turns the change counter back.
TEST_P(EveryTree, TwiceInPlaceGivesTheSameFileButForTheCounter) {
  ASSERT_EQ(Run({"old", "-c=1"}).code, kOk);
  std::vector<std::byte> once = ReadBytes("old.ISI");
  ASSERT_EQ(Run({"old", "-c=0"}).code, kOk);
  layout::Store32(once, layout::kSpinCounter, tree_.plan.spinCounter == 0 ? 0 : 1,
                  tree_.plan.order);
  ExpectImage("old.ISI", once);
}

INSTANTIATE_TEST_SUITE_P(Shapes, EveryTree, ::testing::ValuesIn(AllPlans()),
                         [](const auto& plan) { return plan.param.name; });

class Compaction : public ProgramTest {
 protected:
  Compaction() { scratch.Write("data.TXT", "not looked at"); }

  MadeTree Make(const TreePlan& plan) {
    MadeTree tree = MakeTree(plan);
    WriteBytes("old.ISI", tree.image);
    return tree;
  }
};

// Bytes that no field is known for belong to other programs; 36 to 39 are cleared, 24 to 27 set.
TEST_F(Compaction, CarriesTheRestOfTheHeaderOver) {
  MadeTree tree = Make({.entries = 40});
  for (const unsigned at : {28U, 31U, 36U, 39U, 40U, 43U, 52U, 63U, 104U, 111U, 24U}) {
    layout::Store8(tree.image, at, at);
  }
  layout::Store8(tree.image, layout::kFileFlags, 0x85);
  layout::Store8(tree.image, layout::kAddrFlags, 0x18);
  layout::Store32(tree.image, layout::kConditionTable, 0x41200003, ByteOrder::kLittle);
  WriteBytes("old.ISI", tree.image);
  for (const char* line : {"old,new", "old"}) {
    std::vector<std::byte> header = tree.image;
    ASSERT_EQ(Run({line, "-c"}).code, kOk);
    const bool copied = std::string(line) == "old,new";
    const std::vector<std::byte> out = ReadBytes(copied ? "new.ISI" : "old.ISI");
    layout::Store32(header, 24, 0xFFFFFFFF, ByteOrder::kLittle);
    layout::Store32(header, 32, 1, ByteOrder::kLittle);
    layout::Store32(header, 36, 0, ByteOrder::kLittle);
    EXPECT_EQ(TextOf(out).substr(0, 496), TextOf(header).substr(0, 496)) << line;
    EXPECT_STREQ(TextOf(out).substr(496, 528).c_str(), copied ? "data,new -1-4" : "data,old -1-4");
  }
}

// In place the command line is not written: not what stands behind its end, nor one without an end.
TEST_F(Compaction, InPlaceLeavesTheLineAlone) {
  MadeTree tree = Make({.entries = 3});
  for (unsigned at = 510; at < 1024; ++at) layout::Store8(tree.image, at, at % 7);
  WriteBytes("old.ISI", tree.image);
  ASSERT_EQ(Run({"old", "-c"}).code, kOk);
  EXPECT_EQ(scratch.Read("old.ISI").substr(496, 528), TextOf(tree.image).substr(496, 528));
  for (std::size_t at = 496; at < 1024; ++at) layout::Store8(tree.image, at, 'x');
  WriteBytes("old.ISI", tree.image);
  ASSERT_EQ(Run({"old", "-c"}).code, kOk);
  EXPECT_EQ(scratch.Read("old.ISI").substr(496, 528), std::string(528, 'x'));
}

// The list chain may hold sectors that are not full: they are copied as they are.
TEST_F(Compaction, KeepsListSectorsThatAreNotFull) {
  MadeTree tree = Make({.entries = 5, .deleted = 300});
  ASSERT_EQ(tree.listSectors.size(), 3U);
  const std::size_t middle = tree.listSectors[1] * layout::kSectorSize;
  layout::Store16(tree.image, middle + layout::kListCount, 7, ByteOrder::kLittle);
  WriteBytes("old.ISI", tree.image);
  for (const char* line : {"old,new", "old"}) {
    const Outcome run = Run({line, "-c"});
    EXPECT_EQ(run.code, kOk);
    EXPECT_NE(run.text.find("5 records, 181 deleted entries\n"), std::string::npos) << run.text;
    const auto out = ReadBytes(std::string(line) == "old" ? "old.ISI" : "new.ISI");
    EXPECT_EQ(layout::Load16(out, 1536 + 508, ByteOrder::kLittle), 48);
    EXPECT_EQ(layout::Load32(out, 1536 + 504, ByteOrder::kLittle), 2048U);
    EXPECT_EQ(layout::Load16(out, 2048 + 508, ByteOrder::kLittle), 7);
    EXPECT_EQ(layout::Load32(out, 2048 + 504, ByteOrder::kLittle), 2560U);
    EXPECT_EQ(layout::Load16(out, 2560 + 508, ByteOrder::kLittle), 126);
    EXPECT_EQ(layout::Load32(out, 2560 + 504, ByteOrder::kLittle), 0xFFFFFFFF);
    EXPECT_EQ(layout::Load32(out, layout::kDeletedCount, ByteOrder::kLittle), 181U);
  }
}

// A file that does not end on a sector border: what stands behind the last whole sector is
// nobody's.
TEST_F(Compaction, InPlaceOverAFileThatEndsInsideASector) {
  MadeTree tree = Make({.entries = 60, .deleted = 130, .freedSectors = 2});
  tree.image.insert(tree.image.end(), 100, std::byte{0x55});
  WriteBytes("old.ISI", tree.image);
  ASSERT_EQ(Run({"old", "-c"}).code, kOk);
  const Report report =
      CompareImages(ReadBytes("old.ISI"), ExpectedCompaction(tree, "data,old -1-4"));
  EXPECT_TRUE(report.Ok()) << report.Text();
}

// With room for few items the entries make many trains; in key order they join into one, but
// duplicates that stand in another order than their records do not.
TEST_F(Compaction, ManyTrainsGiveTheSameFile) {
  const MadeTree tree =
      Make({.shape = Shape::kUneven, .keyLength = 1, .entries = 3000, .deleted = 200});
  ASSERT_EQ(Run({"-m200", "old,new", "-c"}).code, kOk);
  ASSERT_EQ(Run({"-m2000", "old", "-c"}).code, kOk);
  for (const char* name : {"new", "old"}) {
    const Report report =
        CompareImages(ReadBytes(std::string(name) + ".ISI"),
                      ExpectedCompaction(tree, "data," + std::string(name) + " -1-4"));
    EXPECT_TRUE(report.Ok()) << name << "\n" << report.Text();
  }
}

// An area that is filled exactly when the tree ends leaves nothing for a last train.
TEST_F(Compaction, TreeThatFillsTheAreasExactly) {
  // 8 shares of 18 bytes: 7 places, of which the filling takes 6 and the marker one.
  const MadeTree tree = Make({.keyLength = 4, .entries = 12});
  const Outcome run = Run({"-m144", "old,new", "-c"});
  EXPECT_EQ(run.code, kOk);
  EXPECT_EQ(run.text,
            "Max memory set to 144.\nCompacting old.ISI into new.ISI\n\n"
            "12 records, 0 deleted entries\n");
  const Report report =
      CompareImages(ReadBytes("new.ISI"), ExpectedCompaction(tree, "data,new -1-4"));
  EXPECT_TRUE(report.Ok()) << report.Text();
}

TEST_F(Compaction, MemoryBelowThreeItems) {
  Make({.keyLength = 5, .entries = 3});
  const Outcome run = Run({"-m56", "old,new", "-c"});
  EXPECT_EQ(run.code, kNoMemory);
  EXPECT_TRUE(
      run.text.starts_with("Max memory set to 56.\nCompacting old.ISI into new.ISI\n"
                           "Memory allocation failed.\n"
                           "WARNING!  INDEX failed writing to file tmp/dsort"))
      << run.text;
  EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT", "old.ISI"}));
  EXPECT_EQ(Run({"-m57", "old,new", "-c"}).code, kOk);
}

TEST_F(Compaction, TooManyTrains) {
  const MadeTree tree =
      Make({.shape = Shape::kUneven, .keyLength = 1, .entries = 3000, .deleted = 2});
  for (const char* line : {"old,new", "old"}) {
    const Outcome run = Run({"-m200", "-t3", line, "-c"});
    EXPECT_EQ(run.code, kLimitExceeded);
    const std::size_t limit = run.text.find("\nToo many sort trains\n");
    ASSERT_NE(limit, std::string::npos) << run.text;
    EXPECT_NE(run.text.find("WARNING!  INDEX failed writing to file tmp/dsort", limit),
              std::string::npos);
    EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT", "old.ISI"}));
    EXPECT_EQ(TextOf(ReadBytes("old.ISI")), TextOf(tree.image));
  }
}

TEST_F(Compaction, AnOldOutputIsEmptiedFirst) {
  const MadeTree tree = Make({.entries = 3});
  scratch.Write("new.ISI", std::string(100000, 'x'));
  ASSERT_EQ(Run({"old,new", "-c"}).code, kOk);
  EXPECT_EQ(TextOf(ReadBytes("new.ISI")), TextOf(ExpectedCompaction(tree, "data,new -1-4")));
}

// Positions come from the stride, not from the entry's own length; 2^32 records of 65535 bytes are
// not reached by 32-bit arithmetic.
TEST_F(Compaction, RecordNumbersBeyondFourGiB) {
  MadeTree tree = Make({.recordNumbers = true, .entries = 2, .deleted = 1});
  const std::size_t root = layout::kHeaderSize;
  layout::Store32(tree.image, root, 0xFFFFFFF0, ByteOrder::kLittle);
  layout::Store32(tree.image, root + 16, 0xFFFFFFFF, ByteOrder::kLittle);
  layout::Store32(tree.image, layout::kDataEnd, 0xFFFFFFFF, ByteOrder::kLittle);
  WriteBytes("old.ISI", tree.image);
  ASSERT_EQ(Run({"old,new", "-c"}).code, kOk);
  const auto entries = PlainWalk(ReadBytes("new.ISI"));
  ASSERT_TRUE(entries.has_value());
  ASSERT_EQ(entries->size(), 2U);
  EXPECT_EQ((*entries)[0].lfa, 0xFFFFFFF0U);
  EXPECT_EQ((*entries)[1].lfa, 0xFFFFFFFFU);
}

// A line of 528 characters and more is not kept by a build: in place the header goes on without
// one, a copy has nothing to rewrite.
TEST_F(Compaction, WithoutAStoredLine) {
  const MadeTree tree = Make({.entries = 3, .commandLine = ""});
  EXPECT_EQ(Run({"old,new", "-c"}).code, kBadStoredLine);
  EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT", "old.ISI"}));
  ASSERT_EQ(Run({"old", "-c"}).code, kOk);
  EXPECT_EQ(TextOf(ReadBytes("old.ISI")), TextOf(ExpectedCompaction(tree, "")));
}

TEST_F(Compaction, DataFileAlongTheSearchPath) {
  scratch.MakeDirectory("dir");
  scratch.Write("dir/far.TXT", "x");
  Make({.entries = 3, .dataFileName = "far.TXT"});
  const Outcome missing = Run({"old,new", "-c"});
  EXPECT_EQ(missing.code, kLockingFailed);
  EXPECT_EQ(missing.text,
            "Compacting old.ISI into new.ISI\nUnable to open ISI data file: far.TXT\n"
            "Unable to execute ISI compact operation with locking!\n");
  environment.Set("KVR_PATH", "nowhere:dir");
  EXPECT_EQ(Run({"old,new", "-c"}).code, kOk);
}

// Names that lead to the input or to its data file are refused before anything is opened for
// writing.
TEST_F(Compaction, OutputThatIsTheInputOrItsDataFile) {
  const MadeTree tree = Make({.entries = 3});
  ASSERT_EQ(::link("old.ISI", "hard.ISI"), 0);
  ASSERT_EQ(::symlink("old.ISI", "soft.ISI"), 0);
  ASSERT_EQ(::link("data.TXT", "data.ISI"), 0);
  for (const char* line : {"old,hard", "old,soft", "old,data", "old,data.TXT"}) {
    const Outcome run = Run({line, "-c"});
    EXPECT_EQ(run.code, kOutputIsInput) << line;
    EXPECT_EQ(run.text, "The Output file name can not be same as Input name.\n");
    EXPECT_EQ(TextOf(ReadBytes("old.ISI")), TextOf(tree.image));
    EXPECT_EQ(scratch.Read("data.TXT"), "not looked at");
  }
}

// What cannot be looked at may be anything of the user's.
TEST_F(Compaction, OutputThatCannotBeLookedAt) {
  const MadeTree tree = Make({.entries = 3});
  ASSERT_EQ(::link("old.ISI", "hard.ISI"), 0);
  ASSERT_EQ(::link("data.TXT", "data.ISI"), 0);
  for (const char* names : {"old,hard", "old,data"}) {
    for (int n = 1; n <= 12; ++n) {
      const SystemCallsGuard guard;
      calls.FailNth<&SystemCalls::stat>(n, EIO);
      EXPECT_NE(Run({names, "-c"}).code, kOk);
      calls.FailNth<&SystemCalls::fstat>(n, EIO);
      EXPECT_NE(Run({names, "-c"}).code, kOk);
      EXPECT_EQ(TextOf(ReadBytes("old.ISI")), TextOf(tree.image)) << n;
      EXPECT_EQ(scratch.Read("data.TXT"), "not looked at") << n;
    }
  }
}

// What the run did to the disk, in its order: "write old.ISI", "sync old.ISI.bak", "sync .", ...
class DiskLog {
 public:
  explicit DiskLog(SystemCallsGuard& calls) {
    const SystemCalls original = calls.Original();
    calls.Replace<&SystemCalls::write>([=, this](int fd, const void* bytes, std::size_t count) {
      Add("write ", fd);
      return original.write(fd, bytes, count);
    });
    calls.Replace<&SystemCalls::ftruncate>([=, this](int fd, off_t size) {
      Add("cut ", fd);
      return original.ftruncate(fd, size);
    });
    calls.Replace<&SystemCalls::fsync>([=, this](int fd) {
      Add("sync ", fd);
      return original.fsync(fd);
    });
    calls.Replace<&SystemCalls::unlink>([=, this](const char* path) {
      steps_.push_back(std::string("remove ") + path);
      return original.unlink(path);
    });
  }

  std::ptrdiff_t First(const std::string& step) const {
    return std::find(steps_.begin(), steps_.end(), step) - steps_.begin();
  }
  std::ptrdiff_t Last(const std::string& step) const {
    return steps_.rend() - std::find(steps_.rbegin(), steps_.rend(), step) - 1;
  }
  bool Has(const std::string& step) const { return First(step) < std::ssize(steps_); }

 private:
  void Add(const char* call, int fd) {
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    const std::filesystem::path path = std::filesystem::read_symlink(link);
    steps_.push_back(call + (std::filesystem::is_directory(path) ? "." : path.filename().string()));
  }

  std::vector<std::string> steps_;
};

TEST_F(Compaction, BackupIsOnDiskBeforeTheIsiChanges) {
  Make({.entries = 100, .deleted = 130});
  const DiskLog log(calls);
  ASSERT_EQ(Run({"old", "-c"}).code, kOk);
  ASSERT_TRUE(log.Has("sync old.ISI.bak") && log.Has("sync ."));
  EXPECT_LT(log.Last("write old.ISI.bak"), log.First("sync old.ISI.bak"));
  for (const char* change : {"write old.ISI", "cut old.ISI"}) {
    ASSERT_TRUE(log.Has(change));
    EXPECT_LT(log.First("sync old.ISI.bak"), log.First(change)) << change;
    EXPECT_LT(log.First("sync ."), log.First(change)) << change;
  }
}

TEST_F(Compaction, IsiIsOnDiskBeforeTheBackupGoes) {
  Make({.entries = 100, .deleted = 130});
  const DiskLog log(calls);
  ASSERT_EQ(Run({"old", "-c"}).code, kOk);
  ASSERT_TRUE(log.Has("sync old.ISI"));
  EXPECT_LT(log.Last("write old.ISI"), log.Last("sync old.ISI"));
  EXPECT_LT(log.Last("cut old.ISI"), log.Last("sync old.ISI"));
  EXPECT_LT(log.Last("sync old.ISI"), log.First("remove old.ISI.bak"));
}

TEST_F(Compaction, RestoredIsiIsOnDiskBeforeTheBackupGoes) {
  Make({.entries = 100, .deleted = 130});
  const DiskLog log(calls);
  // The merge finds no memory when the ISI has been begun.
  const auto allocate = calls.Original().allocate;
  calls.Replace<&SystemCalls::allocate>(
      [&](std::size_t size) -> void* { return log.Has("cut old.ISI") ? nullptr : allocate(size); });
  ASSERT_EQ(Run({"old", "-c"}).code, kIsiWriteFailed);
  EXPECT_LT(log.Last("write old.ISI"), log.Last("sync old.ISI"));
  EXPECT_LT(log.Last("sync old.ISI"), log.First("remove old.ISI.bak"));
}

// Not only by closing the data file, which other systems tell of later.
TEST_F(Compaction, GivesTheRangeLockBack) {
  Make({.entries = 20});
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"old,new", "-c"}, std::vector<std::string>{"old", "-c"}}) {
    std::vector<int> requests;
    calls.Replace<&SystemCalls::lock>([&](int fd, int command, struct flock* request) {
      requests.push_back(request->l_type);
      return calls.Original().lock(fd, command, request);
    });
    ASSERT_EQ(Run(arguments).code, kOk);
    ASSERT_GE(requests.size(), 2U);
    EXPECT_NE(requests[requests.size() - 2], F_UNLCK);
    EXPECT_EQ(requests.back(), F_UNLCK);
  }
}

TEST_F(Compaction, LeavesNoDescriptorOpen) {
  Make({.entries = 50, .deleted = 200});
  const std::size_t before = OpenDescriptors();
  EXPECT_EQ(Run({"old,new", "-c"}).code, kOk);
  EXPECT_EQ(Run({"old", "-c"}).code, kOk);
  EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
}  // namespace tavindex::test
