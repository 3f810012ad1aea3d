// Creating output files without ever destroying a file of the user that is something else.
#pragma once

#include <sys/stat.h>

#include <span>

namespace tavindex {

// Creates `path` for reading and writing, or empties the file that is there. Permissions 0666
// before the umask. Returns the descriptor or kNoFile.
int CreateOutputFile(const char* path);

// What a look at a path tells. One that cannot be looked at (anything but "no such file") might be
// any file of the user, and the questions below are answered as if it were.
enum class PathState { kThere, kAbsent, kUnknown };
PathState LookAt(const char* path, struct stat& status);

// Whether `path`, if it exists, is the file of one of `descriptors` (closed ones are passed over).
bool IsOneOf(const char* path, std::span<const int> descriptors);

// Whether both paths name one file that exists.
bool IsSameFile(const char* a, const char* b);

// Whether `path` does not exist or is a regular file.
bool IsRegularOrAbsent(const char* path);

}  // namespace tavindex
