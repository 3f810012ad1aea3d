// Runs the program as a user does: its own process, a directory to stand in, an environment that
// says nothing, its output caught.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tavindex::test {

struct ProgramResult {
  int exitStatus = -1;  // 128 and more: ended by that signal
  std::string output;
  double seconds = 0;  // from start to end
  double cpuSeconds = 0;
  long peakKilobytes = 0;  // memory in use at most
};

// `arguments` without the program's name. Work files go into `directory`.
ProgramResult RunProgram(const std::string& directory, const std::vector<std::string>& arguments);

// The command as it would be typed into a shell.
std::string ShellCommand(const std::vector<std::string>& arguments);

std::vector<std::byte> ReadBytes(const std::string& path);

}  // namespace tavindex::test
