// Keeps a fuzzed run in its scratch directory: names that lead out of it are refused, since a
// hostile command line may name any file of the machine.
#pragma once

namespace tavindex::test {

// Makes a scratch directory, goes there and replaces the calls that take names; once a process.
void ConfineToScratch();

}  // namespace tavindex::test
