// Keeps a fuzzed run in its scratch directory: names that lead out of it are refused, since a
// hostile command line may name any file of the machine. So is more memory than a small machine
// has.
#pragma once

namespace tavindex::test {

// Makes a scratch directory, in TMPDIR or else in memory, goes there and replaces the calls; once a
// process.
void ConfineToScratch();

}  // namespace tavindex::test
