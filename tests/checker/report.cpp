#include <string>
#include <utility>

#include "isi_checker.h"

namespace tavindex::test {

void Report::AddFault(std::string text) {
  ++faultCount;
  if (faults.size() < kMaxFaults) faults.push_back(std::move(text));
}

std::string Report::Text() const {
  std::string text;
  for (const std::string& fault : faults) text += fault + "\n";
  if (faultCount > faults.size()) {
    text += std::to_string(faultCount - faults.size()) + " further faults\n";
  }
  return text;
}

bool IsiContents::RecordNumbers() const {
  constexpr unsigned kNoNumbers = layout::kFlagVariable | layout::kFlagCompressed;
  return (addrFlags & layout::kAddrRecordNumbers) != 0 && (fileFlags & kNoNumbers) == 0;
}

}  // namespace tavindex::test
