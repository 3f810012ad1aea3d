#include "names/volume.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "common/file.h"
#include "names/environment.h"
#include "names/text_case.h"

namespace tavindex {

namespace {

// The directory of a volume, or null. The variable names hold the volume in upper case.
const char* VolumeDirectory(RunContext& run, std::string_view volume) {
  for (const std::string_view prefix : {"KVRVOL_", "KVR_", "TAVDB_"}) {
    PathText variable;
    variable.Assign(prefix);
    bool complete = true;
    for (const char c : volume) complete = variable.Append(UpperChar(c)) && complete;
    if (!complete) return nullptr;
    if (const char* value = GetEnvironmentValue(run, variable.CStr())) return value;
  }
  return nullptr;
}

// A '/' met before any extension separator, from behind, is the extension separator. The first
// character is never looked at.
void SlashToSeparator(const RunContext& run, PathText& name) {
  for (std::size_t i = name.Size(); i-- > 1;) {
    if (name[i] == run.names.extSeparator) return;
    if (name[i] == '/') {
      name.Data()[i] = run.names.extSeparator;
      return;
    }
  }
}

std::size_t ReplaceVolume(const RunContext& run, PathText& name, std::size_t colon,
                          std::string_view directory) {
  name.Truncate(colon);
  SlashToSeparator(run, name);
  if (directory.size() >= kVolumeNameLimit) return 0;
  PathText resolved;
  resolved.Assign(directory);
  if (directory.back() != ':' && directory.back() != '/') resolved.Append('/');
  if (resolved.Size() + name.Size() >= kVolumeNameLimit) return 0;
  resolved.Append(name.View());
  name = resolved;
  return name.Size();
}

// Whether the text names a directory, or one that may not be looked at. The error number is read
// after a successful test too, so it must not hold an older failure.
bool MayBeDirectory(std::string_view text) {
  PathText path;
  path.Assign(text);
  errno = 0;
  struct stat status;
  if (StatPath(path.CStr(), status) && (status.st_mode & S_IFDIR) != 0) return true;
  return errno == EACCES;
}

// A last '/' that does not stand behind a directory is the extension separator.
std::size_t ReplaceLastSlash(const RunContext& run, PathText& name) {
  for (std::size_t i = name.Size(); i-- > 1;) {
    if (name[i] == run.names.extSeparator) break;
    if (name[i] != '/') continue;
    if (!MayBeDirectory(name.View().substr(0, i))) name.Data()[i] = run.names.extSeparator;
    break;
  }
  return name.Size();
}

}  // namespace

std::size_t ResolveVolume(RunContext& run, PathText& name) {
  const std::string_view text = name.View();
  if (text.find('|') != std::string_view::npos) return name.Size();
  const std::size_t colon = text.find(':');
  if (colon != std::string_view::npos) {
    const char* directory = VolumeDirectory(run, text.substr(colon + 1));
    if (directory != nullptr) return ReplaceVolume(run, name, colon, directory);
  } else if (std::count(text.begin(), text.end(), '/') >= 2) {
    return name.Size();
  }
  return ReplaceLastSlash(run, name);
}

}  // namespace tavindex
