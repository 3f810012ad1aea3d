// Feeds bytes to the program as its arguments (one a line), its configuration file, the variables
// of its environment (NAME=value, one a line) and its data file, separated by the byte 0xFF. The
// run must end, with status 0 or a failure.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/scene.h"

namespace {

constexpr char kSeparator = '\xFF';
constexpr std::size_t kMaxSize = 256 * 1024;

std::vector<std::string> Arguments(std::string_view lines) {
  std::vector<std::string> arguments = {"-iset.ini"};
  while (!lines.empty()) arguments.emplace_back(tavindex::test::TakePiece(lines, '\n'));
  return arguments;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace tavindex::test;
  if (size > kMaxSize) return 0;
  StartScene();
  std::string_view text(reinterpret_cast<const char*>(bytes), size);
  const std::string_view line = TakePiece(text, kSeparator);
  WriteFile("set.ini", TakePiece(text, kSeparator));
  SetVariables(TakePiece(text, kSeparator));
  WriteFile("data.TXT", text);
  RunArguments(Arguments(line));
  // The same once more as one text, the driver's other source of arguments.
  RunText(line);
  return 0;
}
