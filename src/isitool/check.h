// isitool check: proves that an ISI is sound and agrees with its data file.
#pragma once

#include "isitool/isi_file.h"
#include "isitool/tool.h"

namespace tavindex {

ToolStatus RunCheck(const Tool& tool, IsiFile& file);

}  // namespace tavindex
