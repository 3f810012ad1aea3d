// Runs a fuzz target over the files of a corpus directory, each once: what was ever found stays
// found, in every test run and with every compiler.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "support/read_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
    files.push_back(std::filesystem::absolute(entry.path()));
  }
  std::sort(files.begin(), files.end());
  for (const auto& path : files) {
    std::printf("%s\n", path.filename().c_str());
    std::fflush(stdout);
    const std::string bytes = tavindex::test::ReadFile(path);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("%zu files\n", files.size());
  return files.empty() ? 1 : 0;
}
