// The map in a terminal: coloured blocks, or letters.
#pragma once

#include "isitool/isi_file.h"
#include "isitool/survey.h"
#include "isitool/tool.h"

namespace tavindex {

void DrawTextMap(const Tool& tool, const IsiFile& file, const Survey& survey);

}  // namespace tavindex
