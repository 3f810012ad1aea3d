// The faults that check finds, printed as they come: one line each, so many at most, all counted.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "isitool/json.h"
#include "isitool/progress.h"
#include "isitool/tool.h"

namespace tavindex {

class FaultList {
 public:
  static constexpr std::uint64_t kMostLines = 1000;

  // With --json, `json` stands inside the array of faults until Close.
  FaultList(const Tool& tool, std::string path, Json& json, Progress& progress)
      : tool_(tool), path_(std::move(path)), json_(json), progress_(progress) {}

  void Fault(std::uint64_t sector, std::string_view what) { Add(sector, what, false); }
  // Something that no build leaves behind, but that does no harm: a fault with --strict.
  void Remark(std::uint64_t sector, std::string_view what) {
    Add(sector, what, !tool_.options.strict);
  }
  // A fault that no sector of the index is to blame for.
  void DataFault(std::string_view what) { Add(std::nullopt, what, false); }

  // Tells how many more there were than lines.
  void Close();

  std::uint64_t Faults() const { return faults_; }
  std::uint64_t Remarks() const { return remarks_; }

 private:
  void Add(std::optional<std::uint64_t> sector, std::string_view what, bool remark);
  void Show(std::optional<std::uint64_t> sector, std::string_view what, bool remark);
  void Write(std::optional<std::uint64_t> sector, std::string_view what, bool remark);

  const Tool& tool_;
  std::string path_;
  Json& json_;
  Progress& progress_;
  std::uint64_t faults_ = 0;
  std::uint64_t remarks_ = 0;
};

}  // namespace tavindex
