// Feeds bytes to the program as an ISI file: shown, rebuilt, compacted in place and into a new
// file. The first byte chooses the command, the rest is the file. Whatever the bytes are, the run
// must end, with status 0 or a failure, and a file that was only read must be as it was.

#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

#include "fuzz/scene.h"

namespace {

constexpr const char* kIsi = "in.ISI";
constexpr std::size_t kMaxSize = 64 * 1024;

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

// What the ISI files of the corpus index.
std::string Data() {
  std::string data;
  for (int i = 0; i < 40; ++i) data += "key" + std::to_string(100 + i * 7 % 40) + "xxxx\n";
  return data;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace tavindex::test;
  if (size < 2 || size > kMaxSize) return 0;
  const Command& command = kCommands[bytes[0] % std::size(kCommands)];
  const std::string_view isi(reinterpret_cast<const char*>(bytes) + 1, size - 1);
  StartScene();
  WriteFile("data.TXT", Data());
  WriteFile(kIsi, isi);
  const tavindex::Result result = RunArguments({"-m4096", command.line, command.options});
  const bool compacts = command.options[1] == 'c';
  // A compaction that failed has put the old bytes back, or never touched them.
  const bool mustBeSame = !command.mayChangeInput || (compacts && result != tavindex::kOk);
  if (mustBeSame && ReadFile(kIsi) != isi) Fail("the ISI was changed");
  if (Exists("in.ISI.bak")) Fail("the backup was left");
  return 0;
}
