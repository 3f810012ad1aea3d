// The record scanner: turns the records of the data file into sort items.
//
// A record of a text file runs up to the end-of-record mark, a binary one over recordLength bytes.
// NUL bytes at the start of a record are deleted records; a Ctrl-Z there ends a text file. Every
// byte of a record is offered to the key map, which answers where in the key it goes or how many
// columns it does not need.
#pragma once

#include "common/run_context.h"

namespace tavindex {

// Fills the sort area with the next maxItems - 1 records that meet the conditions and ends it with
// an end marker, whatever the result. kOk when the area is full and more input follows,
// kInputExhausted when the area holds the last records, kInputReadFailed, kWrongEor,
// kRecordLengthDiffers, kRecordOverDeclared, kRecordTooLong, or what AddDeletedRecord returned.
Result CreateSubList(RunContext& run);

}  // namespace tavindex
