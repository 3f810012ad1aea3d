#include "compact/stored_line.h"

#include "names/line_fields.h"

namespace tavindex {

Result RewriteStoredLine(std::string_view current, StoredLine& stored) {
  LineFields now;
  if (!FindLineFields(current, now) || !now.hasSecond) return kBadCompactLine;
  const std::string_view name = current.substr(now.secondStart, now.secondEnd - now.secondStart);
  if (name.empty()) return kBadCompactLine;
  LineFields old;
  const std::string_view line = stored.View();
  if (!FindLineFields(line, old) || !old.hasOptions) return kBadStoredLine;
  const std::size_t start = old.hasSecond ? old.secondStart : old.firstEnd;
  const std::size_t end = old.hasSecond ? old.secondEnd : old.firstEnd;
  StoredLine rewritten;
  bool fits = rewritten.Append(line.substr(0, start));
  if (!old.hasSecond) fits = rewritten.Append(',') && fits;
  fits = rewritten.Append(name) && rewritten.Append(line.substr(end)) && fits;
  if (!fits) return kNewLineTooLong;
  stored = rewritten;
  return kOk;
}

}  // namespace tavindex
