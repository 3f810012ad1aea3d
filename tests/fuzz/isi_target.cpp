// Feeds bytes to the program as an ISI file: shown, rebuilt, compacted in place and into a new
// file. The first byte chooses the command, the rest is the file. Whatever the bytes are, the run
// must end, with status 0 or a failure, and a file that was only read must be as it was.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "common/run_context.h"
#include "common/system_calls.h"
#include "driver/run_driver.h"
#include "fuzz/confined_calls.h"

namespace {

constexpr const char* kIsi = "in.ISI";
constexpr const char* kData = "data.TXT";

struct Command {
  const char* line;
  const char* options;
  bool mayChangeInput;
};

constexpr Command kCommands[] = {
    {"in", "-i", false},       {"in", "-r", true},      {"in", "-c", true},
    {"in", "-c=1", true},      {"in,out", "-c", false}, {"in,out", "-c=0", false},
    {"in,out", "-c=1", false},
};

void WriteFile(const char* path, const std::uint8_t* bytes, std::size_t size) {
  std::FILE* file = std::fopen(path, "wb");
  if (file == nullptr || std::fwrite(bytes, 1, size, file) != size) std::abort();
  std::fclose(file);
}

std::vector<std::uint8_t> ReadFile(const char* path) {
  std::FILE* file = std::fopen(path, "rb");
  if (file == nullptr) return {};
  std::vector<std::uint8_t> bytes(std::filesystem::file_size(path));
  const std::size_t count = std::fread(bytes.data(), 1, bytes.size(), file);
  std::fclose(file);
  bytes.resize(count);
  return bytes;
}

void StartScene(const std::uint8_t* isi, std::size_t size) {
  for (const auto& entry : std::filesystem::directory_iterator(".")) {
    std::filesystem::remove_all(entry.path());
  }
  std::string data;
  for (int i = 0; i < 40; ++i) data += "key" + std::to_string(100 + i * 7 % 40) + "xxxx\n";
  WriteFile(kData, reinterpret_cast<const std::uint8_t*>(data.data()), data.size());
  WriteFile(kIsi, isi, size);
}

tavindex::Result Run(const Command& command) {
  static std::FILE* console = std::fopen("/dev/null", "w");
  static tavindex::RunContext context;
  tavindex::runContext = &context;
  std::string words[] = {"tavindex", "-m4096", command.line, command.options};
  char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data()};
  return tavindex::RunDriver(4, arguments, nullptr, 0, console, false);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  constexpr std::size_t kMaxSize = 64 * 1024;
  if (size < 2 || size > kMaxSize) return 0;
  const Command& command = kCommands[bytes[0] % std::size(kCommands)];
  tavindex::test::ConfineToScratch();
  StartScene(bytes + 1, size - 1);
  const tavindex::Result result = Run(command);
  const std::vector<std::uint8_t> after = ReadFile(kIsi);
  const bool same = after.size() == size - 1 && std::memcmp(after.data(), bytes + 1, size - 1) == 0;
  const bool compacts = std::strncmp(command.options, "-c", 2) == 0;
  // A compaction that failed has put the old bytes back, or never touched them.
  const bool mustBeSame = !command.mayChangeInput || (compacts && result != tavindex::kOk);
  if (mustBeSame && !same) std::abort();
  if (std::filesystem::exists("in.ISI.bak")) std::abort();
  return 0;
}
