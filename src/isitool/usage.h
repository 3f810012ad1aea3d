// What --help prints.
#pragma once

namespace tavindex {

extern const char* const kToolUsage;

}  // namespace tavindex
