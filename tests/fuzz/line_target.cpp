// Feeds bytes to the program as its arguments, its configuration file and its data file, separated
// by the byte 0xFF. The run must end, with status 0 or a failure.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "common/run_context.h"
#include "driver/run_driver.h"
#include "fuzz/confined_calls.h"

namespace {

constexpr char kSeparator = '\xFF';

std::string_view TakePiece(std::string_view& text) {
  const std::size_t end = text.find(kSeparator);
  const std::string_view piece = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return piece;
}

void WriteFile(const char* path, std::string_view bytes) {
  std::FILE* file = std::fopen(path, "wb");
  if (file == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size()) {
    std::abort();
  }
  std::fclose(file);
}

void StartScene(std::string_view settings, std::string_view data) {
  for (const auto& entry : std::filesystem::directory_iterator(".")) {
    std::filesystem::remove_all(entry.path());
  }
  WriteFile("set.ini", settings);
  WriteFile("data.TXT", data);
}

// The arguments, one a line; "tavindex" stands before them.
std::vector<std::string> Words(std::string_view text) {
  std::vector<std::string> words = {"tavindex", "-iset.ini"};
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    words.emplace_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  // Arguments end at their first NUL, as the system hands them over.
  for (std::string& word : words) word.resize(std::string_view(word.c_str()).size());
  return words;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  constexpr std::size_t kMaxSize = 256 * 1024;
  if (size > kMaxSize) return 0;
  static std::FILE* console = std::fopen("/dev/null", "w");
  static tavindex::RunContext context;
  tavindex::test::ConfineToScratch();
  std::string_view text(reinterpret_cast<const char*>(bytes), size);
  const std::string_view line = TakePiece(text);
  const std::string_view settings = TakePiece(text);
  StartScene(settings, text);
  std::vector<std::string> words = Words(line);
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  tavindex::runContext = &context;
  tavindex::RunDriver(static_cast<int>(arguments.size()), arguments.data(), nullptr, 0, console,
                      false);
  // The same once more as one text, the driver's other source of arguments.
  std::string joined = "tavindex " + std::string(line);
  joined.resize(std::string_view(joined.c_str()).size());
  tavindex::RunDriver(0, nullptr, joined.data(), 0, console, false);
  return 0;
}
