// isitool map: a picture of the file, sector by sector.
#pragma once

#include "isitool/isi_file.h"
#include "isitool/tool.h"

namespace tavindex {

ToolStatus RunMap(const Tool& tool, IsiFile& file);

}  // namespace tavindex
