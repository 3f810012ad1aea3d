// isitool stat: levels, fill, duplicates, unused space, and what a compaction would save.
#pragma once

#include <cstdint>

#include "isitool/isi_file.h"
#include "isitool/tool.h"

namespace tavindex {

// Nodes of the tree that a build or a compaction makes of so many entries, with full nodes of
// `capacity` entries; the root counts.
std::uint64_t DenseNodes(std::uint64_t entries, std::uint32_t capacity);

ToolStatus RunStat(const Tool& tool, IsiFile& file);

}  // namespace tavindex
