// isitool find: the entries with a key, and their records.
#pragma once

#include "isitool/isi_file.h"
#include "isitool/tool.h"

namespace tavindex {

ToolStatus RunFind(const Tool& tool, IsiFile& file);

}  // namespace tavindex
