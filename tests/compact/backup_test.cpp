// The backup of an in-place compaction, made, copied back and removed.

#include "compact/backup.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <functional>
#include <string>

#include "support/run_test.h"

namespace tavindex::test {
namespace {

class Backup : public RunTest {
 protected:
  // The ISI, open as in-place runs have it.
  void OpenIsi(const std::string& bytes) {
    const std::string path = scratch.Write("test.ISI", bytes);
    run.files.dataFileName.Assign(path);
    run.files.outputFileName.Assign(path);
    run.files.inputFd = ::open(path.c_str(), O_RDWR);
    run.files.outputFd = run.files.inputFd;
    run.options.compactFlags = kCompactWanted;
    run.options.compactInPlace = true;
  }
  ~Backup() override { run.files.outputFd = kNoFile; }

  std::string Bak() const { return scratch.Read("test.ISI.bak"); }
  bool BakExists() const { return scratch.Exists("test.ISI.bak"); }
  std::string BakPath() const { return scratch.Path("test.ISI.bak"); }
  std::string IsiPath() const { return scratch.Path("test.ISI"); }
  void Overwrite(const std::string& bytes) const {
    ASSERT_EQ(::pwrite(run.files.outputFd, bytes.data(), bytes.size(), 0),
              static_cast<ssize_t>(bytes.size()));
  }
  void ExpectFailedBackup(const std::string& text) {
    EXPECT_EQ(BackupIsi(run), kInPlaceFailed);
    EXPECT_EQ(console.Take(), text);
    EXPECT_FALSE(BakExists());
    EXPECT_EQ(run.options.compactFlags & kBackupMade, 0U);
    EXPECT_FALSE(run.compact.copyBuffer.Allocated());
    EXPECT_LT(run.compact.backupFd, 0);
  }
  void ExpectFailedRestore(const std::string& text) {
    EXPECT_EQ(RestoreIsi(run), kRestoreFailed);
    EXPECT_EQ(console.Take(), text);
    EXPECT_FALSE(BakExists());
    EXPECT_FALSE(run.compact.copyBuffer.Allocated());
  }
};

// Around the copy buffer of 65535 bytes.
TEST_F(Backup, HoldsEveryByte) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{65534},
                                 std::size_t{65535}, std::size_t{65536}, std::size_t{200000}}) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 % 251);
    OpenIsi(bytes);
    ::lseek(run.files.inputFd, 5, SEEK_SET);
    ASSERT_EQ(BackupIsi(run), kOk) << size;
    EXPECT_EQ(Bak(), bytes);
    EXPECT_EQ(scratch.Read("test.ISI"), bytes);
    EXPECT_NE(run.options.compactFlags & kBackupMade, 0U);
    Overwrite(std::string(size, 'x'));
    EXPECT_EQ(RestoreIsi(run), kOk);
    EXPECT_EQ(scratch.Read("test.ISI"), bytes);
    EXPECT_FALSE(BakExists());
    ::close(run.files.inputFd);
  }
  EXPECT_EQ(console.Take(), "");
}

TEST_F(Backup, RestoreKeepsALongerTail) {
  OpenIsi("0123456789");
  ASSERT_EQ(BackupIsi(run), kOk);
  Overwrite("abcdefghijklmnop");
  EXPECT_EQ(RestoreIsi(run), kOk);
  EXPECT_EQ(scratch.Read("test.ISI"), "0123456789klmnop");
}

TEST_F(Backup, RestoreOfAShorterIsi) {
  OpenIsi("0123456789");
  ASSERT_EQ(BackupIsi(run), kOk);
  ASSERT_EQ(::ftruncate(run.files.outputFd, 3), 0);
  EXPECT_EQ(RestoreIsi(run), kOk);
  EXPECT_EQ(scratch.Read("test.ISI"), "0123456789");
}

TEST_F(Backup, NothingToRestoreOrRemove) {
  OpenIsi("abc");
  EXPECT_EQ(RestoreIsi(run), kOk);
  RemoveBackup(run);
  EXPECT_EQ(scratch.Read("test.ISI"), "abc");
  EXPECT_EQ(scratch.FileCount(), 1U);
  EXPECT_EQ(console.Take(), "");
}

TEST_F(Backup, RemovedTwice) {
  OpenIsi("abc");
  ASSERT_EQ(BackupIsi(run), kOk);
  RemoveBackup(run);
  EXPECT_FALSE(BakExists());
  scratch.Write("test.ISI.bak", "another's");
  RemoveBackup(run);
  EXPECT_EQ(Bak(), "another's");
}

// A file of that name may be the good copy of an interrupted run.
TEST_F(Backup, ExistingFileIsNotTouched) {
  OpenIsi("abc");
  scratch.Write("test.ISI.bak", "the good copy");
  EXPECT_EQ(BackupIsi(run), kInPlaceFailed);
  EXPECT_EQ(console.Take(), "Unable to create backup file: " + BakPath() + "\n");
  EXPECT_EQ(Bak(), "the good copy");
  RemoveBackup(run);
  EXPECT_EQ(Bak(), "the good copy");
  EXPECT_EQ(scratch.Read("test.ISI"), "abc");
}

TEST_F(Backup, SymbolicLinkIsNotFollowed) {
  OpenIsi("abc");
  const std::string target = scratch.Write("precious", "p");
  ASSERT_EQ(::symlink(target.c_str(), BakPath().c_str()), 0);
  EXPECT_EQ(BackupIsi(run), kInPlaceFailed);
  EXPECT_EQ(scratch.Read("precious"), "p");
}

TEST_F(Backup, NotCreated) {
  OpenIsi("abc");
  calls.FailNth<&SystemCalls::open>(1, EACCES);
  ExpectFailedBackup("Unable to create backup file: " + BakPath() + "\n");
}

TEST_F(Backup, WithoutMemory) {
  OpenIsi("abc");
  calls.FailNth<&SystemCalls::allocate>(1, ENOMEM);
  ExpectFailedBackup("Insufficient memory to backup ISI for in place compact option!\n");
}

TEST_F(Backup, IsiNotReadable) {
  OpenIsi("abc");
  calls.FailNth<&SystemCalls::read>(1, EIO);
  ExpectFailedBackup("Error reading the ISI file: " + IsiPath() + "\n");
}

TEST_F(Backup, NotWritable) {
  OpenIsi(std::string(100000, 'x'));
  calls.FailNth<&SystemCalls::write>(2, ENOSPC);
  ExpectFailedBackup("Error writing the ISI backup file: " + BakPath() + "\n");
}

// The copy and its name: both must be on the disk before the ISI may change.
TEST_F(Backup, NotOnDisk) {
  OpenIsi("abc");
  for (const int n : {1, 2}) {
    calls.FailNth<&SystemCalls::fsync>(n, EIO);
    ExpectFailedBackup("Error writing the ISI backup file: " + BakPath() + "\n");
  }
}

TEST_F(Backup, BackupNotReadableInARestore) {
  OpenIsi("abc");
  ASSERT_EQ(BackupIsi(run), kOk);
  calls.FailNth<&SystemCalls::read>(1, EIO);
  ExpectFailedRestore("Error reading the ISI backup file: " + BakPath() + "\n");
}

TEST_F(Backup, IsiNotWritableInARestore) {
  OpenIsi("abc");
  ASSERT_EQ(BackupIsi(run), kOk);
  calls.FailNth<&SystemCalls::write>(1, EIO);
  ExpectFailedRestore("Error restoring/writing the ISI file: " + IsiPath() + "\n");
}

TEST_F(Backup, IsiNotOnDiskInARestore) {
  OpenIsi("abc");
  ASSERT_EQ(BackupIsi(run), kOk);
  calls.FailNth<&SystemCalls::fsync>(1, EIO);
  ExpectFailedRestore("Error restoring/writing the ISI file: " + IsiPath() + "\n");
}

// A backup that ends early, before its length: everything there was is copied.
TEST_F(Backup, BackupThatEndsEarly) {
  OpenIsi("0123456789");
  ASSERT_EQ(BackupIsi(run), kOk);
  Overwrite("abcdefghij");
  const auto read = calls.Original().read;
  int reads = 0;
  calls.Replace<&SystemCalls::read>([&](int fd, void* bytes, std::size_t count) {
    return ++reads == 1 ? read(fd, bytes, std::min<std::size_t>(count, 4)) : ssize_t{0};
  });
  EXPECT_EQ(RestoreIsi(run), kOk);
  EXPECT_EQ(scratch.Read("test.ISI"), "0123efghij");
  EXPECT_FALSE(BakExists());
}

// Short counts are no failures.
TEST_F(Backup, ReadsAndWritesOfOneByte) {
  const std::string bytes(3000, 'q');
  OpenIsi(bytes);
  const SystemCalls original = calls.Original();
  calls.Replace<&SystemCalls::read>(
      [=](int fd, void* to, std::size_t) { return original.read(fd, to, 1); });
  calls.Replace<&SystemCalls::write>(
      [=](int fd, const void* from, std::size_t) { return original.write(fd, from, 1); });
  ASSERT_EQ(BackupIsi(run), kOk);
  EXPECT_EQ(Bak(), bytes);
  Overwrite(std::string(3000, 'x'));
  ASSERT_EQ(RestoreIsi(run), kOk);
  EXPECT_EQ(scratch.Read("test.ISI"), bytes);
}

TEST_F(Backup, NameWithoutADirectory) {
  const CurrentDirectory here(scratch.Path());
  OpenIsi("abc");
  run.files.dataFileName.Assign("test.ISI");
  ASSERT_EQ(BackupIsi(run), kOk);
  EXPECT_EQ(Bak(), "abc");
  RemoveBackup(run);
  EXPECT_FALSE(BakExists());
}

TEST_F(Backup, PermissionsAreOpenBeforeTheMask) {
  OpenIsi("abc");
  const mode_t mask = ::umask(027);
  ASSERT_EQ(BackupIsi(run), kOk);
  ::umask(mask);
  struct stat status;
  ASSERT_EQ(::stat(BakPath().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

}  // namespace
}  // namespace tavindex::test
