// Holding what was found against what was expected.

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>

#include "header_tables.h"
#include "isi_checker.h"

namespace tavindex::test {
namespace {

using namespace layout;

std::string PlaceOf(std::size_t offset) {
  const std::size_t sector = offset / kSectorSize * kSectorSize;
  if (offset < kHeaderSize) return "header byte " + std::to_string(offset);
  return "byte " + std::to_string(offset - sector) + " of the sector at " + std::to_string(sector);
}

std::string Hex(std::string_view text) {
  std::string hex;
  for (const char c : text) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X",
                  static_cast<unsigned>(static_cast<unsigned char>(c)));
    hex += digits;
  }
  return hex;
}

std::string Describe(const ModelEntry& entry) {
  return "lfa " + std::to_string(entry.lfa) + " dupSeq " + std::to_string(entry.dupSeq) +
         " recLength " + std::to_string(entry.recLength) + " key " + Hex(entry.key);
}

class Comparison {
 public:
  Comparison(const IsiContents& found, const IndexModel& model, const BuildRequest& request,
             Report& report)
      : found_(found), model_(model), request_(request), report_(report) {}

  void Run(bool compacted) {
    CompareHeader();
    const bool dropped = compacted && (found_.fileFlags & kFlagIrregular) != 0 &&
                         found_.deletedListHead == kNoAddress;
    if (!dropped) CompareDeleted();
    CompareEntries();
  }

 private:
  void Expect(const std::string& name, std::uint64_t found, std::uint64_t expected) {
    if (found == expected) return;
    report_.AddFault(name + " is " + std::to_string(found) + ", expected " +
                     std::to_string(expected));
  }

  void CompareHeader() {
    Expect("fileFlags", found_.fileFlags, model_.fileFlags);
    Expect("record-number mode", found_.RecordNumbers(), model_.recordNumbers);
    Expect("recordLength", found_.recordLength, model_.recordLength);
    Expect("keyLength", found_.keyLength, model_.keyLength);
    Expect("dataEnd", found_.dataEnd, static_cast<std::uint32_t>(model_.dataEnd));
    Expect("recordsIndexed", found_.recordsIndexed,
           static_cast<std::uint32_t>(model_.recordsIndexed));
    if (found_.conditions != ConditionTableOf(request_)) {
      report_.AddFault("conditionTable is not that of the request");
    }
    if (found_.keyFields != KeyTableOf(request_)) {
      report_.AddFault("keyTable is not that of the request");
    }
  }

  void CompareDeleted() {
    Expect("deletedCount", found_.deletedCount, model_.deleted.size());
    const auto [found, expected] = std::mismatch(found_.deleted.begin(), found_.deleted.end(),
                                                 model_.deleted.begin(), model_.deleted.end());
    if (found == found_.deleted.end() && expected == model_.deleted.end()) return;
    report_.AddFault("deleted records differ from number " +
                     std::to_string(found - found_.deleted.begin() + 1) + " on");
  }

  void CompareEntries() {
    Expect("number of entries", found_.entries.size(), model_.entries.size());
    const std::size_t both = std::min(found_.entries.size(), model_.entries.size());
    for (std::size_t i = 0; i < both; ++i) {
      if (found_.entries[i] == model_.entries[i]) continue;
      report_.AddFault("entry " + std::to_string(i + 1) + " is " + Describe(found_.entries[i]) +
                       ", expected " + Describe(model_.entries[i]));
    }
  }

  const IsiContents& found_;
  const IndexModel& model_;
  const BuildRequest& request_;
  Report& report_;
};

}  // namespace

Report CompareImages(std::span<const std::byte> actual, std::span<const std::byte> expected) {
  Report report;
  if (actual.size() != expected.size()) {
    report.AddFault("size is " + std::to_string(actual.size()) + ", expected " +
                    std::to_string(expected.size()));
  }
  for (std::size_t i = 0; i < std::min(actual.size(), expected.size()); ++i) {
    if (actual[i] == expected[i]) continue;
    report.AddFault(PlaceOf(i) + " is " + std::to_string(Load8(actual, i)) + ", expected " +
                    std::to_string(Load8(expected, i)));
  }
  return report;
}

Report CompareWithData(std::span<const std::byte> isi, std::span<const std::byte> data,
                       const BuildRequest& request, const CompareOptions& options) {
  IsiContents contents;
  Report report = CheckStructure(isi, options.structure, &contents);
  const IndexModel model = BuildModel(data, request);
  if (model.result != 0) {
    report.AddFault("the data gives no index, but result " + std::to_string(model.result));
    return report;
  }
  Comparison(contents, model, request, report).Run(options.compacted);
  return report;
}

}  // namespace tavindex::test
