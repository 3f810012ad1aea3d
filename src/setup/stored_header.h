// What an ISI's header keeps of the build that made it, in the present layout and in the older one
// (8.x), which has its command line at another place.
#pragma once

#include "common/fixed_text.h"
#include "isi/isi_format.h"

namespace tavindex {

struct StoredBuild {
  FixedText<header::kDataFileNameSize + 1> dataFileName;
  FixedText<header::kCommandLineSize> commandLine;
  bool olderLayout = false;
};

// Reads it from an open ISI; a file shorter than a header reads as one that is zero behind its end.
// False when the file cannot be read or is no ISI.
bool LoadStoredBuild(int fd, StoredBuild& stored);

}  // namespace tavindex
