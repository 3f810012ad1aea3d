// The deleted-record list of an ISI under compaction.
#pragma once

#include <cstdint>

#include "common/run_context.h"
#include "isi/tree_reader.h"

namespace tavindex {

// What the compaction does with the list.
enum class ListFate : std::uint8_t { kNone, kDropped, kKept };

struct OldList {
  ListFate fate = ListFate::kNone;
  std::uint32_t sectors = 0;  // of the chain, when it is kept
  std::uint32_t deletedCount = 0;
};

// Walks the chain and checks it, before any file changes. kBadDeletedCount for a sector with too
// many addresses or a chain longer than the file, kNotAnIsi for an address outside it.
Result InspectList(const TreeReader& reader, OldList& list);

// Writes the list part of the new ISI at the output's current position (1536) and leaves the
// position behind it: the chain in its order, or one sector that no reader looks at. In place, the
// chain goes to the end of the file first, since it may stand where it is to be written. Sets the
// builder's list head and next node address. kIsiWriteFailed after the message, kWorkReadFailed.
Result WriteListPart(RunContext& run, const TreeReader& reader, const OldList& list);

}  // namespace tavindex
