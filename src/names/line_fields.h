// Where the first two file fields of a command line stand, for a line that is to be rewritten.
#pragma once

#include <cstddef>
#include <string_view>

namespace tavindex {

// Places in the line, as counts of characters from its start.
struct LineFields {
  std::size_t firstEnd = 0;  // behind the first field
  bool hasSecond = false;    // a second field stands there, if only an empty one
  std::size_t secondStart = 0;
  std::size_t secondEnd = 0;
  bool hasOptions = false;  // an option text follows the fields
};

// False when the line does not begin with two well-formed names (the second may be missing).
bool FindLineFields(std::string_view line, LineFields& fields);

}  // namespace tavindex
