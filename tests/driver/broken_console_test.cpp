// A console that is closed, full or gone changes nothing but what is seen: the files and the exit
// status are those of any other run.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "program_process.h"
#include "program_test.h"
#include "sample_commands.h"

namespace tavindex::test {
namespace {

void CloseOutput() { ::close(STDOUT_FILENO); }

void CloseAllButOutput() {
  ::close(STDIN_FILENO);
  ::close(STDERR_FILENO);
}

void CloseAll() {
  CloseAllButOutput();
  CloseOutput();
}

void FillOutput() { ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO); }

// A reader that is gone; the signal is what a shell leaves it to be.
void BreakOutput() {
  int pipe[2];
  if (::pipe(pipe) != 0) return;
  ::signal(SIGPIPE, SIG_DFL);
  ::close(pipe[0]);
  ::dup2(pipe[1], STDOUT_FILENO);
  ::close(pipe[1]);
}

// Nothing may be written to it.
void OpenOutputForReading() { ::dup2(::open("/dev/null", O_RDONLY), STDOUT_FILENO); }

class BrokenConsole : public ProgramTest, public ::testing::WithParamInterface<SampleCommand> {
 protected:
  int RunWith(const std::function<void()>& prepare) {
    PutFiles(GetParam().start);
    ProgramProcess process(GetParam().arguments, scratch.Path(), prepare);
    const int status = process.Wait();
    text_ = process.Text();
    return status;
  }

  std::string text_;
};

TEST_P(BrokenConsole, ChangesNeitherFilesNorStatus) {
  const std::map<std::string, std::function<void()>> ways = {
      {"closed", CloseOutput},
      {"all closed", CloseAll},
      {"all but it closed", CloseAllButOutput},
      {"full", FillOutput},
      {"without a reader", BreakOutput},
      {"opened for reading", OpenOutputForReading}};
  for (const auto& [name, prepare] : ways) {
    EXPECT_EQ(RunWith(prepare), 0) << name;
    EXPECT_TRUE(ReadFiles() == GetParam().complete) << name;
  }
}

// What is refused is refused without words.
TEST_P(BrokenConsole, DoesNotHideAFailure) {
  for (const auto& prepare : {CloseOutput, CloseAll, FillOutput, BreakOutput}) {
    const int status = RunWith([&] {
      ::unlink("data.TXT");
      ::unlink("old.ISI");
      prepare();
    });
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_EQ(FilesLeft(), std::vector<std::string>{});
  }
}

// With the output in place the others are not missed, and nothing is printed on them.
TEST_P(BrokenConsole, OutputIsWholeWhenTheOthersAreClosed) {
  ASSERT_EQ(RunWith([] {}), 0);
  const std::string normal = text_.substr(0, text_.find("Start time = "));
  ASSERT_EQ(RunWith(CloseAllButOutput), 0);
  EXPECT_EQ(text_.substr(0, text_.find("Start time = ")), normal);
}

std::vector<SampleCommand> AllCommands() {
  std::vector<SampleCommand> commands = SampleCommands(SampleSize::kShort);
  commands.push_back(SampleDisplay());
  return commands;
}

INSTANTIATE_TEST_SUITE_P(Every, BrokenConsole, ::testing::ValuesIn(AllCommands()),
                         ::testing::PrintToStringParamName());

}  // namespace
}  // namespace tavindex::test
