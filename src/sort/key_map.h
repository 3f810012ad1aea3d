// The key map: one entry for each record column that takes part in the key or in a condition,
// compiled from the key specifications, sorted by column for the scanner.
#pragma once

#include <cstdint>

#include "common/run_context.h"

namespace tavindex {

// Adds the columns from..to (from 1, both inclusive; downwards when `to` is smaller) to the key,
// in that order. kOverlappingKeys when a column is a key byte already, kTooManyKeyBytes when the
// map would pass its 150 entries.
Result AddKeyRange(RunContext& run, std::uint32_t from, std::uint32_t to);

// The entry of `column` (from 0) that can take a condition: one of that column that carries none
// yet, or a new condition-only entry. Null when the map has no room for it.
KeyMapEntry* FindConditionEntry(RunContext& run, std::uint32_t column);

// Ends the map with its terminator, sorts it by column (conditions of a column stand before the
// entry that delivers its byte), counts the entries that test something and collects the runs of
// columns that can be copied at once.
void FinishKeyMap(RunContext& run);

// The map as debug mode shows it.
void ListKeyMap(RunContext& run);

}  // namespace tavindex
