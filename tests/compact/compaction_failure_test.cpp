// Compactions that end in their middle: no memory for a tree, a node that cannot be written during
// the merge, a list sector that cannot be read back while the chain moves down, a user who cancels.
// What is printed, in its order, and what is left of the files.

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/console.h"
#include "isi_layout.h"
#include "program_test.h"
#include "sample_runs.h"

namespace tavindex::test {
namespace {

constexpr char kIntoCopy[] = "Compacting old.ISI into new.ISI\n";
constexpr char kOntoItself[] = "Compacting old.ISI into old.ISI\n";
constexpr char kRestored[] = "ISI has been restored after fatal compact error for file: old.ISI\n";
constexpr char kWritingWorkFile[] = "WARNING!  INDEX failed writing to file tmp/dsort.\n";
constexpr char kCannotWriteOutput[] = "WARNING!  INDEX failed writing output data!\n";

// The text with the random parts of the work files' names taken out.
std::string WithoutRandomParts(std::string text) {
  constexpr std::string_view kFront = "tmp/dsort";
  for (std::size_t at = 0; (at = text.find(kFront, at)) != std::string::npos;) {
    at += kFront.size();
    text.erase(at, text.find(".\n", at) - at);
  }
  return text;
}

class CompactionFailure : public ProgramTest {
 protected:
  void Put(const MadeTree& tree) {
    old_ = tree.image;
    PutFiles({{"data.TXT", "not looked at"}, {"old.ISI", TextOf(old_)}});
  }
  // The input as it was and nothing else: no copy, no backup, no work file.
  void ExpectNothingChanged() const {
    EXPECT_TRUE(ReadBytes("old.ISI") == old_);
    EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT", "old.ISI"}));
  }

  std::vector<std::byte> old_;
};

// --- no memory for the nodes of the new tree, or for the marks of the old one's
// -----------------------------------------------------------------------------------------

// There are no trains yet, and no backup. Two buffers of every run come before.
TEST_F(CompactionFailure, WithoutMemoryForATreeLeavesTheIndexAlone) {
  Put(MakeTree({.entries = 100, .deleted = 2}));
  for (const auto& [names, line] : {std::pair{"old,new", kIntoCopy}, {"old", kOntoItself}}) {
    for (const auto& [nth, reason] :
         {std::pair{3, "ISI buffer allocation failed.\n"}, {4, "Memory allocation failed.\n"}}) {
      calls.FailNth<&SystemCalls::allocateZeroed>(nth, ENOMEM);
      const Outcome run = Run({names, "-c"});
      EXPECT_EQ(run.code, -9);
      EXPECT_EQ(WithoutRandomParts(run.text), std::string(line) + reason + kWritingWorkFile);
      ExpectNothingChanged();
    }
  }
}

// --- a node that cannot be written
// -----------------------------------------------------------------------------------------

class NodeWriteFailure : public CompactionFailure {
 protected:
  // About 940 nodes: the builder's buffer of 256 KiB is full in the middle of the merge.
  NodeWriteFailure() { Put(MakeTree({.entries = 30000, .deleted = 300})); }

  // The first write of nodes fails, and no other: what is to be copied back can be.
  void FailFirstNodes() {
    calls.Replace<&SystemCalls::write>([this](int fd, const void* bytes, std::size_t count) {
      // Header, root and list come in pieces of less than all of them together; nodes do not.
      const bool nodes = fd == runContext->files.outputFd && count > layout::kSmallestFile;
      if (!nodes || std::exchange(failed_, true)) return calls.Original().write(fd, bytes, count);
      errno = ENOSPC;
      return ssize_t{-1};
    });
  }

  // No line of counts before it: the merge has not come to its end.
  static constexpr char kNodesFailed[] = "\nUnable to write segment of index file. Errno=28\n";

  bool failed_ = false;
};

TEST_F(NodeWriteFailure, OfACopyNamesTheCopyAndRemovesIt) {
  FailFirstNodes();
  const Outcome run = Run({"old,new", "-c"});
  EXPECT_LT(run.code, kOk);
  EXPECT_EQ(run.text, std::string(kIntoCopy) + kNodesFailed +
                          "WARNING!  INDEX failed writing to file new.ISI.\n");
  ExpectNothingChanged();
}

TEST_F(NodeWriteFailure, InPlaceBringsTheOldIndexBack) {
  FailFirstNodes();
  const Outcome run = Run({"old", "-c"});
  EXPECT_EQ(run.code, -157);
  EXPECT_EQ(run.text, std::string(kOntoItself) + kNodesFailed + kRestored + kCannotWriteOutput);
  ExpectNothingChanged();
}

// --- a list sector that cannot be read back
// --------------------------------------------------------------------------------

class ListReadFailure : public CompactionFailure {
 protected:
  static constexpr int kSectors = 3;

  ListReadFailure() : tree_(MakeTree({.entries = 60, .deleted = 300})) { Put(tree_); }

  // The chain waits behind the end that the file had. Its Nth sector cannot be read (-1), or only
  // so many bytes of it.
  void FailNthReadBehindTheEnd(int n, ssize_t given) {
    calls.Replace<&SystemCalls::read>([=, this, sector = 0](int fd, void* bytes,
                                                            std::size_t count) mutable -> ssize_t {
      const SystemCalls& original = calls.Original();
      const bool behind =
          fd == runContext->files.outputFd && original.lseek(fd, 0, SEEK_CUR) >= std::ssize(old_);
      if (!behind || ++sector < n) return original.read(fd, bytes, count);
      if (sector == n && given > 0) {
        return original.read(fd, bytes, static_cast<std::size_t>(given));
      }
      errno = EIO;
      return sector == n ? given : 0;
    });
  }

  MadeTree tree_;
};

// The sectors that were to be moved stay behind the old bytes: a restore does not cut the file.
TEST_F(ListReadFailure, BringsTheOldIndexBackOverItsLength) {
  for (const ssize_t given : {ssize_t{-1}, ssize_t{0}, ssize_t{511}}) {
    for (int n = 1; n <= kSectors; ++n) {
      SCOPED_TRACE("sector " + std::to_string(n) + " gives " + std::to_string(given));
      Put(tree_);
      FailNthReadBehindTheEnd(n, given);
      const Outcome run = Run({"old", "-c"});
      EXPECT_EQ(run.code, -3);
      EXPECT_EQ(run.text, std::string(kOntoItself) + kRestored +
                              "WARNING!  INDEX failed reading temporary work file.\n");
      const std::string left = scratch.Read("old.ISI");
      EXPECT_EQ(left.size(), old_.size() + kSectors * layout::kSectorSize);
      EXPECT_TRUE(left.starts_with(TextOf(old_)));
      EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT", "old.ISI"}));
    }
  }
}

// The place behind the end is not guessed: the chain would go over the tree.
TEST_F(ListReadFailure, EndsTheRunWhenTheFilesEndIsNotKnown) {
  int last = 0;  // the one of the chain, among all questions for the size of the ISI
  const auto runFailing = [&](int wanted) {
    Put(tree_);
    int asked = 0;
    calls.Replace<&SystemCalls::lseek>([&](int fd, off_t offset, int whence) -> off_t {
      const bool size = whence == SEEK_END && fd == runContext->files.outputFd;
      if (size && ++asked == wanted) {
        errno = EIO;
        return -1;
      }
      return calls.Original().lseek(fd, offset, whence);
    });
    const Outcome run = Run({"old", "-c"});
    last = asked;
    return run;
  };
  ASSERT_EQ(runFailing(0).code, kOk);
  ASSERT_GT(last, 0);
  const Outcome run = runFailing(last);
  EXPECT_EQ(run.code, -3);
  EXPECT_EQ(run.text, std::string(kOntoItself) + kRestored +
                          "WARNING!  INDEX failed reading temporary work file.\n");
  EXPECT_EQ(scratch.Read("old.ISI"), TextOf(old_));
}

// --- a user who cancels
// ----------------------------------------------------------------------------------------------------

// The user asks for it once, while the line that begins like this is shown.
class CancelAtLine {
 public:
  explicit CancelAtLine(std::string_view front) : before_(cancelPoll) {
    front_ = front;
    cancelPoll = Poll;
  }
  ~CancelAtLine() { cancelPoll = before_; }
  CancelAtLine(const CancelAtLine&) = delete;
  CancelAtLine& operator=(const CancelAtLine&) = delete;

 private:
  static bool Poll() {
    const std::string_view line = runContext->console.messageBuffer.data();
    const bool shown = !front_.empty() && line.starts_with(front_);
    if (shown) front_ = "";
    return shown;
  }

  static inline std::string_view front_;
  CancelPoll before_;
};

class CancelledCompaction : public CompactionFailure {
 protected:
  // More trains than one pass can merge with this memory, so that there is a pass with its line.
  CancelledCompaction() { Put(ManyTrains()); }

  Outcome RunUntil(std::string_view line, const std::string& names) {
    const CancelAtLine user(line);
    Outcome run = Run({"-m100", names, "-c"});
    run.text = WithoutRandomParts(run.text);
    return run;
  }

  static constexpr char kMemory[] = "Max memory set to 100.\n";
  static constexpr char kCancelledLine[] = "The operation was canceled by the user!\n";
};

TEST_F(CancelledCompaction, OfACopyAtATrainRemovesTheCopy) {
  const Outcome run = RunUntil("Sort train 3\r", "old,new");
  EXPECT_EQ(run.code, -21);
  EXPECT_EQ(run.text, std::string(kMemory) + kIntoCopy + kCancelledLine + kWritingWorkFile);
  ExpectNothingChanged();
}

// There is no backup yet, and nothing to restore.
TEST_F(CancelledCompaction, InPlaceAtATrainLeavesTheIndexAlone) {
  const Outcome run = RunUntil("Sort train 3\r", "old");
  EXPECT_EQ(run.code, -21);
  EXPECT_EQ(run.text, std::string(kMemory) + kOntoItself + kCancelledLine + kWritingWorkFile);
  ExpectNothingChanged();
}

// The line end behind the trains comes before it.
TEST_F(CancelledCompaction, OfACopyInTheMergeRemovesTheCopy) {
  const Outcome run = RunUntil("Merge pass 1\r", "old,new");
  EXPECT_EQ(run.code, -21);
  EXPECT_EQ(run.text, std::string(kMemory) + kIntoCopy + "\n" + kCancelledLine + kWritingWorkFile);
  ExpectNothingChanged();
}

// Header, root and list have been written then: whatever ends the merge counts as a failed write.
TEST_F(CancelledCompaction, InPlaceInTheMergeBringsTheOldIndexBack) {
  const Outcome run = RunUntil("Merge pass 1\r", "old");
  EXPECT_EQ(run.code, -157);
  EXPECT_EQ(run.text, std::string(kMemory) + kOntoItself + "\n" + kCancelledLine + kRestored +
                          kCannotWriteOutput);
  // The list was moved behind the old end and down again, and the file cut behind it.
  ExpectNothingChanged();
}

}  // namespace
}  // namespace tavindex::test
