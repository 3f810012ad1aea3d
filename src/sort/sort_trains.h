// Sort trains: the loop that scans, sorts and writes one area after the other, then merges.
#pragma once

#include <cstdint>

#include "common/run_context.h"

namespace tavindex {

// The capacity of a train, in items, from the sort area and the key length; sets itemSize too.
// False when the area cannot hold the smallest train: a record, an end marker, and a spare place.
bool SizeSortArea(RunContext& run, std::uint32_t keyLength);

// The start offsets of the trains in the work file, in the order of the trains.
void AppendTrainStart(RunContext& run, std::int64_t offset);
std::int64_t TrainStart(const RunContext& run, std::uint32_t train);
void SetTrainStart(RunContext& run, std::uint32_t train, std::int64_t offset);

// Appends the sorted area to the work file as a train, or to the train before it when it
// continues that one. kWorkWriteFailed when a write fails.
Result WriteSortTrain(RunContext& run);

// Writes an end marker item to the work file, through the buffered writer.
bool WriteEndItem(RunContext& run);

// Sorts and writes the area, counts the train and shows the progress line. kWorkWriteFailed,
// kLimitExceeded (after its message) or kCancelled.
Result CompleteTrain(RunContext& run);

// The whole job: from the data file's records to the item consumer. kOk, the scanner's failure,
// kLimitExceeded, kWorkWriteFailed, kCancelled, or the merge's result. A first record of the wrong
// length (kRecordLengthDiffers, kRecordOverDeclared) is not a failure here: the input ends there.
Result SortTrains(RunContext& run);

}  // namespace tavindex
