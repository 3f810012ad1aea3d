#include "names/search_path.h"

#include <fcntl.h>

#include <algorithm>

#include "common/file.h"

namespace tavindex {

namespace {

bool CanOpenForUpdate(const char* path) {
  int fd = OpenFile(path, O_RDWR | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) return false;
  CloseFile(fd);
  return true;
}

}  // namespace

std::size_t SearchPath(std::string_view name, PathText& directory, std::string_view pathList) {
  if (name.find('/') != std::string_view::npos) return 0;
  PathText candidate;
  if (!candidate.Assign(name) || CanOpenForUpdate(candidate.CStr())) return 0;
  while (!pathList.empty()) {
    const std::string_view element = pathList.substr(0, pathList.find(':'));
    pathList.remove_prefix(std::min(element.size() + 1, pathList.size()));
    if (element.empty()) continue;
    const bool fits = candidate.Assign(element) && candidate.Append('/') && candidate.Append(name);
    if (!fits || !CanOpenForUpdate(candidate.CStr())) continue;
    directory.Assign(candidate.View().substr(0, element.size() + 1));
    return directory.Size();
  }
  return 0;
}

}  // namespace tavindex
