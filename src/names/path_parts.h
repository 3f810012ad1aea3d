// Splitting a path into parts and joining it again.
#pragma once

#include <string_view>

#include "common/run_context.h"

namespace tavindex {

void SplitPath(std::string_view path, FileNameParts& parts);

// Joins drive, directory, base and extension; lower-cases the whole when lowerCaseNames is set.
// False when the result did not fit.
bool MakePath(const RunContext& run, const FileNameParts& parts, PathText& path);

}  // namespace tavindex
