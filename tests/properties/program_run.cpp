#include "program_run.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

#include "support/read_file.h"

namespace tavindex::test {
namespace {

constexpr int kNotStarted = 127;

[[noreturn]] void BecomeTheProgram(const std::string& directory, char** argv, int output) {
  const std::string workDirectory = "TMPDIR=" + directory;
  std::string environment[] = {workDirectory};
  char* envp[] = {environment[0].data(), nullptr};
  const bool ready = ::chdir(directory.c_str()) == 0 && ::dup2(output, STDOUT_FILENO) >= 0 &&
                     ::dup2(output, STDERR_FILENO) >= 0;
  if (ready) ::execve(TAVINDEX_BINARY, argv, envp);
  ::_exit(kNotStarted);
}

std::string ReadAll(int fd) {
  std::string text;
  char block[4096];
  for (ssize_t count; (count = ::read(fd, block, sizeof block)) > 0;) {
    text.append(block, static_cast<std::size_t>(count));
  }
  return text;
}

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

ProgramResult RunProgram(const std::string& directory, const std::vector<std::string>& arguments) {
  std::vector<std::string> texts = {"tavindex"};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& text : texts) argv.push_back(text.data());
  argv.push_back(nullptr);
  int pipe[2];
  ProgramResult result;
  if (::pipe(pipe) != 0) return result;
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = ::fork();
  if (child == 0) BecomeTheProgram(directory, argv.data(), pipe[1]);
  ::close(pipe[1]);
  result.output = ReadAll(pipe[0]);
  ::close(pipe[0]);
  int status = 0;
  rusage usage{};
  ::wait4(child, &status, 0, &usage);
  result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  result.cpuSeconds = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
  result.peakKilobytes = usage.ru_maxrss;
  result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

std::string ShellCommand(const std::vector<std::string>& arguments) {
  std::string command = TAVINDEX_BINARY;
  for (const std::string& argument : arguments) {
    command += " '";
    for (const char c : argument) command += c == '\'' ? std::string("'\\''") : std::string(1, c);
    command += "'";
  }
  return command;
}

std::vector<std::byte> ReadBytes(const std::string& path) {
  const std::string text = ReadFile(path);
  std::vector<std::byte> bytes(text.size());
  if (!text.empty()) std::memcpy(bytes.data(), text.data(), text.size());
  return bytes;
}

}  // namespace tavindex::test
