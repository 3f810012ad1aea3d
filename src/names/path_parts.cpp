#include "names/path_parts.h"

#include "names/text_case.h"

namespace tavindex {

void SplitPath(std::string_view path, FileNameParts& parts) {
  const std::size_t slash = path.rfind('/');
  const std::size_t baseStart = slash == std::string_view::npos ? 0 : slash + 1;
  const std::string_view last = path.substr(baseStart);
  const std::size_t dot = last.rfind('.');
  parts.drive.Clear();
  parts.directory.Assign(path.substr(0, baseStart));
  parts.base.Assign(last.substr(0, dot));
  parts.extension.Assign(dot == std::string_view::npos ? "" : last.substr(dot));
}

bool MakePath(const RunContext& run, const FileNameParts& parts, PathText& path) {
  bool complete = path.Assign(parts.drive.View());
  complete = path.Append(parts.directory.View()) && complete;
  complete = path.Append(parts.base.View()) && complete;
  complete = path.Append(parts.extension.View()) && complete;
  if (run.names.lowerCaseNames) LowerName({path.Data(), path.Size()});
  return complete;
}

}  // namespace tavindex
