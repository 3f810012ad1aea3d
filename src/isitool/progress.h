// A line that tells how far a long command is: on a terminal only, overwritten in place, and gone
// at the end.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

namespace tavindex {

class Progress {
 public:
  // Shows on `stream` when it is a terminal.
  explicit Progress(std::FILE* stream);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { Clear(); }

  // What is done now, out of `whole`.
  void Begin(const char* what, std::uint64_t whole);
  void Step(std::uint64_t done) {
    if (shown_ && done >= next_) Show(done);
  }
  // Before anything else is printed.
  void Clear();

 private:
  void Show(std::uint64_t done);

  std::FILE* stream_;
  bool shown_;
  bool onScreen_ = false;
  std::string what_;
  std::uint64_t whole_ = 0;
  std::uint64_t next_ = 0;  // the clock is looked at so often
  std::chrono::steady_clock::time_point last_;
};

}  // namespace tavindex
