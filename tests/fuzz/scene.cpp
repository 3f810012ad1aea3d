#include "fuzz/scene.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "common/run_context.h"
#include "driver/run_driver.h"
#include "fuzz/confined_calls.h"

namespace tavindex::test {

namespace {

constexpr std::string_view kWorkHere = "TMPDIR=.";

bool LookedUp(std::string_view name) {
  for (const std::string_view prefix : {"KVR", "TAVDB_"}) {
    if (name.substr(0, prefix.size()) == prefix) return true;
  }
  constexpr std::array<std::string_view, 4> kNames = {"DBPATH", "DBC", "TERM", "TMPDIR"};
  return std::ranges::find(kNames, name) != kNames.end();
}

// The environment of a run. setenv would keep every value it ever saw.
class Variables {
 public:
  Variables() { Clear(); }
  void Clear() { texts_ = {std::string(kWorkHere)}; }
  void Set(std::string_view entry) {
    const std::string_view name = entry.substr(0, entry.find('='));
    if (name.size() == entry.size() || !LookedUp(name)) return;
    std::erase_if(texts_,
                  [&](const std::string& text) { return text.substr(0, text.find('=')) == name; });
    texts_.emplace_back(entry);
  }
  // Valid until the next change.
  char** Table() {
    table_.clear();
    for (std::string& text : texts_) table_.push_back(text.data());
    table_.push_back(nullptr);
    return table_.data();
  }

 private:
  std::vector<std::string> texts_;
  std::vector<char*> table_;
};

Variables variables;

// As the system hands it over: an argument or variable ends at its first NUL.
std::string_view UpToNul(std::string_view text) { return text.substr(0, text.find('\0')); }

int LowestFreeDescriptor() {
  const int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  ::close(fd);
  return fd;
}

// Runs with the scene's environment in place of the process's.
template <typename Body>
Result InScene(Body body) {
  static RunContext context;
  runContext = &context;
  char** const before = ::environ;
  const int firstFree = LowestFreeDescriptor();
  ::environ = variables.Table();
  const Result result = body();
  ::environ = before;
  if (LowestFreeDescriptor() != firstFree) Fail("a descriptor is still open");
  return result;
}

std::FILE* Console() {
  static std::FILE* const console = std::fopen("/dev/null", "w");
  return console;
}

}  // namespace

void StartScene() {
  ConfineToScratch();
  for (const auto& entry : std::filesystem::directory_iterator(".")) {
    std::filesystem::remove_all(entry.path());
  }
  variables.Clear();
  Console();
}

void WriteFile(const std::string& name, std::string_view bytes) {
  std::ofstream file(name, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!file.flush()) Fail("the scene cannot be set: " + name);
}

bool Exists(const std::string& name) {
  std::error_code ignored;
  return std::filesystem::exists(std::filesystem::symlink_status(name, ignored));
}

std::string_view TakePiece(std::string_view& text, char separator) {
  const std::size_t end = text.find(separator);
  const std::string_view piece = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return piece;
}

void SetVariables(std::string_view lines) {
  while (!lines.empty()) variables.Set(UpToNul(TakePiece(lines, '\n')));
}

Result RunArguments(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "tavindex");
  std::vector<char*> argv;
  for (std::string& argument : arguments) {
    argument.resize(UpToNul(argument).size());
    argv.push_back(argument.data());
  }
  const int count = static_cast<int>(argv.size());
  return InScene([&] { return RunDriver(count, argv.data(), nullptr, 0, Console(), false); });
}

Result RunText(std::string_view line) {
  std::string text = "tavindex " + std::string(UpToNul(line));
  return InScene([&] { return RunDriver(0, nullptr, text.data(), 0, Console(), false); });
}

void Fail(const std::string& what) {
  std::fprintf(stderr, "finding: %s\n", what.c_str());
  std::abort();
}

}  // namespace tavindex::test
