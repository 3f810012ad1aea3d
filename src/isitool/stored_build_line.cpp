#include "isitool/stored_build_line.h"

#include "setup/file_fields.h"
#include "setup/options.h"
#include "sort/key_map.h"

namespace tavindex {

namespace {

Result CompileLine(RunContext& run) {
  auto& line = run.options.parsedLine;
  std::size_t start = 0;
  if (const Result result = ReadFileFields(run, line.View(), start); result != kOk) return result;
  return ReadOptions(run, {line.Data() + start, line.Size() - start});
}

bool BuildsAnIndex(const RunContext& run) {
  const OptionState& options = run.options;
  return !options.displayRun && !options.reindexRun && !options.CompactRun() &&
         run.keys.keyLength > 0;
}

}  // namespace

bool CompileStoredLine(const IsiHeader& header, RunContext& run, std::string& why) {
  if (header.commandLine.Empty()) {
    why = "no command line is stored";
    return false;
  }
  run.control.indexMode = true;
  run.options.parsedLine.Assign(header.commandLine.View());
  if (CompileLine(run) != kOk || !BuildsAnIndex(run)) {
    why = "the stored command line builds no index";
    return false;
  }
  FinishKeyMap(run);
  return true;
}

}  // namespace tavindex
