// The program itself in a process of its own, as a user starts it, that can be sent signals and be
// given any standard descriptors.

#ifndef TESTS_DRIVER_PROGRAM_PROCESS_H_
#define TESTS_DRIVER_PROGRAM_PROCESS_H_

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "support/console_capture.h"

namespace tavindex::test {

class ProgramProcess {
 public:
  // Starts "tavindex" with these arguments in `directory`, work files in its folder "tmp".
  // `prepare` runs in the new process, behind the redirection of the output.
  ProgramProcess(
      const std::vector<std::string>& arguments, const std::string& directory,
      const std::function<void()>& prepare = [] {}) {
    child_ = ::fork();
    if (child_ == 0) Become(arguments, directory, prepare);
  }
  ~ProgramProcess() {
    if (child_ > 0) Wait();
  }
  ProgramProcess(const ProgramProcess&) = delete;
  ProgramProcess& operator=(const ProgramProcess&) = delete;

  void Send(int signal) const { ::kill(child_, signal); }
  // The wait status.
  int Wait() {
    int status = 0;
    ::waitpid(child_, &status, 0);
    child_ = -1;
    return status;
  }
  std::string Text() const { return console_.Text(); }

 private:
  [[noreturn]] void Become(std::vector<std::string> arguments, const std::string& directory,
                           const std::function<void()>& prepare) const {
    arguments.insert(arguments.begin(), "tavindex");
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    char workDirectory[] = "TMPDIR=tmp";
    char* environment[] = {workDirectory, nullptr};
    const bool ready =
        ::chdir(directory.c_str()) == 0 && ::dup2(console_.Descriptor(), STDOUT_FILENO) >= 0;
    ::signal(SIGHUP, SIG_DFL);  // whatever the tests are started by
    prepare();
    if (ready) ::execve(TAVINDEX_BINARY, argv.data(), environment);
    ::_exit(127);
  }

  ConsoleCapture console_;
  pid_t child_ = -1;
};

}  // namespace tavindex::test

#endif  // TESTS_DRIVER_PROGRAM_PROCESS_H_
