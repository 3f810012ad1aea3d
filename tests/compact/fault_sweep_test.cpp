// Every call to the system that a run makes (a build, a rebuild, a display, both compactions) fails
// once, and from then on: one run for each call, until a run meets no fault any more. Whatever
// fails, the index is the old one over its old length, or the complete new one, or (only when the
// restore failed too) empty; nothing else is left behind, no descriptor stays open, no run hangs,
// and the last line tells what happened.

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "program_test.h"
#include "sample_runs.h"

namespace tavindex::test {
namespace {

// One way in which the Nth call of one kind goes wrong.
struct Fault {
  std::string name;  // begins with that of the call
  std::function<void(SystemCallsGuard&, int n)> arm;
  std::function<int(const SystemCallsGuard&)> calls;  // so many there were
  bool harmless = false;                              // the run must succeed all the same
};

Fault Harmless(Fault fault) {
  fault.harmless = true;
  return fault;
}

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

enum class Lasting { kOnce, kForever };

bool Strikes(int call, int n, Lasting lasting) {
  return lasting == Lasting::kOnce ? call == n : call >= n;
}

// The Nth transfer moves this part of its bytes only: in halves, 0 for none.
template <auto kMember>
Fault Short(const std::string& name, std::size_t halves, Lasting lasting = Lasting::kOnce) {
  return {name + (lasting == Lasting::kForever ? " from then on" : "") +
              (halves == 0 ? " of nothing" : " of half"),
          [=](SystemCallsGuard& guard, int n) {
            const auto original = guard.Original().*kMember;
            int call = 0;
            guard.Replace<kMember>([=](int fd, auto* bytes, std::size_t count) mutable -> ssize_t {
              if (!Strikes(++call, n, lasting)) return original(fd, bytes, count);
              return halves == 0 ? 0 : original(fd, bytes, (count + 1) / 2);
            });
          },
          [](const SystemCallsGuard& guard) { return guard.Count<kMember>(); }};
}

// From the Nth on every call is interrupted many times before it goes through.
template <auto kMember>
Fault Interrupted(const std::string& name) {
  constexpr int kTimes = 20;
  return {
      name + " interrupted again and again",
      [](SystemCallsGuard& guard, int n) {
        const auto original = guard.Original().*kMember;
        int call = 1;
        int interrupts = 0;
        guard.Replace<kMember>([=](auto... arguments) mutable -> decltype(original(arguments...)) {
          if (call >= n && interrupts++ < kTimes) {
            errno = EINTR;
            return -1;
          }
          ++call;
          interrupts = 0;
          return original(arguments...);
        });
      },
      [](const SystemCallsGuard& guard) { return guard.Count<kMember>(); }, true};
}

// Locks that do not wait are refused; one that waits is asked for again without end.
Fault RefusedLocks(int error) {
  return {"lock from then on errno " + std::to_string(error),
          [error](SystemCallsGuard& guard, int n) {
            const auto original = guard.Original().lock;
            int call = 0;
            guard.Replace<&SystemCalls::lock>([=](int fd, int command, struct flock* lock) mutable {
              if (++call < n || command == F_SETLKW) return original(fd, command, lock);
              errno = error;
              return -1;
            });
          },
          [](const SystemCallsGuard& guard) { return guard.Count<&SystemCalls::lock>(); }};
}

// The descriptor is gone, whatever close() answers.
Fault FailedClose(int error, Lasting lasting = Lasting::kOnce) {
  return {"close" + std::string(lasting == Lasting::kForever ? " from then on" : "") + " errno " +
              std::to_string(error),
          [=](SystemCallsGuard& guard, int n) {
            const auto original = guard.Original().close;
            int call = 0;
            guard.Replace<&SystemCalls::close>([=](int fd) mutable {
              const int result = original(fd);
              if (!Strikes(++call, n, lasting)) return result;
              errno = error;
              return -1;
            });
          },
          [](const SystemCallsGuard& guard) { return guard.Count<&SystemCalls::close>(); }};
}

// One fault of every kind.
std::vector<Fault> CommonFaults() {
  return {
      Once<&SystemCalls::open>("open", EACCES),
      Once<&SystemCalls::open>("open", EMFILE),
      Harmless(Once<&SystemCalls::open>("open", EINTR)),
      Forever<&SystemCalls::open>("open", ENFILE),
      Forever<&SystemCalls::open>("open", EINTR),
      Once<&SystemCalls::read>("read", EIO),
      Harmless(Once<&SystemCalls::read>("read", EINTR)),
      Forever<&SystemCalls::read>("read", EIO),
      Forever<&SystemCalls::read>("read", EINTR),
      Harmless(Short<&SystemCalls::read>("read", 1)),
      Short<&SystemCalls::read>("read", 0),
      Once<&SystemCalls::write>("write", ENOSPC),
      Once<&SystemCalls::write>("write", EIO),
      Harmless(Once<&SystemCalls::write>("write", EINTR)),
      Forever<&SystemCalls::write>("write", ENOSPC),
      Forever<&SystemCalls::write>("write", EINTR),
      Harmless(Short<&SystemCalls::write>("write", 1)),
      Short<&SystemCalls::write>("write", 0),
      Once<&SystemCalls::lseek>("lseek", EINVAL),
      Forever<&SystemCalls::lseek>("lseek", EOVERFLOW),
      Once<&SystemCalls::ftruncate>("ftruncate", EIO),
      Harmless(Once<&SystemCalls::ftruncate>("ftruncate", EINTR)),
      Forever<&SystemCalls::ftruncate>("ftruncate", EFBIG),
      Forever<&SystemCalls::ftruncate>("ftruncate", EINTR),
      Once<&SystemCalls::fsync>("fsync", EIO),
      Harmless(Once<&SystemCalls::fsync>("fsync", EINTR)),
      Forever<&SystemCalls::fsync>("fsync", EIO),
      Forever<&SystemCalls::fsync>("fsync", EINTR),
      FailedClose(EIO),
      Harmless(FailedClose(EINTR)),
      FailedClose(EIO, Lasting::kForever),
      Once<&SystemCalls::unlink>("unlink", EACCES),
      Forever<&SystemCalls::unlink>("unlink", EACCES),
      Once<&SystemCalls::stat>("stat", EIO),
      Forever<&SystemCalls::stat>("stat", EIO),
      Once<&SystemCalls::fstat>("fstat", EIO),
      Forever<&SystemCalls::fstat>("fstat", EIO),
      Once<&SystemCalls::lock>("lock", EAGAIN),
      Once<&SystemCalls::lock>("lock", EIO),
      Harmless(Once<&SystemCalls::lock>("lock", EINVAL)),
      Harmless(Once<&SystemCalls::lock>("lock", EINTR)),
      RefusedLocks(EAGAIN),
      Harmless(Once<&SystemCalls::chmod>("chmod", EPERM)),
      Once<&SystemCalls::mkstemp>("mkstemp", EACCES),
      Forever<&SystemCalls::mkstemp>("mkstemp", EMFILE),
      Once<&SystemCalls::allocate>("allocate", ENOMEM),
      Forever<&SystemCalls::allocate>("allocate", ENOMEM),
      Once<&SystemCalls::allocateZeroed>("allocate zeroed", ENOMEM),
      Forever<&SystemCalls::allocateZeroed>("allocate zeroed", ENOMEM),
  };
}

// The other errors that each call can give, and the long series.
std::vector<Fault> RareFaults() {
  return {
      Once<&SystemCalls::open>("open", EIO),
      Once<&SystemCalls::open>("open", ENOSPC),
      Once<&SystemCalls::open>("open", ENOMEM),
      Forever<&SystemCalls::open>("open", EACCES),
      Interrupted<&SystemCalls::open>("open"),
      Once<&SystemCalls::read>("read", EAGAIN),
      Once<&SystemCalls::read>("read", ENOMEM),
      // A block of a train is read four times at most.
      Short<&SystemCalls::read>("read", 1, Lasting::kForever),
      Short<&SystemCalls::read>("read", 0, Lasting::kForever),
      Interrupted<&SystemCalls::read>("read"),
      Once<&SystemCalls::write>("write", EAGAIN),
      Once<&SystemCalls::write>("write", EFBIG),
      Forever<&SystemCalls::write>("write", EIO),
      Harmless(Short<&SystemCalls::write>("write", 1, Lasting::kForever)),
      Short<&SystemCalls::write>("write", 0, Lasting::kForever),
      Interrupted<&SystemCalls::write>("write"),
      Once<&SystemCalls::lseek>("lseek", EOVERFLOW),
      Forever<&SystemCalls::lseek>("lseek", EINVAL),
      Once<&SystemCalls::ftruncate>("ftruncate", EFBIG),
      Once<&SystemCalls::ftruncate>("ftruncate", ENOSPC),
      Forever<&SystemCalls::ftruncate>("ftruncate", EIO),
      Interrupted<&SystemCalls::ftruncate>("ftruncate"),
      Once<&SystemCalls::fsync>("fsync", ENOSPC),
      Forever<&SystemCalls::fsync>("fsync", ENOSPC),
      Interrupted<&SystemCalls::fsync>("fsync"),
      FailedClose(ENOSPC),
      Harmless(FailedClose(EINTR, Lasting::kForever)),
      Once<&SystemCalls::unlink>("unlink", EIO),
      Once<&SystemCalls::unlink>("unlink", EBUSY),
      Forever<&SystemCalls::unlink>("unlink", EIO),
      Once<&SystemCalls::stat>("stat", ENOMEM),
      Once<&SystemCalls::stat>("stat", EACCES),
      Forever<&SystemCalls::stat>("stat", EACCES),
      Once<&SystemCalls::fstat>("fstat", ENOMEM),
      Forever<&SystemCalls::fstat>("fstat", EOVERFLOW),
      Once<&SystemCalls::lock>("lock", EACCES),
      Once<&SystemCalls::lock>("lock", EDEADLK),
      Once<&SystemCalls::lock>("lock", ENOLCK),
      Harmless(Forever<&SystemCalls::lock>("lock", EINVAL)),
      Interrupted<&SystemCalls::lock>("lock"),
      RefusedLocks(EIO),
      Once<&SystemCalls::mkstemp>("mkstemp", EMFILE),
      Once<&SystemCalls::mkstemp>("mkstemp", ENOSPC),
      Once<&SystemCalls::mkstemp>("mkstemp", EINTR),
      Forever<&SystemCalls::mkstemp>("mkstemp", ENOSPC),
  };
}

enum class Faults { kCommon, kRare };

void PrintTo(Faults faults, std::ostream* out) {
  *out << (faults == Faults::kCommon ? "common" : "rare");
}

// A run that hangs is named before the process ends.
std::string currentRun;

void EndHangingRun(int /*signal*/) {
  constexpr char kText[] = "hangs: ";
  [[maybe_unused]] ssize_t count = ::write(STDERR_FILENO, kText, sizeof kText - 1);
  count = ::write(STDERR_FILENO, currentRun.data(), currentRun.size());
  ::_exit(1);
}

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// What the text of a failed compaction must end with, by its code; the line of another code is any.
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

// The same of a build, a rebuild and a display. A failure of the set-up is a text and a line end;
// one of the build itself has the warning last, whatever came before.
bool BuildEndsAsItsCodeSays(const Outcome& run) {
  static const std::map<Result, std::vector<std::string>> kEnds = {
      {kEndingFailed, {"Close(outfile) failed.\n", "Close(infile) failed.\n"}},
      {kWorkFileNotOpened, {"One of the temporary files could not be opened.\n"}},
      {kOutputIsInput, {"The Output file name can not be same as Input name.\n"}},
      {kOutputNotCreated,
       {"Can't create output file old.ISI\n", "Can't create output file old.ERR\n"}},
      {kSourceNotOpened, {"Can't open source file data.TXT\n"}},
      {kSourceSizeUnknown, {"Unable to determine file size for input file: data.TXT\n"}},
      {kInputNotPrimed, {"Invalid number of bytes read from input file: data.TXT\n"}},
      {kIsiNotOpened, {"Can't open .isi file old.ISI\n"}},
      {kNotAnIsi, {"Not a valid .isi file old.ISI\n"}},
      {kNoMemory,
       {"Insufficient Memory for Buffers.\n", "Sort train memory allocation failed.\n",
        "Memory allocation failed.\n", "ISI buffer allocation failed.\n"}},
  };
  const auto ends = kEnds.find(run.code);
  if (ends != kEnds.end()) {
    return std::any_of(ends->second.begin(), ends->second.end(),
                       [&](const std::string& end) { return run.text.ends_with(end); });
  }
  const std::string warning = "WARNING!  INDEX failed writing to file ";
  const std::size_t last = run.text.rfind(warning);
  if (last == std::string::npos || run.text.find('\n', last) != run.text.size() - 1) return false;
  const std::string before = run.text.substr(0, last);
  if (run.code == kWorkReadFailed) {
    return before.ends_with("WARNING!  INDEX failed reading temporary work file.\n");
  }
  return run.code != kInputReadFailed ||
         before.ends_with("WARNING!  INDEX failed reading input file data.TXT.\n");
}

class FaultSweep : public ProgramTest, public ::testing::WithParamInterface<Faults> {
 protected:
  FaultSweep() {
    ::signal(SIGALRM, EndHangingRun);
    // Nothing of a test must outlive a power cut, and syncing is slow.
    systemCalls.fsync = [](int) { return 0; };
  }

  ~FaultSweep() override { ::signal(SIGALRM, SIG_DFL); }

  using Judge = std::function<void(const Outcome& run, const Fault& fault)>;

  static constexpr unsigned kSecondsToHang = 60;

  // Runs with every fault at every place; `judge` looks at what each run left.
  void Sweep(const std::vector<std::string>& arguments, const Judge& judge) {
    std::map<std::string, int> points;
    int all = 0;
    for (const Fault& fault : GetParam() == Faults::kCommon ? CommonFaults() : RareFaults()) {
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
    currentRun = fault.name + ", call " + std::to_string(n);
    const std::size_t open = OpenDescriptors();
    Outcome run;
    bool met = false;
    {
      SystemCallsGuard guard;
      fault.arm(guard, n);
      ::alarm(kSecondsToHang);
      run = Run(arguments);
      ::alarm(0);
      met = fault.calls(guard) >= n;
    }
    const ::testing::ScopedTrace trace(
        __FILE__, __LINE__, currentRun + ", code " + std::to_string(run.code) + "\n" + run.text);
    EXPECT_EQ(OpenDescriptors(), open);
    EXPECT_TRUE((met && !fault.harmless) || run.code == kOk);
    EXPECT_EQ(scratch.Read("data.TXT") == data_, true);
    judge(run, fault);
    return met && !HasFailure();
  }

  void PutFiles() const {
    ProgramTest::PutFiles({{"old.ISI", TextOf(old_)}});
    if (dataIsThere_) scratch.Write("data.TXT", data_);
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
      // A backup that has become shorter is copied back as far as it goes.
      const bool backupEnded = fault.name == kReadNothing;
      EXPECT_TRUE(backupEnded || scratch.Read("old.ISI").starts_with(TextOf(old_)));
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
    EXPECT_TRUE(run.code == kOk || BuildEndsAsItsCodeSays(run));
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

  static constexpr const char* kReadNothing = "read from then on of nothing";
  static constexpr const char* kRestored =
      "ISI has been restored after fatal compact error for file: old.ISI\n";
  static constexpr const char* kLost =
      "ISI can not be restored after fatal compact error for file: old.ISI\n";

  std::vector<std::byte> old_;
  std::vector<std::byte> new_;
  std::string data_ = "not looked at";
  bool dataIsThere_ = true;
};

INSTANTIATE_TEST_SUITE_P(Some, FaultSweep, ::testing::Values(Faults::kCommon));
INSTANTIATE_TEST_SUITE_P(Many, FaultSweep, ::testing::Values(Faults::kRare));

TEST_P(FaultSweep, InPlace) {
  const MadeTree tree = MakeTree({.entries = 200, .deleted = 300, .freedSectors = 3});
  old_ = tree.image;
  new_ = ExpectedCompaction(tree, "data,old -1-4");
  Sweep({"old", "-c"}, [this](const auto& run, const auto& fault) { JudgeInPlace(run, fault); });
}

TEST_P(FaultSweep, InPlaceAloneWithManyTrains) {
  const MadeTree tree = ManyTrains();
  old_ = tree.image;
  new_ = ExpectedCompaction(tree, "data,old -1-4");
  Sweep({"-m100", "old", "-c=1"},
        [this](const auto& run, const auto& fault) { JudgeInPlace(run, fault); });
}

TEST_P(FaultSweep, IntoANewFile) {
  const MadeTree tree = MakeTree({.entries = 200, .deleted = 300, .freedSectors = 3});
  old_ = tree.image;
  new_ = ExpectedCompaction(tree, "data,new -1-4");
  Sweep({"old,new", "-c"}, [this](const auto& run, const auto& fault) { JudgeCopy(run, fault); });
}

TEST_P(FaultSweep, Rebuild) {
  data_ = Records(300);
  old_ = BuiltFrom(Records(100));
  new_ = BuiltFrom(data_);
  Sweep({"-m600", "old", "-r"},
        [this](const auto& run, const auto& fault) { JudgeRebuild(run, fault); });
}

TEST_P(FaultSweep, Build) {
  data_ = Records(300);
  old_ = BuiltFrom(Records(100));
  new_ = BuiltFrom(data_);
  Sweep({"-m600", "data,old", "-1-5"},
        [this](const auto& run, const auto& fault) { JudgeRebuild(run, fault); });
}

// Trains of one record, merged two at a time: five passes.
TEST_P(FaultSweep, BuildInManyPasses) {
  data_ = Records(32);
  old_ = BuiltFrom(Records(10));
  new_ = BuiltFrom(data_);
  Sweep({"-m57", "data,old", "-1-5"},
        [this](const auto& run, const auto& fault) { JudgeRebuild(run, fault); });
}

// Three sectors of deleted records, two of them written during the scan.
TEST_P(FaultSweep, BuildWithDeletedRecords) {
  data_ = std::string(6 * 300, '\0') + Records(100);
  old_ = BuiltFrom(Records(10));
  new_ = BuiltFrom(data_);
  Sweep({"data,old", "-1-5"},
        [this](const auto& run, const auto& fault) { JudgeRebuild(run, fault); });
}

// The condition looks at bytes behind the first block of the data: at record 10922, of which two
// bytes stand there. Every record meets it.
TEST_P(FaultSweep, BuildWithACondition) {
  data_.clear();
  for (int i = 0; i < 11000; ++i) data_ += std::to_string(10000 + i * 7919 % 89989) + "\n";
  old_ = BuiltFrom(Records(10));
  BuildRequest request;
  request.keys = {{1, 5}};
  const CompoundTerm term = {
      .connector = Connector::kFirst, .column = 1, .op = Operator::kGreaterEqual, .value = "00000"};
  request.conditions = {CompoundCondition{.select = true, .terms = {term}}};
  const HeaderRequest header = {"data.TXT", "data,old -p=1>='00000',1-5", 0, ByteOrder::kLittle};
  new_ = ExpectedIsi(BuildModel(BytesOf(data_), request), request, header);
  Sweep({"data,old", "-p=1>='00000',1-5"},
        [this](const auto& run, const auto& fault) { JudgeRebuild(run, fault); });
}

// A log takes the messages: the console shows nothing, and what is left besides is the log.
TEST_P(FaultSweep, BuildWithALog) {
  data_ = Records(50);
  old_ = BuiltFrom(Records(10));
  new_ = BuiltFrom(data_);
  Sweep({"-lrun.log", "data,old", "-1-5"}, [this](Outcome run, const auto& fault) {
    if (scratch.Exists("run.log")) run.text = scratch.Read("run.log");
    std::filesystem::remove(scratch.Path("run.log"));
    JudgeRebuild(run, fault);
  });
}

TEST_P(FaultSweep, BuildWithAnErrorFile) {
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

// A data file that the run made goes again when it fails.
TEST_P(FaultSweep, BuildOfAMissingDataFile) {
  data_ = "";
  dataIsThere_ = false;
  old_ = BuiltFrom(Records(10));
  BuildRequest request;
  request.keys = {{1, 5}};
  request.declaredLength = 5;
  const HeaderRequest header = {"data.TXT", "data,old,l5 -1-5", 0, ByteOrder::kLittle};
  new_ = ExpectedIsi(BuildModel({}, request), request, header);
  Sweep({"data,old,l5", "-1-5"}, [this](const auto& run, const auto& fault) {
    const bool closed = run.code == kOk || run.code == kEndingFailed;
    EXPECT_TRUE(run.code == kOk || BuildEndsAsItsCodeSays(run));
    EXPECT_TRUE(!scratch.Exists("old.ISI") || Holds("old.ISI", closed ? new_ : old_) ||
                fault.name.starts_with("unlink"));
    std::vector<std::string> left;
    if (scratch.Exists("old.ISI")) left.push_back("old.ISI");
    // One that could not be looked at, to see that it is still empty, may stay.
    const bool mayStay = run.code == kOk || fault.name.starts_with("fstat");
    if (mayStay && scratch.Exists("data.TXT")) left.push_back("data.TXT");
    EXPECT_TRUE(run.code != kOk || left.size() == 2);
    ExpectLeft(left, fault);
  });
}

TEST_P(FaultSweep, Display) {
  data_ = Records(10);
  old_ = BuiltFrom(data_);
  Sweep({"old", "-i"}, [this](const auto& run, const auto& fault) {
    EXPECT_TRUE(run.code == kOk || BuildEndsAsItsCodeSays(run));
    EXPECT_TRUE(Holds("old.ISI", old_));
    EXPECT_TRUE(run.code != kOk || Contains(run.text, "\ntavindex data,old -1-5\n"));
    ExpectLeft({"data.TXT", "old.ISI"}, fault);
  });
}

}  // namespace
}  // namespace tavindex::test
