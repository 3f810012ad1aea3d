// isitool dump: the entries in key order.
#pragma once

#include "isitool/isi_file.h"
#include "isitool/tool.h"

namespace tavindex {

ToolStatus RunDump(const Tool& tool, IsiFile& file);

}  // namespace tavindex
