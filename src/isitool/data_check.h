// An ISI against its data file: every record to index stands in the index once, with its key.
#pragma once

#include <string>

#include "isitool/data_file.h"
#include "isitool/faults.h"
#include "isitool/isi_file.h"
#include "isitool/progress.h"
#include "isitool/structure_check.h"

namespace tavindex {

// Compares what `structure` found with `data`. False, with `why`, when the data cannot be compared.
bool CheckData(IsiFile& file, const StructureCheck& structure, const DataFile& data,
               FaultList& faults, Progress& progress, std::string& why);

}  // namespace tavindex
