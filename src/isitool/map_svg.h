// The map as an SVG document.
#pragma once

#include "isitool/isi_file.h"
#include "isitool/survey.h"
#include "isitool/tool.h"

namespace tavindex {

void DrawSvgMap(const Tool& tool, const IsiFile& file, const Survey& survey);

}  // namespace tavindex
