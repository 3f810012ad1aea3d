// Finding the end-of-record mark of a text file, and its record length, from the file's end.
#pragma once

#include <cstdint>

#include "common/run_context.h"

namespace tavindex {

enum class EorKind : std::int8_t {
  kFailed = -1,
  kCr = 0,
  kCrLf = 1,
  kLf = 2,
  kLfCr = 3,
  kOsDefault = 4,   // nothing found in the whole file; reported as LF even for a file of CRs
  kNotDefined = 5,  // binary records without a mark
};

// Reads `fd` backwards from its end until the mark is known and, for records of fixed length
// without a length on the command line, until the record before the last mark is measured. Sets
// eorLength, eorChar1, eorChar2 and recordLength (which saturates far above any valid length).
EorKind DetectEOR(RunContext& run, int fd);

// The bits of the mark in the ISI header's fileFlags.
std::uint8_t EorFlags(EorKind kind, std::uint8_t eorChar1);

}  // namespace tavindex
