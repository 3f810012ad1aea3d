// The header's fields, each for itself.
#pragma once

#include "isitool/faults.h"
#include "isitool/isi_file.h"

namespace tavindex {

void CheckHeaderFields(const IsiFile& file, FaultList& faults);

}  // namespace tavindex
