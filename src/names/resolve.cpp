#include "names/resolve.h"

#include "names/path_parts.h"
#include "names/search_path.h"
#include "names/volume.h"

namespace tavindex {

namespace {

bool ResolveVolumeOrKeep(RunContext& run, PathText& name) {
  const PathText typed = name;
  if (ResolveVolume(run, name) != 0) return true;
  name = typed;
  return false;
}

void FillDirectoryFromSearchPath(RunContext& run, FileNameParts& parts) {
  if (run.names.searchPath.Empty() || !parts.directory.Empty()) return;
  PathText name;
  if (MakePath(run, parts, name)) {
    SearchPath(name.View(), parts.directory, run.names.searchPath.View());
  }
}

// A name that ends in the separator asks for no extension at all.
void SupplyExtension(PathText& extension, std::string_view fallback) {
  if (extension.View() == ".") {
    extension.Clear();
  } else if (extension.Empty()) {
    extension.Assign(fallback);
  }
}

}  // namespace

bool ResolveDataName(RunContext& run) {
  NameState& names = run.names;
  if (!ResolveVolumeOrKeep(run, run.files.dataFileName)) return false;
  SplitPath(run.files.dataFileName.View(), names.dataParts);
  SupplyExtension(names.dataParts.extension,
                  (run.options.CompactRun() ? names.indexExtension : names.dataExtension).View());
  FillDirectoryFromSearchPath(run, names.dataParts);
  return MakePath(run, names.dataParts, run.files.dataFileName);
}

bool ResolveIndexParts(RunContext& run) {
  FileNameParts& parts = run.names.indexParts;
  PathText& name = run.files.outputFileName;
  if (!name.Empty() && !ResolveVolumeOrKeep(run, name)) return false;
  SplitPath(name.View(), parts);
  if (parts.base.Empty()) parts.base = run.names.dataParts.base;
  if (parts.extension.Empty()) {
    const bool isIndex = run.control.indexMode && !run.options.CompactRun();
    parts.extension.Assign(isIndex ? run.names.indexExtension.View()
                                   : run.names.dataParts.extension.View());
  }
  FillDirectoryFromSearchPath(run, parts);
  if (parts.directory.Empty()) parts.directory = run.names.dataParts.directory;
  return true;
}

bool ResolveIsiName(RunContext& run, PathText& name) {
  if (!ResolveVolumeOrKeep(run, name)) return false;
  FileNameParts parts;
  SplitPath(name.View(), parts);
  if (parts.extension.Empty()) parts.extension.Assign(run.names.indexExtension.View());
  FillDirectoryFromSearchPath(run, parts);
  return MakePath(run, parts, name);
}

void FindStoredFile(RunContext& run, std::string_view storedName, PathText& path) {
  FileNameParts parts;
  SplitPath(storedName, parts);
  if (!run.names.searchPath.Empty() && parts.directory.Empty()) {
    SearchPath(storedName, parts.directory, run.names.searchPath.View());
  }
  path = parts.directory;
  path.Append(parts.base.View());
  path.Append(parts.extension.View());
}

}  // namespace tavindex
