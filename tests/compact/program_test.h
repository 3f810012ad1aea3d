// The fixture of tests that run the whole program in this process: in a scratch directory that is
// the current one, with work files in its folder "tmp", and with the table of system calls at hand.

#ifndef TESTS_COMPACT_PROGRAM_TEST_H_
#define TESTS_COMPACT_PROGRAM_TEST_H_

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/run_context.h"
#include "driver/run_driver.h"
#include "support/console_capture.h"
#include "support/environment_guard.h"
#include "support/scratch_directory.h"
#include "support/system_calls_guard.h"
#include "tree_maker.h"

namespace tavindex::test {

struct Outcome {
  Result code = 0;
  std::string text;  // behind the banner, without the timing line
};

// What was printed between the banner (four lines, the echo of the arguments first) and the timing
// line.
inline std::string WithoutFrame(std::string text) {
  std::size_t start = 0;
  for (int line = 0; line < 4; ++line) start = text.find('\n', start) + 1;
  text.erase(0, start);
  const std::size_t times = text.rfind("Start time = ");
  if (times != std::string::npos) text.erase(times);
  return text;
}

class ProgramTest : public ::testing::Test {
 protected:
  ProgramTest() : directory_(scratch.Path()) {
    scratch.MakeDirectory("tmp");
    environment.Set("TMPDIR", "tmp");
    before_ = runContext;
    runContext = context_.get();
  }
  ~ProgramTest() override { runContext = before_; }

  // Runs "tavindex" with these arguments.
  Outcome Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "tavindex");
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    const ConsoleCapture console;
    const int argc = static_cast<int>(argv.size());
    Outcome outcome;
    outcome.code = RunDriver(argc, argv.data(), nullptr, 0, console.Stream(), false);
    outcome.text = WithoutFrame(console.Text());
    return outcome;
  }

  std::vector<std::byte> ReadBytes(const std::string& name) const {
    return BytesOf(scratch.Read(name));
  }
  // Always a new file: emptying one and writing it again makes file systems wait for the disk.
  void WriteBytes(const std::string& name, const std::vector<std::byte>& bytes) const {
    ::unlink(scratch.Path(name).c_str());
    scratch.Write(name, TextOf(bytes));
  }
  // The files in the scratch directory, with the work files; the folder itself is not one.
  std::vector<std::string> FilesLeft() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(scratch.Path())) {
      if (!entry.is_directory()) names.push_back(entry.path().lexically_relative(scratch.Path()));
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  // The same with what is in them.
  std::map<std::string, std::string> ReadFiles() const {
    std::map<std::string, std::string> files;
    for (const std::string& name : FilesLeft()) files[name] = scratch.Read(name);
    return files;
  }
  // Makes these the only files.
  void PutFiles(const std::map<std::string, std::string>& files) const {
    for (const std::string& name : FilesLeft()) ::unlink(scratch.Path(name).c_str());
    for (const auto& [name, content] : files) scratch.Write(name, content);
  }

  EnvironmentGuard environment;
  ScratchDirectory scratch;
  SystemCallsGuard calls;

 private:
  CurrentDirectory directory_;
  std::unique_ptr<RunContext> context_ = std::make_unique<RunContext>();
  RunContext* before_ = nullptr;
};

// Open descriptors of this process: equal before and after whatever must leave none open.
inline std::size_t OpenDescriptors() {
  using std::filesystem::directory_iterator;
  return static_cast<std::size_t>(
      std::distance(directory_iterator("/proc/self/fd"), directory_iterator()));
}

}  // namespace tavindex::test

#endif  // TESTS_COMPACT_PROGRAM_TEST_H_
