// Takes every variable that the program reads out of the environment and, at its end, puts the
// environment back as it was.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace tavindex::test {

class EnvironmentGuard {
 public:
  EnvironmentGuard() {
    for (char** entry = ::environ; *entry != nullptr; ++entry) before_.emplace_back(*entry);
    for (const std::string& entry : before_) {
      const std::string name = entry.substr(0, entry.find('='));
      if (ReadByTheProgram(name)) Unset(name);
    }
  }
  ~EnvironmentGuard() {
    ::clearenv();
    for (const std::string& entry : before_) {
      const std::size_t sign = entry.find('=');
      ::setenv(entry.substr(0, sign).c_str(), entry.substr(sign + 1).c_str(), 1);
    }
  }
  EnvironmentGuard(const EnvironmentGuard&) = delete;
  EnvironmentGuard& operator=(const EnvironmentGuard&) = delete;

  void Set(const std::string& name, const std::string& value) {
    ::setenv(name.c_str(), value.c_str(), 1);
  }
  void Unset(const std::string& name) { ::unsetenv(name.c_str()); }

 private:
  static bool ReadByTheProgram(std::string_view name) {
    for (const std::string_view prefix : {"KVR", "TAVDB_", "DBPATH", "DBC", "TERM", "TMPDIR"}) {
      if (name.substr(0, prefix.size()) == prefix) return true;
    }
    return false;
  }

  std::vector<std::string> before_;
};

}  // namespace tavindex::test
