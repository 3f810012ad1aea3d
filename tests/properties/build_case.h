// Random builds: a data file, the command line of a build over it, and the same build described to
// the checker. Everything follows from the seed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "isi_checker.h"

namespace tavindex::test {

struct BuildCase {
  std::string data;
  BuildRequest request;
  HeaderRequest header;
  std::string memoryOption;  // "-m" and its value
  std::string otherMemoryOption;

  // The program's arguments, with the sort method's option "0" or "1".
  std::vector<std::string> Arguments(char method) const;
};

BuildCase MakeBuildCase(RecordFormat format, std::uint64_t seed);

}  // namespace tavindex::test
