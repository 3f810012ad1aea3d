// The merge of the sort trains into one ordered stream of items.
//
// Up to 30 trains are merged in one pass, straight into the item consumer. More take two or three
// passes of k ways: each pass but the last merges groups of k trains into longer ones, from one
// work file into the other. The sort area is reused as the k block buffers.
#pragma once

#include <cstdint>

#include "common/run_context.h"

namespace tavindex {

inline constexpr std::uint32_t kMaxOnePassTrains = 30;
inline constexpr std::uint32_t kMaxTwoPassTrains = 900;
inline constexpr std::uint32_t kMinWays = 6;

struct MergePlan {
  std::uint32_t ways;  // k
  bool firstPassIsFinal;
};

// How `trainCount` trains are merged with this run's sort area.
MergePlan PlanMerge(const RunContext& run, std::uint32_t trainCount);

// Merges the trains of the work file. kOk, kWorkReadFailed (refused memory, or a block that could
// not be read in four reads), kWorkWriteFailed, kCancelled, or the consumer's first other result.
Result DoFancyMerge(RunContext& run);

}  // namespace tavindex
