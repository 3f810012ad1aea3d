// The header of a freshly built ISI, from what the run knows at its end.
#pragma once

#include "common/run_context.h"
#include "isi/isi_format.h"

namespace tavindex {

IsiHeader BuildHeader(const RunContext& run);

}  // namespace tavindex
