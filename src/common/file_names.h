// Paths and their parts. A resolved name can be a volume's directory (up to 256 characters) or an
// element of a search path in front of a name, so paths have room for the system's longest.
#pragma once

#include <cstddef>

#include "common/fixed_text.h"

namespace tavindex {

inline constexpr std::size_t kPathSize = 4608;  // bytes, terminator included
inline constexpr std::size_t kWorkNameSize = 270;

using PathText = FixedText<kPathSize>;
using WorkName = FixedText<kWorkNameSize>;

// A path side by side in parts: joined in this order they are the path again.
struct FileNameParts {
  FixedText<3> drive;  // always empty on this system; kept for the form of the names
  PathText directory;  // through the last '/'
  PathText base;
  PathText extension;  // from the last '.' of the last component, the '.' included
};

}  // namespace tavindex
