// Rewriting the command line that an ISI keeps, when it is copied to a new name.
#pragma once

#include <string_view>

#include "common/fixed_text.h"
#include "common/result_codes.h"
#include "isi/isi_format.h"

namespace tavindex {

using StoredLine = FixedText<header::kCommandLineSize>;

// Puts the second file field of `current` in place of the second field of `stored` (or behind its
// first one, when it has none), so that a rebuild of the new ISI finds its own name. The fields end
// where the option text begins: commas between key specifications separate nothing here.
// kBadStoredLine, kBadCompactLine, kNewLineTooLong; `stored` is then as it was.
Result RewriteStoredLine(std::string_view current, StoredLine& stored);

}  // namespace tavindex
