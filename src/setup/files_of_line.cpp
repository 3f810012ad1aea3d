#include "setup/files_of_line.h"

#include <fcntl.h>

#include "common/file.h"
#include "common/interrupt_guard.h"
#include "names/field_text.h"
#include "names/file_name.h"
#include "names/line_fields.h"
#include "names/name_settings.h"
#include "names/output_file.h"
#include "names/path_parts.h"
#include "names/resolve.h"
#include "setup/stored_header.h"

namespace tavindex {

namespace {

// The first two file fields, as typed, without their quotes.
struct LineNames {
  PathText first;
  PathText second;
};

LineNames NamesOf(std::string_view line) {
  LineNames names;
  // A line that will be refused names files all the same.
  ParseFileName(line, names.first, kNameCapacity, NameRule::kLong);
  LineFields fields;
  if (FindLineFields(line, fields) && fields.hasSecond) {
    ParseFileName(line.substr(fields.secondStart), names.second, kNameCapacity, NameRule::kLong);
  }
  return names;
}

bool IsFile(const PathText& name, const char* path) {
  return name.View() == path || IsSameFile(name.CStr(), path);
}

bool TypedNameIs(const PathText& typed, const char* path) {
  if (typed.Empty()) return false;
  for (const char* extension : {"", ".TXT", ".ISI"}) {
    PathText name = typed;
    if (name.Append(extension) && IsFile(name, path)) return true;
  }
  return false;
}

// As a build takes the names.
bool BuildLeadsTo(RunContext& run, const LineNames& names, const char* path) {
  FileState& files = run.files;
  files.dataFileName = names.first;
  files.outputFileName = names.second;
  if (!ResolveDataName(run)) return false;
  if (IsFile(files.dataFileName, path)) return true;
  return ResolveIndexParts(run) && MakePath(run, run.names.indexParts, files.outputFileName) &&
         IsFile(files.outputFileName, path);
}

bool LoadFrom(const PathText& isi, StoredBuild& stored) {
  int fd = OpenRegularFile(isi.CStr(), O_RDONLY);
  const bool loaded = fd >= 0 && LoadStoredBuild(fd, stored);
  CloseFile(fd);
  return loaded;
}

// As a display, a rebuild or a compaction takes the first name.
bool IsiLeadsTo(RunContext& run, PathText isi, const char* path) {
  if (!ResolveIsiName(run, isi)) return false;
  if (IsFile(isi, path)) return true;
  StoredBuild stored;
  if (!LoadFrom(isi, stored)) return false;
  PathText data;
  FindStoredFile(run, stored.dataFileName.View(), data);
  return IsFile(data, path) || BuildLeadsTo(run, NamesOf(stored.commandLine.View()), path);
}

}  // namespace

bool LineLeadsTo(RunContext& run, std::string_view line, const char* path) {
  const LineNames names = NamesOf(line);
  if (TypedNameIs(names.first, path) || TypedNameIs(names.second, path)) return true;
  if (names.first.Empty()) return false;
  // The clean-up after an interrupt goes by the names of the run.
  const InterruptGuard guard;
  const FileState before = run.files;
  ReadNameSettings(run);
  const bool leads = BuildLeadsTo(run, names, path) || IsiLeadsTo(run, names.first, path);
  run.files = before;
  return leads;
}

}  // namespace tavindex
