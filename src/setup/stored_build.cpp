#include "setup/stored_build.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "common/console.h"
#include "common/file.h"
#include "isi/isi_format.h"
#include "names/path_parts.h"
#include "names/resolve.h"
#include "setup/set_up_run.h"
#include "setup/work_files.h"

namespace tavindex {

namespace {

// The older layout: another version pair, and a shorter command line at another place.
constexpr std::size_t kOlderVersion = 52;
constexpr std::size_t kOlderCommandLine = 128;
constexpr std::size_t kOlderCommandLineSize = 256;

struct StoredBuild {
  FixedText<header::kDataFileNameSize + 1> dataFileName;
  FixedText<header::kCommandLineSize> commandLine;
};

Result Refuse(RunContext& run, Result code, const char* text) {
  Compose(run, "%s%s", text, run.files.outputFileName.CStr());
  run.files.outputFileName.Clear();
  return code;
}

bool IsOlderLayout(const std::array<std::uint8_t, kHeaderSize>& bytes) {
  return (bytes[kOlderVersion] ^ bytes[kOlderVersion + 1]) == 0xFF;
}

std::string_view TextAt(const std::array<std::uint8_t, kHeaderSize>& bytes, std::size_t offset,
                        std::size_t size) {
  const char* text = reinterpret_cast<const char*>(bytes.data() + offset);
  return {text, strnlen(text, size)};
}

bool DecodeStoredBuild(RunContext& run, const std::array<std::uint8_t, kHeaderSize>& bytes,
                       StoredBuild& stored) {
  stored.dataFileName.Assign(TextAt(bytes, header::kDataFileName, header::kDataFileNameSize));
  if (HasIsiSignature(bytes)) {
    stored.commandLine.Assign(TextAt(bytes, header::kCommandLine, header::kCommandLineSize));
    return true;
  }
  if (!IsOlderLayout(bytes)) return false;
  ShowMessage(run, "\nConverting from 8.x to 9.x format\n");
  stored.commandLine.Assign(TextAt(bytes, kOlderCommandLine, kOlderCommandLineSize));
  return true;
}

// A file shorter than a header reads as one that is zero behind its end.
Result ReadHeader(RunContext& run, StoredBuild& stored) {
  run.files.lastOpenPath = run.files.outputFileName;
  int fd = OpenRegularFile(run.files.lastOpenPath.CStr(), O_RDONLY);
  if (fd < 0) return Refuse(run, kIsiNotOpened, "Can't open .isi file ");
  std::array<std::uint8_t, kHeaderSize> bytes{};
  const std::int64_t count = ReadFully(fd, bytes);
  CloseFile(fd);
  if (count < 0 || !DecodeStoredBuild(run, bytes, stored)) {
    return Refuse(run, kNotAnIsi, "Not a valid .isi file ");
  }
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
