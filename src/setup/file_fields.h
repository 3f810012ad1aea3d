// The file fields of a command line: data file, index file, record length, work directory.
//
//     data[,isi[,Lnnn[,tmppath]]] -options
//
// Fields are separated by a comma, by blanks, or by both; a '-', a ';' or the end where the second,
// third or fourth field would begin leaves it and those behind it empty.
#pragma once

#include <cstddef>
#include <string_view>

#include "common/run_context.h"

namespace tavindex {

inline constexpr std::size_t kMaxFieldLength = 249;  // characters of one name

// Reads the fields of `line` into dataFileName, outputFileName, declaredRecordLength and
// workDirectory and sets `optionStart` to where the option text begins. kCommandLineIncomplete,
// kNameTooLong, or kBadRecordLength.
Result ReadFileFields(RunContext& run, std::string_view line, std::size_t& optionStart);

}  // namespace tavindex
