// The 1024 bytes at the front of an ISI: decoding them, and proving each field for itself. What
// needs the rest of the file (addresses, counts of entries) is proved by the structure check.

#ifndef TESTS_CHECKER_HEADER_CHECK_H_
#define TESTS_CHECKER_HEADER_CHECK_H_

#include "isi_checker.h"

namespace tavindex::test {

// False when the bytes are no ISI header at all; then nothing else can be read either. `image` is
// at least one header long.
bool RecogniseHeader(Bytes image, IsiContents& contents, Report& report);

// Fills the header members of `contents`, whose byte order must be known.
void DecodeHeader(Bytes image, IsiContents& contents);

void CheckHeader(Bytes image, const IsiContents& contents, const StructureOptions& options,
                 Report& report);

}  // namespace tavindex::test

#endif  // TESTS_CHECKER_HEADER_CHECK_H_
