// measure: runs a command and tells what it took.
//
//   measure RESULT COMMAND [ARGUMENT...]
//
// Writes one line to the file RESULT: wall, user and system time in seconds and peak resident
// memory in KiB. Ends with the command's exit status. It is a program of its own because the peak
// that the system reports for a process counts what its parent held before the command began:
// this one holds next to nothing.

#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>

namespace {

constexpr int kNotStarted = 127;

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double Now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// The exit status, with 128 and more for a signal, as the shell has it.
int Run(char** command, rusage& usage) {
  const pid_t child = fork();
  if (child == 0) {
    execvp(command[0], command);
    std::perror(command[0]);
    _exit(kNotStarted);
  }
  int status = 0;
  if (child < 0 || wait4(child, &status, 0, &usage) != child) return kNotStarted;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fputs("usage: measure RESULT COMMAND [ARGUMENT...]\n", stderr);
    return 2;
  }
  rusage usage{};
  const double start = Now();
  const int status = Run(argv + 2, usage);
  const double wall = Now() - start;
  std::FILE* result = std::fopen(argv[1], "w");
  if (result == nullptr) {
    std::perror(argv[1]);
    return kNotStarted;
  }
  std::fprintf(result, "%.6f %.6f %.6f %ld\n", wall, Seconds(usage.ru_utime),
               Seconds(usage.ru_stime), usage.ru_maxrss);
  return std::fclose(result) == 0 ? status : kNotStarted;
}
