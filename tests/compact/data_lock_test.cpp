// The lock protocol on the data file, against real second processes, and the change counter.

#include "compact/data_lock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "isi_layout.h"
#include "lock_holder.h"
#include "program_test.h"

namespace tavindex::test {
namespace {

constexpr off_t kAnywhere = 0;

class DataLock : public ::testing::Test {
 protected:
  DataLock() { record.fd = ::open(path.c_str(), O_RDWR); }
  ~DataLock() override { ::close(record.fd); }

  ScratchDirectory scratch;
  std::string path = scratch.Write("data", "0123456789");
  LockRecord record{.fileLockPos = kFileLockPosition, .rangeLockPos = kRangeLockPosition};
  SystemCallsGuard calls;
};

TEST_F(DataLock, PlacesOfTheProtocol) {
  ASSERT_EQ(ShareFileLock(record, 0, SEEK_SET), LockStatus::kTaken);
  ASSERT_EQ(RangeLock(record, true), LockStatus::kTaken);
  const struct flock file = LockSeenFromOutside(path, kFileLockByte, 1);
  EXPECT_EQ(file.l_type, F_RDLCK);
  EXPECT_EQ(file.l_start, kFileLockByte);
  EXPECT_EQ(file.l_len, 0);  // one byte, up to the largest offset: shown as "to the end"
  const struct flock range = LockSeenFromOutside(path, kAnywhere, kFileLockByte);
  EXPECT_EQ(range.l_type, F_WRLCK);
  EXPECT_EQ(range.l_start, kRangeLockBytes);
  EXPECT_EQ(range.l_len, 2);
}

TEST_F(DataLock, ExclusiveFileLockIsSeen) {
  ASSERT_EQ(ExclusiveFileLock(record, 0, SEEK_SET), LockStatus::kTaken);
  EXPECT_EQ(LockSeenFromOutside(path, kFileLockByte, 1).l_type, F_WRLCK);
  EXPECT_EQ(LockSeenFromOutside(path, kAnywhere, kFileLockByte).l_type, F_UNLCK);
}

TEST_F(DataLock, ReadersShareTheFile) {
  const LockHolder reader(path, F_RDLCK, kFileLockByte, 1);
  ASSERT_TRUE(reader.Held());
  EXPECT_EQ(ShareFileLock(record, 0, SEEK_SET), LockStatus::kTaken);
  EXPECT_EQ(ExclusiveFileLock(record, 0, SEEK_SET), LockStatus::kLockedElsewhere);
}

TEST_F(DataLock, ExclusiveHolderKeepsOthersOut) {
  const LockHolder owner(path, F_WRLCK, kFileLockByte, 1);
  ASSERT_TRUE(owner.Held());
  EXPECT_EQ(ShareFileLock(record, 0, SEEK_SET), LockStatus::kLockedElsewhere);
  EXPECT_EQ(ExclusiveFileLock(record, 0, SEEK_SET), LockStatus::kLockedElsewhere);
}

TEST_F(DataLock, LocksOnTheDataItselfAreNobodysBusiness) {
  const LockHolder user(path, F_WRLCK, 0, kRangeLockBytes);
  ASSERT_TRUE(user.Held());
  EXPECT_EQ(ExclusiveFileLock(record, 0, SEEK_SET), LockStatus::kTaken);
  EXPECT_EQ(RangeLock(record, true), LockStatus::kTaken);
}

TEST_F(DataLock, WithoutADescriptor) {
  EXPECT_EQ(ShareFileLock({}, 0, SEEK_SET), LockStatus::kNoDescriptor);
  EXPECT_EQ(ExclusiveFileLock({}, 0, SEEK_SET), LockStatus::kNoDescriptor);
}

TEST_F(DataLock, ErrorsOfTheFileLock) {
  const std::pair<int, LockStatus> cases[] = {
      {EINVAL, LockStatus::kTaken},           {EAGAIN, LockStatus::kLockedElsewhere},
      {EACCES, LockStatus::kLockedElsewhere}, {EDEADLK, LockStatus::kLockedElsewhere},
      {ENOLCK, LockStatus::kLockedElsewhere}, {EIO, LockStatus::kFailed},
      {EBADF, LockStatus::kFailed},           {EINTR, LockStatus::kTaken},
  };
  for (const auto& [error, status] : cases) {
    calls.FailNth<&SystemCalls::lock>(1, error);
    EXPECT_EQ(ShareFileLock(record, 0, SEEK_SET), status) << error;
    calls.FailNth<&SystemCalls::lock>(1, error);
    EXPECT_EQ(ExclusiveFileLock(record, 0, SEEK_SET), status) << error;
  }
}

TEST_F(DataLock, PositionBehindTheFileLock) {
  const std::pair<std::pair<off_t, int>, off_t> cases[] = {
      {{0, SEEK_SET}, 0}, {{5, SEEK_SET}, 3}, {{2, SEEK_CUR}, 5}, {{-1, SEEK_END}, 9}};
  for (const auto& [wanted, position] : cases) {
    for (const auto lock : {ShareFileLock, ExclusiveFileLock}) {
      ::lseek(record.fd, 3, SEEK_SET);
      ASSERT_EQ(lock(record, wanted.first, wanted.second), LockStatus::kTaken);
      EXPECT_EQ(::lseek(record.fd, 0, SEEK_CUR), position);
    }
  }
}

// The range lock waits on whatever stops it, except that EINVAL is a system without locks.
TEST_F(DataLock, RangeLockIsTriedAgain) {
  for (const int error : {EDEADLK, EINTR, ENOLCK, EIO}) {
    record.lockFlags = 0;
    int tries = 0;
    calls.Replace<&SystemCalls::lock>([&](int fd, int command, struct flock* request) {
      EXPECT_EQ(command, F_SETLKW);
      if (++tries > 3) return calls.Original().lock(fd, command, request);
      errno = error;
      return -1;
    });
    EXPECT_EQ(RangeLock(record, false), LockStatus::kTaken);
    EXPECT_EQ(tries, 4);
    EXPECT_EQ(record.lockFlags, 0x80);
  }
}

TEST_F(DataLock, RangeLockWithoutLocksInTheSystem) {
  calls.FailFrom<&SystemCalls::lock>(1, EINVAL);
  EXPECT_EQ(RangeLock(record, true), LockStatus::kTaken);
  EXPECT_EQ(calls.Count<&SystemCalls::lock>(), 1);
  EXPECT_EQ(record.lockFlags, 0x80);
}

TEST_F(DataLock, RangeUnlockOnlyWhenHeld) {
  calls.Watch<&SystemCalls::lock>();
  EXPECT_EQ(RangeUnlock(record), LockStatus::kTaken);
  EXPECT_EQ(calls.Count<&SystemCalls::lock>(), 0);
  ASSERT_EQ(RangeLock(record, false), LockStatus::kTaken);
  EXPECT_EQ(LockSeenFromOutside(path, kRangeLockBytes, 2).l_type, F_RDLCK);
  EXPECT_EQ(RangeUnlock(record), LockStatus::kTaken);
  EXPECT_EQ(LockSeenFromOutside(path, kRangeLockBytes, 2).l_type, F_UNLCK);
  EXPECT_EQ(record.lockFlags, 0x80);
  calls.FailNth<&SystemCalls::lock>(1, EIO);
  EXPECT_EQ(RangeUnlock(record), LockStatus::kNotUnlocked);
}

TEST_F(DataLock, LockBaseIsPartOfThePlace) {
  record.rangeLockPos = 0x1000;
  record.lockBase = 0x30;
  ASSERT_EQ(RangeLock(record, true), LockStatus::kTaken);
  EXPECT_EQ(LockSeenFromOutside(path, 0, kFileLockByte).l_start, 0x1030);
}

// ---- Whole runs ----

class LockedRun : public ProgramTest {
 protected:
  LockedRun() {
    tree_ = MakeTree({.entries = 100, .deleted = 130});
    WriteBytes("old.ISI", tree_.image);
    scratch.Write("data.TXT", "aaa\n");
  }

  void ExpectUntouched() const {
    EXPECT_EQ(TextOf(ReadBytes("old.ISI")), TextOf(tree_.image));
    EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT", "old.ISI"}));
  }
  // The run of these options, into a new file and in place, is refused with this line and that of
  // its code.
  void ExpectRefused(const std::string& options, Result code, const std::string& line) {
    const std::string last = code == kLockingFailed
                                 ? "Unable to execute ISI compact operation with locking!\n"
                                 : "Unable to execute ISI compact operation!\n";
    for (const char* names : {"old,new", "old"}) {
      const Outcome run = Run({names, options});
      EXPECT_EQ(run.code, code) << names;
      const std::string into = std::string(names) == "old" ? "old" : "new";
      EXPECT_EQ(run.text, "Compacting old.ISI into " + into + ".ISI\n" + line + last);
      ExpectUntouched();
    }
  }

  std::string DataPath() const { return scratch.Path("data.TXT"); }

  MadeTree tree_;
};

TEST_F(LockedRun, DataFileMissing) {
  ASSERT_EQ(::unlink("data.TXT"), 0);
  for (const char* names : {"old,new", "old"}) {
    const std::string into = std::string(names) == "old" ? "old" : "new";
    const std::string start = "Compacting old.ISI into " + into + ".ISI\n";
    EXPECT_EQ(Run({names, "-c"}).text,
              start +
                  "Unable to open ISI data file: data.TXT\n"
                  "Unable to execute ISI compact operation with locking!\n");
    EXPECT_EQ(Run({names, "-c=0"}).code, kLockingFailed);
    const Outcome alone = Run({names, "-c=1"});
    EXPECT_EQ(alone.code, kCompactFailed);
    EXPECT_EQ(alone.text, start +
                              "Unable to open ISI data file in exclusive mode: data.TXT\n"
                              "Unable to execute ISI compact operation!\n");
    EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"old.ISI"}));
  }
}

TEST_F(LockedRun, DataFileThatIsNoFile) {
  ASSERT_EQ(::unlink("data.TXT"), 0);
  ASSERT_EQ(::mkfifo("data.TXT", 0600), 0);
  ExpectRefused("-c", kLockingFailed, "Unable to open ISI data file: data.TXT\n");
}

TEST_F(LockedRun, DataFileHeldAlone) {
  const LockHolder owner(DataPath(), F_WRLCK, kFileLockByte, 1);
  ASSERT_TRUE(owner.Held());
  const std::string line = "Unable to set share lock for ISI data file: data.TXT\n";
  ExpectRefused("-c", kLockingFailed, line);
  ExpectRefused("-c=0", kLockingFailed, line);
  ExpectRefused("-c=1", kCompactFailed, "Unable to exclusive lock for ISI data file: data.TXT\n");
}

TEST_F(LockedRun, DataFileRead) {
  const LockHolder reader(DataPath(), F_RDLCK, kFileLockByte, 1);
  ASSERT_TRUE(reader.Held());
  ExpectRefused("-c=1", kCompactFailed, "Unable to exclusive lock for ISI data file: data.TXT\n");
  EXPECT_EQ(Run({"old,new", "-c"}).code, kOk);
  EXPECT_EQ(Run({"old", "-c=0"}).code, kOk);
}

TEST_F(LockedRun, DataFileCutOff) {
  scratch.Write("data.TXT", "");
  ExpectRefused("-c=1", kCompactFailed,
                "Unexpected file size truncated for ISI data file: data.TXT\n");
  EXPECT_EQ(Run({"old,new", "-c"}).code, kOk);
  WriteBytes("old.ISI", MakeTree({}).image);
  EXPECT_EQ(Run({"old", "-c=1"}).code, kOk);
}

TEST_F(LockedRun, SystemWithoutLocks) {
  for (const char* options : {"-c", "-c=0", "-c=1"}) {
    calls.FailFrom<&SystemCalls::lock>(1, EINVAL);
    EXPECT_EQ(Run({"old,new", options}).code, kOk) << options;
    EXPECT_EQ(Run({"old", options}).code, kOk) << options;
  }
}

struct HeldLocks {
  short file;
  short range;
  bool operator==(const HeldLocks&) const = default;
};

// The locks that others see while the run writes its output.
HeldLocks LocksNow(const std::string& path) {
  return {LockSeenFromOutside(path, kFileLockByte, 1).l_type,
          LockSeenFromOutside(path, kRangeLockBytes, 2).l_type};
}

TEST_F(LockedRun, LocksWhileTheRunWrites) {
  struct Case {
    const char* names;
    const char* options;
    HeldLocks held;
  };
  const Case cases[] = {
      {"old,new", "-c", {F_RDLCK, F_RDLCK}},   {"old", "-c", {F_RDLCK, F_WRLCK}},
      {"old,new", "-c=0", {F_RDLCK, F_UNLCK}}, {"old", "-c=0", {F_RDLCK, F_UNLCK}},
      {"old,new", "-c=1", {F_WRLCK, F_UNLCK}}, {"old", "-c=1", {F_WRLCK, F_UNLCK}},
  };
  for (const Case& c : cases) {
    std::vector<HeldLocks> seen;
    calls.Replace<&SystemCalls::write>([&](int fd, const void* bytes, std::size_t count) {
      seen.push_back(LocksNow(DataPath()));
      return calls.Original().write(fd, bytes, count);
    });
    ASSERT_EQ(Run({c.names, c.options}).code, kOk);
    ASSERT_FALSE(seen.empty());
    for (const HeldLocks& held : seen) EXPECT_EQ(held, c.held) << c.names << " " << c.options;
    EXPECT_EQ(LocksNow(DataPath()), (HeldLocks{F_UNLCK, F_UNLCK}));
  }
}

using Clock = std::chrono::steady_clock;

// Milliseconds that the run took while another process let go of a lock after 300.
long long TimeOf(const std::function<void()>& run) {
  const auto start = Clock::now();
  run();
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

TEST_F(LockedRun, WaitsForTheRange) {
  struct Case {
    const char* names;
    short held;
    off_t start;
  };
  const Case cases[] = {{"old", F_RDLCK, kRangeLockBytes},
                        {"old", F_WRLCK, kRangeLockBytes + 1},
                        {"old,new", F_WRLCK, kRangeLockBytes}};
  for (const Case& c : cases) {
    LockHolder holder(DataPath(), c.held, c.start, 1);
    ASSERT_TRUE(holder.Held());
    holder.ReleaseAfter(300);
    const long long time = TimeOf([&] { EXPECT_EQ(Run({c.names, "-c"}).code, kOk); });
    EXPECT_GE(time, 250) << c.names;
  }
}

TEST_F(LockedRun, DoesNotWaitForTheRange) {
  ::alarm(60);
  {
    const LockHolder reader(DataPath(), F_RDLCK, kRangeLockBytes, 2);
    EXPECT_EQ(Run({"old,new", "-c"}).code, kOk);  // readers go together
  }
  const LockHolder writer(DataPath(), F_WRLCK, kRangeLockBytes, 2);
  ASSERT_TRUE(writer.Held());
  EXPECT_EQ(Run({"old,new", "-c=0"}).code, kOk);
  EXPECT_EQ(Run({"old", "-c=0"}).code, kOk);
  EXPECT_EQ(Run({"old", "-c=1"}).code, kOk);
  ::alarm(0);
}

// ---- The change counter ----

class ChangedIsi : public LockedRun {
 protected:
  // Puts `image` over the ISI at the moment when the file lock is taken.
  void ChangeUnderTheLock(const std::vector<std::byte>& image) {
    calls.Replace<&SystemCalls::lock>([this, image](int fd, int command, struct flock* request) {
      scratch.Write("old.ISI", TextOf(image));  // the file that the run has open
      return calls.Original().lock(fd, command, request);
    });
  }
  // The run into a new file, which fails behind these lines.
  void ExpectFailure(Result code, const std::string& lines) {
    const Outcome run = Run({"old,new", "-c"});
    EXPECT_EQ(run.code, code);
    EXPECT_EQ(run.text, "Compacting old.ISI into new.ISI\n" + lines);
    EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT", "old.ISI"}));
  }
};

TEST_F(ChangedIsi, ChangedCounterReadsTheFrontAgain) {
  for (const ByteOrder order : {ByteOrder::kLittle, ByteOrder::kBig}) {
    TreePlan plan{.order = order, .keyLength = 9, .entries = 150, .deleted = 5};
    WriteBytes("old.ISI", MakeTree(plan).image);
    plan = {.order = order, .keyLength = 3, .entries = 40, .spinCounter = 0x01020304, .seed = 9};
    const MadeTree changed = MakeTree(plan);
    ChangeUnderTheLock(changed.image);
    const Outcome run = Run({"old,new", "-c"});
    EXPECT_EQ(run.code, kOk) << run.text;
    const Report report =
        CompareImages(ReadBytes("new.ISI"), ExpectedCompaction(changed, "data,new -1-4"));
    EXPECT_TRUE(report.Ok()) << report.Text();
  }
}

// Programs that change an ISI change the counter; nothing is looked at again when they did not.
TEST_F(ChangedIsi, EqualCounterReadsNothingMore) {
  std::vector<std::byte> image = tree_.image;
  layout::Store8(image, 52, 0x77);
  ChangeUnderTheLock(image);
  ASSERT_EQ(Run({"old,new", "-c"}).code, kOk);
  EXPECT_EQ(layout::Load8(ReadBytes("new.ISI"), 52), 0);
}

TEST_F(ChangedIsi, CutOffBeforeTheCounter) {
  std::vector<std::byte> image = tree_.image;
  image.resize(35);
  ChangeUnderTheLock(image);
  ExpectFailure(kNotAnIsi,
                "Unable to access ISI spin counter!\n"
                "Not a valid .isi file structure for file: old.ISI.\n");
}

TEST_F(ChangedIsi, ChangedAndCutOff) {
  std::vector<std::byte> image = tree_.image;
  layout::Store32(image, 32, 1, ByteOrder::kLittle);
  image.resize(2047);
  ChangeUnderTheLock(image);
  ExpectFailure(kNotAnIsi,
                "Unable to access ISI spin counter!\n"
                "Not a valid .isi file structure for file: old.ISI.\n");
}

// The line is for an ISI that could not be read, not for one that holds nonsense.
TEST_F(ChangedIsi, ChangedIntoNoIsi) {
  std::vector<std::byte> image = tree_.image;
  layout::Store32(image, 32, 1, ByteOrder::kLittle);
  layout::Store16(image, layout::kKeyLength, 0, ByteOrder::kLittle);
  ChangeUnderTheLock(image);
  ExpectFailure(kNotAnIsi, "Not a valid .isi file structure for file: old.ISI.\n");
  layout::Store8(image, 0, 'X');
  WriteBytes("old.ISI", tree_.image);
  ChangeUnderTheLock(image);
  ExpectFailure(kBadIsiVersion, "Invalid ISI version to compact file named:  old.ISI.\n");
}

}  // namespace
}  // namespace tavindex::test
