#include "setup/set_up_run.h"

#include <sys/stat.h>

#include "common/console.h"
#include "common/file.h"
#include "names/name_settings.h"
#include "names/resolve.h"
#include "setup/file_fields.h"
#include "setup/open_data_file.h"
#include "setup/options.h"
#include "setup/stored_build.h"
#include "setup/work_files.h"
#include "sort/key_map.h"

namespace tavindex {

namespace {

// Whatever fields and options can set starts anew with every line.
Result ResetForLine(RunContext& run, std::string_view line) {
  run.console.messageBuffer[0] = '\0';
  run.options = OptionState{};
  run.keys = KeyState{};
  run.data = DataState{};
  run.files.dataFileName.Clear();
  run.files.outputFileName.Clear();
  run.files.errorFileName.Clear();
  if (!run.options.buildLine.Assign(line)) return kCommandLineIncomplete;
  run.options.parsedLine = run.options.buildLine;
  ShowDebug(run, "Command line is:%s\n", run.options.buildLine.CStr());
  return kOk;
}

// The drive form "C:" of a work directory names the drive's root.
void CompleteWorkDirectory(RunContext& run) {
  auto& directory = run.options.workDirectory;
  if (directory.Size() == 2 && directory[1] == ':') directory.Append('/');
  ShowDebug(run, "Temporary file path is:%s\n", directory.CStr());
}

Result ReadLine(RunContext& run, std::size_t& optionStart) {
  ReadNameSettings(run);
  const Result result = ReadFileFields(run, run.options.parsedLine.View(), optionStart);
  if (result == kOk) CompleteWorkDirectory(run);
  return result;
}

Result ReadOptionText(RunContext& run, std::size_t optionStart) {
  auto& line = run.options.parsedLine;
  Result result = ReadOptions(run, {line.Data() + optionStart, line.Size() - optionStart});
  if (result == kOk && run.rebuild.rebuildRun) result = CheckStoredOptions(run);
  if (result == kOk) result = CheckOptions(run);
  if (result != kOk) return result;
  FinishKeyMap(run);
  ListKeyMap(run);
  return kOk;
}

Result OpenForRun(RunContext& run) {
  const bool storedBuild = run.options.displayRun || run.options.reindexRun;
  if (storedBuild && !run.options.CompactRun()) {
    const bool display = !run.options.reindexRun;
    const Result result = ReadStoredBuild(run);
    return result == kOk && display ? kInformationShown : result;
  }
  if (run.rebuild.rebuildRun) ChooseRebuildData(run);
  if (const Result result = OpenDataFile(run); result != kOk) return result;
  ShowFormatted(run, "%s %s into %s\n", run.options.CompactRun() ? "Compacting" : "Indexing",
                run.files.dataFileName.CStr(), run.files.outputFileName.CStr());
  return kOk;
}

}  // namespace

Result SetUpRun(RunContext& run, std::string_view line) {
  std::size_t optionStart = 0;
  Result result = ResetForLine(run, line);
  if (result == kOk) result = ReadLine(run, optionStart);
  if (result == kOk) result = CreateWorkFiles(run);
  if (result == kOk) result = ReadOptionText(run, optionStart);
  if (result != kOk || !run.control.indexMode) return result;
  return OpenForRun(run);
}

}  // namespace tavindex
