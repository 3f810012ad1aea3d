// The address by which an index knows a record: its position in the data file or, in record-number
// mode, its number.
#pragma once

#include <cstdint>

#include "common/run_context.h"

namespace tavindex {

// A position that has no address (one between two records in record-number mode, one beyond 32 bits
// in a file that grew during the run) belongs to data that this index cannot describe: the driver
// gives the index up.
inline std::uint32_t RecordAddress(RunContext& run, std::uint64_t position) {
  std::uint64_t address = position;
  if (run.isi.recordNumberMode) {
    address /= run.data.recordLength;
    if (address * run.data.recordLength != position) run.data.longRecordSeen = true;
  }
  if (address > UINT32_MAX) run.data.longRecordSeen = true;
  return static_cast<std::uint32_t>(address);
}

}  // namespace tavindex
