#include "setup/stored_build.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "common/console.h"
#include "common/file.h"
#include "names/path_parts.h"
#include "names/resolve.h"
#include "setup/set_up_run.h"
#include "setup/stored_header.h"
#include "setup/work_files.h"

namespace tavindex {

namespace {

Result Refuse(RunContext& run, Result code, const char* text) {
  Compose(run, "%s%s", text, run.files.outputFileName.CStr());
  run.files.outputFileName.Clear();
  return code;
}

Result ReadHeader(RunContext& run, StoredBuild& stored) {
  run.files.lastOpenPath = run.files.outputFileName;
  int fd = OpenRegularFile(run.files.lastOpenPath.CStr(), O_RDONLY);
  if (fd < 0) return Refuse(run, kIsiNotOpened, "Can't open .isi file ");
  const bool loaded = LoadStoredBuild(fd, stored);
  CloseFile(fd);
  if (!loaded) return Refuse(run, kNotAnIsi, "Not a valid .isi file ");
  if (stored.olderLayout) ShowMessage(run, "\nConverting from 8.x to 9.x format\n");
  run.files.dataFileName.Assign(stored.dataFileName.View());
  if (stored.commandLine.Empty()) {
    return Refuse(run, kNoKeyInformation, "No key information available for ");
  }
  return kOk;
}

Result Rebuild(RunContext& run, const StoredBuild& stored) {
  RemoveWorkFiles(run);
  run.rebuild.rebuildRun = true;
  run.rebuild.storedDataName = stored.dataFileName;
  run.rebuild.isiName = run.files.outputFileName;
  return SetUpRun(run, stored.commandLine.View());
}

// The header keeps names as they were resolved. One without an extension has none, and says so, as
// it would be typed, with a separator at its end; another file with the default extension may stand
// beside it.
PathText StoredNameAsTyped(std::string_view stored) {
  PathText name;
  name.Assign(stored);
  FileNameParts parts;
  SplitPath(stored, parts);
  if (!parts.base.Empty() && parts.extension.Empty()) name.Append('.');
  return name;
}

}  // namespace

Result ReadStoredBuild(RunContext& run) {
  run.files.outputFileName = run.files.dataFileName;
  if (!ResolveIsiName(run, run.files.outputFileName)) {
    return Refuse(run, kOutputNameUnresolved, "Unable to resolve name for output file ");
  }
  StoredBuild stored;
  if (const Result result = ReadHeader(run, stored); result != kOk) return result;
  ShowFormatted(run, "\ntavindex %s\n", stored.commandLine.CStr());
  return run.options.reindexRun ? Rebuild(run, stored) : kOk;
}

Result CheckStoredOptions(RunContext& run) {
  const OptionState& options = run.options;
  if (!options.displayRun && !options.reindexRun && !options.CompactRun()) return kOk;
  run.files.outputFileName = run.rebuild.isiName;
  return Refuse(run, kNoKeyInformation, "No key information available for ");
}

void ChooseRebuildData(RunContext& run) {
  if (run.rebuild.storedDataName.Empty()) return;
  const PathText typed = run.files.dataFileName;
  PathText& name = run.files.dataFileName;
  const PathText stored = StoredNameAsTyped(run.rebuild.storedDataName.View());
  name = stored;
  struct stat status;
  const bool found =
      ResolveDataName(run) && StatPath(name.CStr(), status) && S_ISREG(status.st_mode);
  if (found) {
    name = stored;
  } else {
    name = typed;
  }
}

}  // namespace tavindex
