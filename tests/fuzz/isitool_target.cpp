// Feeds bytes to every command of isitool as an ISI file, with a data file beside it. The first
// byte chooses a command of another target with the same corpus and is passed over. Whatever the
// bytes are, the run must end.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "isitool/tool.h"

namespace {

constexpr std::size_t kMaxSize = 64 * 1024;

// ISI and DATA stand for the names of the files.
const std::vector<std::string> kCommands[] = {
    {"info", "--data=DATA", "ISI"},
    {"check", "--data=DATA", "ISI"},
    {"check", "--json", "--strict", "--no-data", "ISI"},
    {"dump", "--json", "ISI"},
    {"dump", "--from=key1", "--to=key12", "ISI"},
    {"find", "--prefix", "--data=DATA", "ISI", "key1"},
    {"stat", "--json", "ISI"},
    {"map", "--color=always", "ISI"},
    {"map", "--svg", "ISI"},
};

// A file in memory, with a name that it can be opened by.
class MemoryFile {
 public:
  explicit MemoryFile(std::string_view bytes) : fd_(::memfd_create("fuzz", MFD_CLOEXEC)) {
    if (::write(fd_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
      std::abort();
  }
  ~MemoryFile() { ::close(fd_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  std::string Name() const { return "/proc/self/fd/" + std::to_string(fd_); }

 private:
  int fd_;
};

// What the ISI files of the corpus index.
std::string Data() {
  std::string data;
  for (int i = 0; i < 40; ++i) data += "key" + std::to_string(100 + i * 7 % 40) + "xxxx\n";
  return data;
}

std::string WithNames(std::string text, const MemoryFile& isi, const MemoryFile& data) {
  if (text == "ISI") return isi.Name();
  if (const std::size_t at = text.find("DATA"); at != std::string::npos) {
    text.replace(at, 4, data.Name());
  }
  return text;
}

std::FILE* Nowhere() {
  static std::FILE* const stream = std::fopen("/dev/null", "w");
  return stream;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size < 2 || size > kMaxSize) return 0;
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  static const MemoryFile data(Data());
  const MemoryFile isi(text.substr(1));
  for (const std::vector<std::string>& command : kCommands) {
    std::vector<std::string> texts = {"isitool"};
    for (const std::string& word : command) texts.push_back(WithNames(word, isi, data));
    std::vector<char*> argv;
    for (std::string& word : texts) argv.push_back(word.data());
    argv.push_back(nullptr);
    tavindex::RunTool(static_cast<int>(texts.size()), argv.data(), Nowhere(), Nowhere());
  }
  return 0;
}
