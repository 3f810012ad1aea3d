// The search path: directories, separated by ':', in which a name without a directory is sought.
#pragma once

#include <cstddef>
#include <string_view>

#include "common/file_names.h"

namespace tavindex {

// Looks for `name` in the current directory, then along `pathList`. When an element holds it,
// `directory` becomes that element with a '/' behind it and its length is returned; otherwise
// `directory` stays and the result is 0. A file counts as found only when it can be opened for
// reading and writing.
std::size_t SearchPath(std::string_view name, PathText& directory, std::string_view pathList);

}  // namespace tavindex
