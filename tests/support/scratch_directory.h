// A directory of a test's own: made empty, removed with everything in it. Also the guard that makes
// a directory the current one for a while.
#pragma once

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "support/read_file.h"

namespace tavindex::test {

// In memory where there is room for the largest test: most tests do little but create and sync
// files.
inline std::string ScratchRoot() {
  constexpr unsigned long long kRoom = 1ULL << 30;
  struct statvfs status;
  const bool roomy = ::statvfs("/dev/shm", &status) == 0 &&
                     status.f_bavail * static_cast<unsigned long long>(status.f_frsize) >= kRoom;
  return roomy && ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
}

class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::string pattern = ScratchRoot() + "/tavindex_test_XXXXXX";
    path_ = ::mkdtemp(pattern.data());
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::string& Path() const { return path_; }
  std::string Path(std::string_view name) const { return path_ + "/" + std::string(name); }

  // Makes or replaces a file; gives its path.
  std::string Write(std::string_view name, std::string_view bytes) const {
    std::ofstream file(Path(name), std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return Path(name);
  }
  std::string MakeDirectory(std::string_view name) const {
    std::filesystem::create_directories(Path(name));
    return Path(name);
  }
  std::string Read(std::string_view name) const { return ReadFile(Path(name)); }
  bool Exists(std::string_view name) const {
    struct stat status;
    return ::lstat(Path(name).c_str(), &status) == 0;
  }
  std::size_t FileCount() const {
    using std::filesystem::directory_iterator;
    return static_cast<std::size_t>(std::distance(directory_iterator(path_), directory_iterator()));
  }

 private:
  std::string path_;
};

class CurrentDirectory {
 public:
  explicit CurrentDirectory(const std::string& path) : before_(std::filesystem::current_path()) {
    std::filesystem::current_path(path);
  }
  ~CurrentDirectory() {
    std::error_code ignored;
    std::filesystem::current_path(before_, ignored);
  }
  CurrentDirectory(const CurrentDirectory&) = delete;
  CurrentDirectory& operator=(const CurrentDirectory&) = delete;

 private:
  std::filesystem::path before_;
};

}  // namespace tavindex::test
