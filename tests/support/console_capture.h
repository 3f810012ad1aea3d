// A stream that keeps what is printed to it. It is a file without a name, so that it has a
// descriptor and is no terminal.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <string>

namespace tavindex::test {

class ConsoleCapture {
 public:
  ConsoleCapture() : stream_(std::tmpfile()) {}
  ~ConsoleCapture() { std::fclose(stream_); }
  ConsoleCapture(const ConsoleCapture&) = delete;
  ConsoleCapture& operator=(const ConsoleCapture&) = delete;

  std::FILE* Stream() const { return stream_; }
  int Descriptor() const { return ::fileno(stream_); }

  // Everything printed since the start or since the last Take.
  std::string Text() const {
    std::fflush(stream_);
    std::string text;
    char block[4096];
    off_t at = taken_;
    for (ssize_t count; (count = ::pread(Descriptor(), block, sizeof block, at)) > 0; at += count) {
      text.append(block, static_cast<std::size_t>(count));
    }
    return text;
  }
  std::string Take() {
    std::string text = Text();
    taken_ += static_cast<off_t>(text.size());
    return text;
  }

 private:
  std::FILE* stream_;
  off_t taken_ = 0;
};

}  // namespace tavindex::test
