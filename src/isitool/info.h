// isitool info: what the header says.
#pragma once

#include "isitool/isi_file.h"
#include "isitool/tool.h"

namespace tavindex {

ToolStatus RunInfo(const Tool& tool, IsiFile& file);

}  // namespace tavindex
