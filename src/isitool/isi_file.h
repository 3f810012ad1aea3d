// An ISI file opened for reading: its front, and the sectors behind it. Built on the tree reader of
// isi/, which knows the addresses; what is read is believed no further than it was checked.
#pragma once

#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "isi/tree_reader.h"

namespace tavindex {

inline constexpr std::uint32_t kHeaderSector = 0;
inline constexpr std::uint32_t kRootSector = kRootOffset / kSectorSize;
inline constexpr std::uint32_t kOpenListSector = kOpenListOffset / kSectorSize;
inline constexpr std::uint32_t kFirstFreeSector = kFrontSize / kSectorSize;

struct IsiFile {
  IsiFile() = default;
  IsiFile(const IsiFile&) = delete;
  IsiFile& operator=(const IsiFile&) = delete;
  ~IsiFile();

  std::string path;
  struct stat status {};
  TreeReader reader;  // decoded as far as the file reaches; zeros behind its end
  std::string fault;  // why the tree cannot be read, empty when it can

  const IsiHeader& Header() const { return reader.header; }
  std::uint64_t Size() const { return static_cast<std::uint64_t>(status.st_size); }
};

// Opens `path` and reads its front. False, with `why`, when it cannot be read or has no ISI's
// signature. A header that no tree can be read by is no failure here: `fault` tells.
bool OpenIsi(const std::string& path, IsiFile& file, std::string& why);

// The sector at an address that IsSectorAddress accepts.
std::uint32_t SectorOf(const IsiFile& file, std::uint32_t address);

// An entry of a node, as it stands in the node's bytes.
struct EntryView {
  std::uint32_t lfa = 0;
  std::uint32_t child = 0;
  std::uint16_t dupSeq = 0;
  std::uint16_t recLength = 0;
  std::span<const std::uint8_t> key;
};

// `index` counts from 1, and is within the node's capacity.
EntryView EntryOf(const IsiFile& file, const std::uint8_t* sector, std::uint32_t index);

// The byte offset in the data file of a record address.
std::uint64_t RecordOffset(const IsiFile& file, std::uint32_t lfa);

// The level of a node: the low-order byte of its field.
std::uint32_t LevelOf(const IsiFile& file, const std::uint8_t* sector);

}  // namespace tavindex
