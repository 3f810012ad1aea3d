// The walk of one record along the key map.
#pragma once

#include <cstdint>

#include "common/run_context.h"

namespace tavindex {

// What a walk step answers: a key position (0 and above) that takes the byte, or one of these.
// A value below kConditionFailed says how many columns the map does not look at before its next.
inline constexpr std::int32_t kMapExhausted = -1;
inline constexpr std::int32_t kConditionFailed = -2;

constexpr std::int32_t SkipColumns(std::uint32_t columns) {
  return kConditionFailed - 1 - static_cast<std::int32_t>(columns);
}
constexpr std::uint32_t ColumnsToSkip(std::int32_t answer) {
  return static_cast<std::uint32_t>(kConditionFailed - 1 - answer);
}

// Offers the byte of `column` (from 0) to the map. A byte that is delivered is transformed in
// place. A failed condition clears conditionsMet.
std::int32_t MapKeyByte(RunContext& run, std::uint32_t column, std::uint8_t& byte);

// Offers a space to the next entry of the map, for the columns that a short record does not have.
// Answers a key position, or kMapExhausted at the map's end and after a failed condition.
std::int32_t PadKeyBytes(RunContext& run, std::uint8_t& byte);

}  // namespace tavindex
