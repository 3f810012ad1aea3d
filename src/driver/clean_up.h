// The end of a run: what is closed, what is removed, and the way out of an interrupted one.
#pragma once

#include "common/run_context.h"

namespace tavindex {

enum class Ending : std::uint8_t { kNormal, kAbort };

// Obtains the sort memory: `size` bytes or, where the system refuses them, half, down to 8192
// bytes. The first attempt takes the size as it is, however small. Returns the bytes obtained, 0
// when none were.
std::uint32_t GetSortMemory(RunContext& run, std::uint32_t size);

// Gives back every heap buffer of the run.
void FreeBuffers(RunContext& run);

// Closes the run's files and removes the work files (kept in debug mode); at an abort also closes
// the log and removes the index under construction and a data file that the run created.
void CleanUp(RunContext& run, Ending ending);

// Ends output to the console stream; nothing is printed behind it.
void CloseLog(RunContext& run);

// Makes SIGINT end the run through OnInterrupt, and SIGTERM and SIGHUP too unless they were
// ignored when the process started.
void InstallInterruptHandler();

// The handler: says that the run was interrupted, cleans up as an abort, and ends the process with
// status 1. Uses only what is safe in a handler.
void OnInterrupt(int signal);

}  // namespace tavindex
