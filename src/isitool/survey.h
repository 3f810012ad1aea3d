// What a file holds, counted: every node and list sector that can be reached.
#pragma once

#include <array>
#include <cstdint>

#include "isitool/isi_file.h"
#include "isitool/sector_table.h"
#include "isitool/tool.h"

namespace tavindex {

struct LevelCount {
  std::uint64_t nodes = 0;
  std::uint64_t entries = 0;
};

struct Survey {
  explicit Survey(const IsiFile& file) : table(file.reader.sectors) {}

  SectorTable table;
  std::array<LevelCount, 256> levels;  // by the level that a node names
  std::uint32_t topLevel = 0;
  std::uint64_t nodes = 0;
  std::uint64_t entries = 0;
  std::uint64_t duplicates = 0;  // entries whose key stands before them too
  std::uint64_t listSectors = 0;
  std::uint64_t deleted = 0;
  bool faulty = false;  // something could not be reached

  // Sectors behind 2048 that nothing refers to.
  std::uint64_t Unreached() const;
};

// Walks list and tree; tells faults as messages.
void TakeSurvey(const Tool& tool, IsiFile& file, Survey& survey);

}  // namespace tavindex
