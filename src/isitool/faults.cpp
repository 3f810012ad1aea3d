#include "isitool/faults.h"

#include "isitool/text.h"

namespace tavindex {

void FaultList::Add(std::optional<std::uint64_t> sector, std::string_view what, bool remark) {
  std::uint64_t& count = remark ? remarks_ : faults_;
  // Each kind has its lines, so that remarks never hide a fault.
  if (++count > kMostLines) return;
  progress_.Clear();
  if (tool_.options.json) return Write(sector, what, remark);
  Show(sector, what, remark);
}

void FaultList::Show(std::optional<std::uint64_t> sector, std::string_view what, bool remark) {
  std::string line = Visible(path_) + ": ";
  if (remark) line += "remark: ";
  if (sector) line += *sector == 0 ? "header: " : "sector " + std::to_string(*sector) + ": ";
  Print(tool_, line + std::string(what) + "\n");
}

void FaultList::Write(std::optional<std::uint64_t> sector, std::string_view what, bool remark) {
  json_.BeginObject();
  if (sector) {
    json_.NumberMember("sector", *sector);
  } else {
    json_.NullMember("sector");
  }
  json_.BoolMember("remark", remark);
  json_.TextMember("text", what);
  json_.EndObject();
}

void FaultList::Close() {
  if (tool_.options.json) return;
  const std::string name = Visible(path_) + ": ";
  if (faults_ > kMostLines) Print(tool_, name + Count(faults_ - kMostLines, "more fault") + "\n");
  if (remarks_ > kMostLines) {
    Print(tool_, name + Count(remarks_ - kMostLines, "more remark") + "\n");
  }
}

}  // namespace tavindex
