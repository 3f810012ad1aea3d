// The resolution of the data file's and the index file's name: volume, parts, default extension,
// search path, assembly. Both start from the name as typed and leave its parts in `names`.
#pragma once

#include <string_view>

#include "common/run_context.h"

namespace tavindex {

// dataFileName from its typed form to the path that is opened. False when the volume's directory
// and the name do not fit together; the name is then as typed.
bool ResolveDataName(RunContext& run);

// outputFileName's parts, up to but without the final assembly. Needs the data file's parts: a
// missing base name or directory is taken from them. False as above.
bool ResolveIndexParts(RunContext& run);

// The rule for the name of an ISI that is only read: its own parts, ".ISI" when it has no
// extension, the search path.
bool ResolveIsiName(RunContext& run, PathText& name);

// The file that an ISI's header names: the name as it stands or, when it has no directory and is
// not there, along the search path.
void FindStoredFile(RunContext& run, std::string_view storedName, PathText& path);

}  // namespace tavindex
