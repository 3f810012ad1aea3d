// The walk over the bytes of one record.
#pragma once

#include <cstdint>

#include "common/run_context.h"

namespace tavindex {

inline constexpr std::uint32_t kMaxRecordSize = 65535;  // bytes; a record must stay below

// Records of variable length have at least this length where no other is known.
inline constexpr std::uint32_t kDefaultVariableLength = 256;

struct RecordWalk {
  std::uint8_t* key;            // where the key bytes go
  std::uint32_t column = 0;     // after TAB expansion
  std::uint32_t rawLength = 0;  // bytes in the file
  std::uint32_t skip = 0;       // columns that the map does not look at
  bool mapEnded = false;        // exhausted, or a condition failed
};

// The end-of-record bytes inside a binary record (option g) prove that the scan is in step.
inline bool EndsInEor(const DataState& data, std::uint8_t beforeLast, std::uint8_t last) {
  if (data.trailerLength == 1) return last == data.eorChar1;
  return beforeLast == data.eorChar1 && last == data.eorChar2;
}

}  // namespace tavindex
