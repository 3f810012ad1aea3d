// The machine stops behind every change that a run makes to its files, and the disk has kept of the
// changes what it likes (disk_model.h). A compaction in place never loses the old content: it is
// whole in the ISI or in its backup, or the new ISI is whole. A build and a compaction into a new
// file leave no index that passes for whole without being so. And the next run works.

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "disk_model.h"
#include "isi_layout.h"
#include "program_test.h"
#include "sample_runs.h"
#include "support/child_process.h"

namespace tavindex::test {
namespace {

using Arguments = std::vector<std::string>;

constexpr const char* kIsi = "old.ISI";
constexpr const char* kBackup = "old.ISI.bak";

bool Sound(const std::string& isi) { return CheckStructure(BytesOf(isi)).Ok(); }

// The content of a file that may be missing.
std::string ContentOf(const FilesOnDisk& files, const std::string& name) {
  const auto file = files.find(name);
  return file == files.end() ? "" : file->second;
}

// A compaction turns the change counter from 0 to 1 and from anything else to 0.
std::string WithCounter(const std::string& isi, std::uint32_t value) {
  std::vector<std::byte> bytes = BytesOf(isi);
  layout::Store32(bytes, layout::kSpinCounter, value, ByteOrder::kLittle);
  return TextOf(bytes);
}

class Crash : public ProgramTest {
 protected:
  using Judge = std::function<void(const FilesOnDisk& found)>;

  void Start(const std::string& isi, const std::string& data) {
    start_ = {{kIsi, isi}, {"data.TXT", data}};
  }

  // Runs from the start to the end; `gate` may make calls fail.
  std::vector<DiskChange> Record(const Arguments& arguments, Result expected,
                                 DiskRecorder::Gate gate = {}) {
    PutFiles(start_);
    SystemCallsGuard guard;
    const DiskRecorder recorder(start_, guard, std::move(gate));
    const Outcome run = Run(arguments);
    EXPECT_EQ(run.code, expected) << run.text;
    return recorder.Changes();
  }

  // A run that nothing disturbs. It leaves no file but those that were there, and `made`.
  Outcome RunAgain(const Arguments& arguments, const std::string& made = kIsi) {
    FilesOnDisk before = ReadFiles();
    const Outcome run = Run(arguments);
    before[made];
    for (const auto& [name, content] : ReadFiles()) EXPECT_TRUE(before.contains(name)) << name;
    return run;
  }

  FilesOnDisk start_;
};

// ---- Every state that the model allows ---------------------------------------------------------

// The parameter is how many torn states are drawn behind each change.
class CrashSweep : public Crash, public ::testing::WithParamInterface<unsigned> {
 protected:
  CrashSweep() {
    systemCalls.fsync = [](int) { return 0; };
  }

  // Calls `visit` with how many changes were made and what the disk may then have of them.
  template <typename Visit>
  void ForEveryState(const std::vector<DiskChange>& changes, Visit visit) const {
    std::mt19937 random(1);
    Disk disk(start_);
    for (std::size_t made = 0; made <= changes.size(); ++made) {
      for (const FilesOnDisk& found : StatesOf(disk, random)) visit(made, found);
      if (made < changes.size()) disk.Apply(changes[made]);
    }
  }

  // Each state is judged once, however many ways lead to it.
  void Sweep(const std::vector<DiskChange>& changes, const Judge& judge) {
    std::set<FilesOnDisk> judged;
    std::size_t points = 0;
    ForEveryState(changes, [&](std::size_t made, const FilesOnDisk& found) {
      ++points;
      if (HasFailure() || !judged.insert(found).second) return;
      SCOPED_TRACE("behind change " + std::to_string(made) + ", point " + std::to_string(points));
      PutFiles(found);
      judge(found);
    });
    std::printf("%zu crash points behind %zu changes, %zu of them different\n", points,
                changes.size(), judged.size());
  }

 private:
  static std::vector<FilesOnDisk> StatesOf(const Disk& disk, std::mt19937& random) {
    std::vector<FilesOnDisk> states = {disk.EverythingKept(), disk.NothingKept(), disk.NamesKept(),
                                       disk.ContentsKept()};
    for (unsigned i = 0; i < GetParam(); ++i) states.push_back(disk.Torn(random));
    return states;
  }
};

// ---- Compactions in place ----------------------------------------------------------------------

class CrashInPlace : public CrashSweep {
 protected:
  void Use(const MadeTree& tree) {
    old_ = TextOf(tree.image);
    new_ = TextOf(ExpectedCompaction(tree, tree.plan.commandLine));
    Start(old_, "not looked at");
  }

  void SweepInPlace(const Arguments& arguments, const std::vector<DiskChange>& changes) {
    Sweep(changes, [&](const FilesOnDisk& found) {
      ExpectNothingLost(found);
      ExpectRefusedBesideABackup(found, arguments);
      ExpectNextRunWorks(found, arguments);
    });
  }

  // States in which the content is nowhere whole.
  std::size_t Losses(const std::vector<DiskChange>& changes) const {
    std::size_t losses = 0;
    ForEveryState(changes, [&](std::size_t, const FilesOnDisk& found) {
      if (!IsWholeSomewhere(found)) ++losses;
    });
    return losses;
  }
  bool IsWholeSomewhere(const FilesOnDisk& found) const {
    const std::string isi = ContentOf(found, kIsi);
    return HoldsOld(isi) || ContentOf(found, kBackup) == old_ || isi == new_;
  }
  // An ISI that was copied back may keep a tail behind the old content.
  bool HoldsOld(const std::string& isi) const { return isi.starts_with(old_); }

  void ExpectNothingLost(const FilesOnDisk& found) const {
    const std::string isi = ContentOf(found, kIsi);
    EXPECT_TRUE(IsWholeSomewhere(found));
    // Nothing happens to the ISI while its backup is not whole.
    const bool partial = found.contains(kBackup) && ContentOf(found, kBackup) != old_;
    EXPECT_TRUE(!partial || isi == old_);
    EXPECT_EQ(ContentOf(found, "data.TXT"), "not looked at");
  }

  // Whatever stands under the backup's name may be the only good copy.
  void ExpectRefusedBesideABackup(const FilesOnDisk& found, const Arguments& arguments) {
    if (!found.contains(kBackup)) return;
    const Outcome run = Run(arguments);
    EXPECT_NE(run.code, kOk) << run.text;
    EXPECT_EQ(ReadFiles(), found);
  }

  // What the user does: an ISI that was touched since its backup was made is replaced by it. One
  // that was not needs no backup, and has perhaps none that is finished.
  void SettleBackup(const FilesOnDisk& found) const {
    if (!found.contains(kBackup)) return;
    if (ContentOf(found, kIsi) != old_) scratch.Write(kIsi, ContentOf(found, kBackup));
    std::filesystem::remove(scratch.Path(kBackup));
  }

  void ExpectNextRunWorks(const FilesOnDisk& found, const Arguments& arguments) {
    SettleBackup(found);
    const bool compactedBefore = scratch.Read(kIsi) == new_;
    const Outcome run = RunAgain(arguments);
    EXPECT_EQ(run.code, kOk) << run.text;
    EXPECT_TRUE(scratch.Read(kIsi) == WithCounter(new_, compactedBefore ? 0 : 1));
  }

  // The gate that makes the nth write to the ISI fail, and no other.
  static DiskRecorder::Gate FailIsiWrite(std::size_t n) {
    return [n, seen = std::size_t{0}](const DiskChange& change) mutable {
      const bool isi = change.kind == ChangeKind::kWrite && change.name == kIsi;
      return isi && ++seen == n ? ENOSPC : 0;
    };
  }
  static std::size_t IsiWrites(const std::vector<DiskChange>& changes) {
    std::size_t writes = 0;
    for (const DiskChange& change : changes) {
      if (change.kind == ChangeKind::kWrite && change.name == kIsi) ++writes;
    }
    return writes;
  }

  std::string old_;
  std::string new_;
};

INSTANTIATE_TEST_SUITE_P(Some, CrashInPlace, ::testing::Values(4U));
INSTANTIATE_TEST_SUITE_P(Many, CrashInPlace, ::testing::Values(60U));

TEST_P(CrashInPlace, Plain) {
  Use(MakeTree({.entries = 200}));
  SweepInPlace({"old", "-c"}, Record({"old", "-c"}, kOk));
}

TEST_P(CrashInPlace, AloneWithManyTrains) {
  Use(ManyTrains());
  const Arguments arguments = {"-m100", "old", "-c=1"};
  SweepInPlace(arguments, Record(arguments, kOk));
}

TEST_P(CrashInPlace, WithDeletedRecords) {
  Use(MakeTree({.entries = 200, .deleted = 300, .freedSectors = 3}));
  SweepInPlace({"old", "-c"}, Record({"old", "-c"}, kOk));
}

// The compaction fails and the backup is copied back: the machine stops anywhere in that too.
TEST_P(CrashInPlace, WhileItIsRestored) {
  Use(MakeTree({.entries = 200, .deleted = 300, .freedSectors = 3}));
  const Arguments arguments = {"old", "-c"};
  const std::size_t writes = IsiWrites(Record(arguments, kOk));
  for (const std::size_t n : {std::size_t{1}, writes / 2, writes}) {
    SweepInPlace(arguments, Record(arguments, kIsiWriteFailed, FailIsiWrite(n)));
  }
}

// The sweep would notice: take any one of the three syncs away, and the content can be lost.
TEST_P(CrashInPlace, NeedsEverySync) {
  Use(MakeTree({.entries = 200, .deleted = 300, .freedSectors = 3}));
  const std::vector<DiskChange> changes = Record({"old", "-c"}, kOk);
  for (const std::string name : {kBackup, ".", kIsi}) {
    std::vector<DiskChange> fewer = changes;
    const auto sync = std::find_if(fewer.begin(), fewer.end(), [&](const DiskChange& change) {
      const bool syncs =
          change.kind == ChangeKind::kSyncFile || change.kind == ChangeKind::kSyncDirectory;
      return syncs && change.name == name;
    });
    ASSERT_NE(sync, fewer.end()) << name;
    fewer.erase(sync);
    EXPECT_GT(Losses(fewer), 0U) << name;
  }
  EXPECT_EQ(Losses(changes), 0U);
}

// ---- New indexes -------------------------------------------------------------------------------

class CrashOutput : public CrashSweep {
 protected:
  void Use(std::size_t oldRecords, const std::string& data) {
    old_ = TextOf(BuiltFrom(Records(oldRecords)));
    new_ = TextOf(BuiltFrom(data));
    Start(old_, data);
  }

  // What passes for an index is the old one or the new one. Stored lines here end within the
  // header's first sector; nothing could tell that the rest of a longer one is missing.
  void ExpectHonest(const FilesOnDisk& found, const std::string& name) const {
    const std::string isi = ContentOf(found, name);
    EXPECT_TRUE(isi == old_ || isi == new_ || !Sound(isi));
  }
  void ExpectBuilt(const Arguments& arguments, const std::string& name) {
    const Outcome run = RunAgain(arguments, name);
    EXPECT_EQ(run.code, kOk) << run.text;
    EXPECT_TRUE(scratch.Read(name) == new_);
  }
  void SweepBuild(const Arguments& arguments) {
    Sweep(Record(arguments, kOk), [&](const FilesOnDisk& found) {
      ExpectHonest(found, kIsi);
      EXPECT_EQ(ContentOf(found, "data.TXT"), start_.at("data.TXT"));
      ExpectBuilt(arguments, kIsi);
    });
  }

  std::string old_;
  std::string new_;
};

INSTANTIATE_TEST_SUITE_P(Some, CrashOutput, ::testing::Values(4U));
INSTANTIATE_TEST_SUITE_P(Many, CrashOutput, ::testing::Values(60U));

TEST_P(CrashOutput, BuildOfSeveralTrains) {
  Use(100, Records(300));
  SweepBuild({"-m600", "data,old", "-1-5"});
}

TEST_P(CrashOutput, BuildWithoutAnOldIndex) {
  Use(100, Records(300));
  start_.erase(kIsi);
  SweepBuild({"data,old", "-1-5"});
}

TEST_P(CrashOutput, BuildWithDeletedRecords) {
  Use(100, std::string(6 * 300, '\0') + Records(100));
  SweepBuild({"data,old", "-1-5"});
}

// The line it is built by stands in the index itself. A rebuild that finds it gives the new index,
// one that does not refuses; the line can then be typed.
TEST_P(CrashOutput, Rebuild) {
  Use(100, Records(300));
  const Arguments arguments = {"-m600", "old", "-r"};
  Sweep(Record(arguments, kOk), [&](const FilesOnDisk& found) {
    ExpectHonest(found, kIsi);
    const bool whole = ContentOf(found, kIsi) == old_ || ContentOf(found, kIsi) == new_;
    const Outcome run = RunAgain(arguments);
    EXPECT_TRUE(!whole || run.code == kOk) << run.text;
    EXPECT_TRUE(run.code == kOk || run.code == kIsiNotOpened || run.code == kNotAnIsi ||
                run.code == kNoKeyInformation)
        << run.text;
    EXPECT_TRUE(run.code != kOk || scratch.Read(kIsi) == new_);
    ExpectBuilt({"data,old", "-1-5"}, kIsi);
  });
}

// The header goes in front first, with the new stored line: a copy that lacks only its last write
// has every entry, and an older change counter.
void ExpectWholeCopy(const std::string& copy, const std::string& complete) {
  IsiContents found;
  IsiContents expected;
  if (!CheckStructure(BytesOf(copy), {}, &found).Ok()) return;
  EXPECT_TRUE(CheckStructure(BytesOf(complete), {}, &expected).Ok());
  EXPECT_EQ(found.entries, expected.entries);
  EXPECT_EQ(found.deleted, expected.deleted);
  EXPECT_EQ(found.dataFileName, expected.dataFileName);
  EXPECT_EQ(found.commandLine, expected.commandLine);
}

TEST_P(CrashOutput, CompactionIntoANewFile) {
  const MadeTree tree = MakeTree({.entries = 200, .deleted = 300, .freedSectors = 3});
  const std::string input = TextOf(tree.image);
  new_ = TextOf(ExpectedCompaction(tree, "data,new -1-4"));
  Start(input, "not looked at");
  const Arguments arguments = {"old,new", "-c"};
  Sweep(Record(arguments, kOk), [&](const FilesOnDisk& found) {
    EXPECT_TRUE(ContentOf(found, kIsi) == input);
    ExpectWholeCopy(ContentOf(found, "new.ISI"), new_);
    ExpectBuilt(arguments, "new.ISI");
    EXPECT_TRUE(scratch.Read(kIsi) == input);
  });
}

// ---- The model and a real end ------------------------------------------------------------------

class KilledAtEveryChange : public Crash {
 protected:
  // The files that a run leaves which is killed when it is about to make one change more.
  FilesOnDisk FilesAfter(std::size_t changes, const Arguments& arguments) {
    PutFiles(start_);
    const int ended = RunInChild([&] {
      SystemCallsGuard guard;
      std::size_t made = 0;
      const DiskRecorder recorder(start_, guard, [&](const DiskChange&) {
        if (made++ == changes) ::raise(SIGKILL);
        return 0;
      });
      Run(arguments);
    });
    EXPECT_TRUE(ended == -SIGKILL || ended == kBodyReturned);
    return ReadFiles();
  }

  // What the model says of a kill is what a killed process leaves.
  void ExpectAsModelled(const Arguments& arguments) {
    const std::vector<DiskChange> changes = Record(arguments, kOk);
    Disk disk(start_);
    for (std::size_t made = 0; made <= changes.size(); ++made) {
      ASSERT_EQ(FilesAfter(made, arguments), disk.EverythingKept()) << "behind change " << made;
      if (made < changes.size()) disk.Apply(changes[made]);
    }
    std::printf("%zu kill points\n", changes.size() + 1);
  }
};

TEST_F(KilledAtEveryChange, CompactionInPlace) {
  const MadeTree tree = MakeTree({.entries = 200, .deleted = 300, .freedSectors = 3});
  Start(TextOf(tree.image), "not looked at");
  ExpectAsModelled({"old", "-c"});
}

TEST_F(KilledAtEveryChange, CompactionIntoANewFile) {
  const MadeTree tree = MakeTree({.entries = 200, .deleted = 300, .freedSectors = 3});
  Start(TextOf(tree.image), "not looked at");
  ExpectAsModelled({"old,new", "-c"});
}

TEST_F(KilledAtEveryChange, BuildOfSeveralTrains) {
  Start(TextOf(BuiltFrom(Records(100))), Records(300));
  ExpectAsModelled({"-m600", "data,old", "-1-5"});
}

TEST_F(KilledAtEveryChange, Rebuild) {
  Start(TextOf(BuiltFrom(Records(100))), Records(300));
  ExpectAsModelled({"-m600", "old", "-r"});
}

}  // namespace
}  // namespace tavindex::test
