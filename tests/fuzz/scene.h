// The scene of a fuzzed run: a scratch directory that no name leads out of, an environment of the
// target's own, and the program run inside this process. A run that leaves a descriptor open ends
// the process.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "common/result_codes.h"
#include "support/read_file.h"

namespace tavindex::test {

// Goes to the scratch directory and empties it. Before anything else of this file.
void StartScene();

void WriteFile(const std::string& name, std::string_view bytes);
bool Exists(const std::string& name);

// Cuts the text in front of the first `separator` off, and the separator.
std::string_view TakePiece(std::string_view& text, char separator);

// The lines NAME=value as variables of the coming runs. Only names that the program looks up are
// taken: others would steer the C library and the sanitizers. Without a TMPDIR work files go into
// the scratch directory.
void SetVariables(std::string_view lines);

// Runs "tavindex" with these arguments, or with the rest of a command line.
Result RunArguments(std::vector<std::string> arguments);
Result RunText(std::string_view line);

// Tells what is wrong and ends the process: a finding.
[[noreturn]] void Fail(const std::string& what);

}  // namespace tavindex::test
