// Creating output files without ever destroying a file of the user that is something else.
#pragma once

#include <span>

namespace tavindex {

// Creates `path` for reading and writing, or empties the file that is there. Permissions 0666
// before the umask. Returns the descriptor or kNoFile.
int CreateOutputFile(const char* path);

// Whether `path`, if it exists, is the file of one of `descriptors` (closed ones are passed over).
bool IsOneOf(const char* path, std::span<const int> descriptors);

// Whether `path` does not exist or is a regular file.
bool IsRegularOrAbsent(const char* path);

}  // namespace tavindex
