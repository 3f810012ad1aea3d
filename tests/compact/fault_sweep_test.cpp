// Every call to the system that a run makes (a build, a rebuild, a display, both compactions) fails
// once: one run for each call, until a run meets no fault any more. Whatever fails, the index is
// the old one over its old length, or the complete new one, or (only when the restore failed too)
// empty; nothing else is left behind, and the last line tells what happened.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "program_test.h"

namespace tavindex::test {
namespace {

// One way in which the Nth call of one kind goes wrong.
struct Fault {
  std::string name;  // begins with that of the call
  std::function<void(SystemCallsGuard&, int n)> arm;
  std::function<int(const SystemCallsGuard&)> calls;  // so many there were
};

template <auto kMember>
Fault Once(const std::string& name, int error) {
  return {name + " errno " + std::to_string(error),
          [error](SystemCallsGuard& guard, int n) { guard.FailNth<kMember>(n, error); },
          [](const SystemCallsGuard& guard) { return guard.Count<kMember>(); }};
}

// From the Nth on none succeeds any more: what undoes the damage fails as well.
template <auto kMember>
Fault Forever(const std::string& name, int error) {
  return {name + " from then on errno " + std::to_string(error),
          [error](SystemCallsGuard& guard, int n) { guard.FailFrom<kMember>(n, error); },
          [](const SystemCallsGuard& guard) { return guard.Count<kMember>(); }};
}

// The Nth transfer moves this part of its bytes only: in halves, 0 for none.
template <auto kMember>
Fault Short(const std::string& name, std::size_t halves) {
  return {name + (halves == 0 ? " of nothing" : " of half"),
          [halves](SystemCallsGuard& guard, int n) {
            const auto original = guard.Original().*kMember;
            int call = 0;
            guard.Replace<kMember>([=](int fd, auto* bytes, std::size_t count) mutable -> ssize_t {
              if (++call != n) return original(fd, bytes, count);
              return halves == 0 ? 0 : original(fd, bytes, (count + 1) / 2);
            });
          },
          [](const SystemCallsGuard& guard) { return guard.Count<kMember>(); }};
}

// The descriptor is gone, whatever close() answers.
Fault FailedClose(int error) {
  return {"close errno " + std::to_string(error),
          [error](SystemCallsGuard& guard, int n) {
            const auto original = guard.Original().close;
            int call = 0;
            guard.Replace<&SystemCalls::close>([=](int fd) mutable {
              const int result = original(fd);
              if (++call != n) return result;
              errno = error;
              return -1;
            });
          },
          [](const SystemCallsGuard& guard) { return guard.Count<&SystemCalls::close>(); }};
}

std::vector<Fault> AllFaults() {
  return {
      Once<&SystemCalls::open>("open", EACCES),
      Once<&SystemCalls::open>("open", EMFILE),
      Once<&SystemCalls::open>("open", EINTR),
      Forever<&SystemCalls::open>("open", ENFILE),
      Once<&SystemCalls::read>("read", EIO),
      Once<&SystemCalls::read>("read", EINTR),
      Forever<&SystemCalls::read>("read", EIO),
      Short<&SystemCalls::read>("read", 1),
      Short<&SystemCalls::read>("read", 0),
      Once<&SystemCalls::write>("write", ENOSPC),
      Once<&SystemCalls::write>("write", EIO),
      Once<&SystemCalls::write>("write", EINTR),
      Forever<&SystemCalls::write>("write", ENOSPC),
      Short<&SystemCalls::write>("write", 1),
      Short<&SystemCalls::write>("write", 0),
      Once<&SystemCalls::lseek>("lseek", EINVAL),
      Forever<&SystemCalls::lseek>("lseek", EOVERFLOW),
      Once<&SystemCalls::ftruncate>("ftruncate", EIO),
      Once<&SystemCalls::ftruncate>("ftruncate", EINTR),
      Forever<&SystemCalls::ftruncate>("ftruncate", EFBIG),
      Once<&SystemCalls::fsync>("fsync", EIO),
      Forever<&SystemCalls::fsync>("fsync", EIO),
      FailedClose(EIO),
      FailedClose(EINTR),
      Once<&SystemCalls::unlink>("unlink", EACCES),
      Forever<&SystemCalls::unlink>("unlink", EACCES),
      Once<&SystemCalls::stat>("stat", EIO),
      Once<&SystemCalls::fstat>("fstat", EIO),
      Forever<&SystemCalls::fstat>("fstat", EIO),
      Once<&SystemCalls::lock>("lock", EAGAIN),
      Once<&SystemCalls::lock>("lock", EIO),
      Once<&SystemCalls::lock>("lock", EINVAL),
      Once<&SystemCalls::mkstemp>("mkstemp", EACCES),
      Once<&SystemCalls::allocate>("allocate", ENOMEM),
      Forever<&SystemCalls::allocate>("allocate", ENOMEM),
  };
}

// What the text of a failed run must end with, by its code; the line of another code is any.
bool EndsAsItsCodeSays(const Outcome& run) {
  static const std::map<Result, std::vector<std::string>> kEnds = {
      {kEndingFailed, {"Close(outfile) failed.\n", "Close(infile) failed.\n"}},
      {kWorkReadFailed, {"WARNING!  INDEX failed reading temporary work file.\n"}},
      {kNotAnIsi, {"Not a valid .isi file structure for file: old.ISI.\n"}},
      {kIsiWriteFailed, {"WARNING!  INDEX failed writing output data!\n"}},
      {kInPlaceFailed, {"Unable to execute in place ISI compact operation!\n"}},
      {kLockingFailed, {"Unable to execute ISI compact operation with locking!\n"}},
      {kCompactFailed, {"Unable to execute ISI compact operation!\n"}},
      {kWorkFileNotOpened, {"One of the temporary files could not be opened.\n"}},
      {kOutputIsInput, {"The Output file name can not be same as Input name.\n"}},
      {kOutputNotCreated, {"Can't create output file new.ISI\n"}},
      {kSourceNotOpened, {"Unable to open input ISI file for compact: old.ISI\n\n"}},
      {kNoMemory,
       {"Insufficient Memory for Buffers.\n", "Sort train memory allocation failed.\n",
        "Memory allocation failed.\n"}},
  };
  const auto ends = kEnds.find(run.code);
  const bool named = ends != kEnds.end() &&
                     std::any_of(ends->second.begin(), ends->second.end(),
                                 [&](const std::string& end) { return run.text.ends_with(end); });
  // Memory that is refused behind the set-up gets the line of a code without one, like any other.
  const bool warned = ends == kEnds.end() || run.code == kNoMemory;
  return named ||
         (warned && run.text.find("WARNING!  INDEX failed writing to file ") != std::string::npos);
}

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class FaultSweep : public ProgramTest {
 protected:
  FaultSweep() {
    // Nothing of a test must outlive a power cut, and syncing is slow.
    systemCalls.fsync = [](int) { return 0; };
  }

  using Judge = std::function<void(const Outcome& run, const Fault& fault)>;

  // Runs with every fault at every place; `judge` looks at what each run left.
  void Sweep(const std::vector<std::string>& arguments, const Judge& judge) {
    std::map<std::string, int> points;
    int all = 0;
    for (const Fault& fault : AllFaults()) {
      for (int n = 1; RunWithFault(arguments, fault, n, judge); ++n) {
        ++points[fault.name.substr(0, fault.name.find(' '))];
        ++all;
      }
      if (HasFailure()) return;
    }
    std::printf("%d fault points:", all);
    for (const auto& [call, count] : points) std::printf(" %s %d", call.c_str(), count);
    std::printf("\n");
  }

  // False when the run was over before the Nth call.
  bool RunWithFault(const std::vector<std::string>& arguments, const Fault& fault, int n,
                    const Judge& judge) {
    PutFiles();
    Outcome run;
    bool met = false;
    {
      SystemCallsGuard guard;
      fault.arm(guard, n);
      run = Run(arguments);
      met = fault.calls(guard) >= n;
    }
    const ::testing::ScopedTrace trace(__FILE__, __LINE__,
                                       fault.name + ", call " + std::to_string(n) + ", code " +
                                           std::to_string(run.code) + "\n" + run.text);
    EXPECT_TRUE(met || run.code == kOk);
    EXPECT_EQ(scratch.Read("data.TXT") == data_, true);
    judge(run, fault);
    return met && !HasFailure();
  }

  void PutFiles() const {
    for (const std::string& name : FilesLeft()) std::filesystem::remove(scratch.Path(name));
    WriteBytes("old.ISI", old_);
    scratch.Write("data.TXT", data_);
  }

  // Nothing but these files may be there, unless it was the removing that failed.
  void ExpectLeft(std::vector<std::string> names, const Fault& fault) const {
    if (fault.name.starts_with("unlink")) return;
    std::sort(names.begin(), names.end());
    EXPECT_EQ(FilesLeft(), names);
  }
  void ExpectWords(const Outcome& run) const {
    EXPECT_TRUE(run.code == kOk || EndsAsItsCodeSays(run));
  }
  bool Holds(const std::string& name, const std::vector<std::byte>& bytes) const {
    return scratch.Read(name) == TextOf(bytes);
  }

  void JudgeInPlace(const Outcome& run, const Fault& fault) const {
    ExpectLeft({"data.TXT", "old.ISI"}, fault);
    ExpectWords(run);
    if (run.code == kOk || run.code == kEndingFailed) {
      EXPECT_TRUE(Holds("old.ISI", new_));
    } else if (Contains(run.text, kRestored)) {
      EXPECT_TRUE(scratch.Read("old.ISI").starts_with(TextOf(old_)));
    } else if (Contains(run.text, kLost)) {
      EXPECT_TRUE(Contains(run.text, "Error restoring/writing the ISI file: old.ISI\n") ||
                  Contains(run.text, "Error reading the ISI backup file: old.ISI.bak\n"));
      // The emptying may fail like everything else.
      EXPECT_TRUE(scratch.Read("old.ISI").empty() || fault.name.starts_with("ftruncate"));
    } else {
      EXPECT_TRUE(Holds("old.ISI", old_));
    }
  }

  void JudgeCopy(const Outcome& run, const Fault& fault) const {
    ExpectWords(run);
    EXPECT_TRUE(Holds("old.ISI", old_));
    // A name that cannot be looked at is taken for the input's.
    EXPECT_TRUE(run.code != kOutputIsInput || Contains(fault.name, "stat"));
    if (run.code == kOk || run.code == kEndingFailed) {
      EXPECT_TRUE(Holds("new.ISI", new_));
      ExpectLeft({"data.TXT", "new.ISI", "old.ISI"}, fault);
    } else {
      ExpectLeft({"data.TXT", "old.ISI"}, fault);
    }
  }

  // A rebuild is a build: an index that was begun and not finished is removed.
  void JudgeRebuild(const Outcome& run, const Fault& fault) const {
    EXPECT_TRUE(run.code == kOk || run.text.ends_with("\n"));
    if (run.code == kOk || run.code == kEndingFailed) {
      EXPECT_TRUE(Holds("old.ISI", new_));
      ExpectLeft({"data.TXT", "old.ISI"}, fault);
    } else if (scratch.Exists("old.ISI")) {
      EXPECT_TRUE(Holds("old.ISI", old_) || fault.name.starts_with("unlink"));
      ExpectLeft({"data.TXT", "old.ISI"}, fault);
    } else {
      ExpectLeft({"data.TXT"}, fault);
    }
  }

  static constexpr const char* kRestored =
      "ISI has been restored after fatal compact error for file: old.ISI\n";
  static constexpr const char* kLost =
      "ISI can not be restored after fatal compact error for file: old.ISI\n";

  std::vector<std::byte> old_;
  std::vector<std::byte> new_;
  std::string data_ = "not looked at";
};

// Few places in the sort area and duplicates out of order: many trains, several merge passes.
MadeTree ManyTrains() {
  return MakeTree({.shape = Shape::kUneven, .keyLength = 1, .entries = 150, .deleted = 300});
}

TEST_F(FaultSweep, InPlace) {
  const MadeTree tree = MakeTree({.entries = 200, .deleted = 300, .freedSectors = 3});
  old_ = tree.image;
  new_ = ExpectedCompaction(tree, "data,old -1-4");
  Sweep({"old", "-c"}, [this](const auto& run, const auto& fault) { JudgeInPlace(run, fault); });
}

TEST_F(FaultSweep, InPlaceAloneWithManyTrains) {
  const MadeTree tree = ManyTrains();
  old_ = tree.image;
  new_ = ExpectedCompaction(tree, "data,old -1-4");
  Sweep({"-m100", "old", "-c=1"},
        [this](const auto& run, const auto& fault) { JudgeInPlace(run, fault); });
}

TEST_F(FaultSweep, IntoANewFile) {
  const MadeTree tree = MakeTree({.entries = 200, .deleted = 300, .freedSectors = 3});
  old_ = tree.image;
  new_ = ExpectedCompaction(tree, "data,new -1-4");
  Sweep({"old,new", "-c"}, [this](const auto& run, const auto& fault) { JudgeCopy(run, fault); });
}

std::string Records(std::size_t count) {
  std::string data;
  for (std::size_t i = 0; i < count; ++i) data += std::to_string(10000 + i * 7919 % 9973) + "\n";
  return data;
}

std::vector<std::byte> BuiltFrom(const std::string& data) {
  BuildRequest request;
  request.keys = {{1, 5}};
  const HeaderRequest header = {"data.TXT", "data,old -1-5", 0, ByteOrder::kLittle};
  return ExpectedIsi(BuildModel(BytesOf(data), request), request, header);
}

TEST_F(FaultSweep, Rebuild) {
  data_ = Records(300);
  old_ = BuiltFrom(Records(100));
  new_ = BuiltFrom(data_);
  Sweep({"-m600", "old", "-r"},
        [this](const auto& run, const auto& fault) { JudgeRebuild(run, fault); });
}

TEST_F(FaultSweep, Build) {
  data_ = Records(300);
  old_ = BuiltFrom(Records(100));
  new_ = BuiltFrom(data_);
  Sweep({"-m600", "data,old", "-1-5"},
        [this](const auto& run, const auto& fault) { JudgeRebuild(run, fault); });
}

// Trains of one record, merged two at a time: five passes.
TEST_F(FaultSweep, BuildInManyPasses) {
  data_ = Records(32);
  old_ = BuiltFrom(Records(10));
  new_ = BuiltFrom(data_);
  Sweep({"-m57", "data,old", "-1-5"},
        [this](const auto& run, const auto& fault) { JudgeRebuild(run, fault); });
}

// Three sectors of deleted records, two of them written during the scan.
TEST_F(FaultSweep, BuildWithDeletedRecords) {
  data_ = std::string(6 * 300, '\0') + Records(100);
  old_ = BuiltFrom(Records(10));
  new_ = BuiltFrom(data_);
  Sweep({"data,old", "-1-5"},
        [this](const auto& run, const auto& fault) { JudgeRebuild(run, fault); });
}

// A log takes the messages: the console shows nothing, and what is left besides is the log.
TEST_F(FaultSweep, BuildWithALog) {
  data_ = Records(50);
  old_ = BuiltFrom(Records(10));
  new_ = BuiltFrom(data_);
  Sweep({"-lrun.log", "data,old", "-1-5"}, [this](Outcome run, const auto& fault) {
    if (scratch.Exists("run.log")) run.text = scratch.Read("run.log");
    std::filesystem::remove(scratch.Path("run.log"));
    JudgeRebuild(run, fault);
  });
}

TEST_F(FaultSweep, BuildWithAnErrorFile) {
  data_ = "aaaaa\nbbbbb\naaaaa\nbbbbb\naaaaa\n";
  old_ = BuiltFrom(Records(10));
  BuildRequest request;
  request.keys = {{1, 5}};
  const HeaderRequest header = {"data.TXT", "data,old -e,1-5", 0, ByteOrder::kLittle};
  new_ = ExpectedIsi(BuildModel(BytesOf(data_), request), request, header);
  const std::string lines =
      "Duplicate Key at:               C Key:aaaaa \r\n"
      "Duplicate Key at:              18 Key:aaaaa \r\n"
      "Duplicate Key at:              12 Key:bbbbb \r\n";
  Sweep({"data,old", "-e,1-5"}, [&](const auto& run, const auto& fault) {
    // The lines are all there, or the run failed: an error file that is cut is never a success.
    const bool complete = scratch.Exists("old.ERR") && scratch.Read("old.ERR") == lines;
    EXPECT_TRUE(complete || run.code != kOk);
    std::filesystem::remove(scratch.Path("old.ERR"));
    JudgeRebuild(run, fault);
  });
}

TEST_F(FaultSweep, Display) {
  data_ = Records(10);
  old_ = BuiltFrom(data_);
  Sweep({"old", "-i"}, [this](const auto& run, const auto& fault) {
    EXPECT_TRUE(run.text.ends_with("\n"));
    EXPECT_TRUE(Holds("old.ISI", old_));
    EXPECT_TRUE(run.code != kOk || Contains(run.text, "\ntavindex data,old -1-5\n"));
    ExpectLeft({"data.TXT", "old.ISI"}, fault);
  });
}

}  // namespace
}  // namespace tavindex::test
