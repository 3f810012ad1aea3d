#include "isitool/survey.h"

#include <algorithm>
#include <cstring>

#include "isitool/fault_teller.h"
#include "isitool/walk.h"

namespace tavindex {

namespace {

class SurveyVisitor : public FaultTeller {
 public:
  SurveyVisitor(const Tool& tool, const IsiFile& file, Survey& survey)
      : FaultTeller(tool, file), survey_(survey) {}

  void OnNode(const Node& node) override {
    LevelCount& level = survey_.levels[node.level];
    ++level.nodes;
    level.entries += node.count;
    ++survey_.nodes;
    survey_.topLevel = std::max(survey_.topLevel, node.level);
  }

  bool OnEntry(const Node& node, std::uint32_t index) override {
    const EntryView entry = EntryOf(File(), node.bytes.data(), index);
    const bool repeated = survey_.entries > 0 &&
                          std::memcmp(previous_.data(), entry.key.data(), entry.key.size()) == 0;
    if (repeated) ++survey_.duplicates;
    std::memcpy(previous_.data(), entry.key.data(), entry.key.size());
    ++survey_.entries;
    return true;
  }

  void OnListSector(const ListSector& list) override {
    ++survey_.listSectors;
    survey_.deleted += list.count;
  }

 private:
  Survey& survey_;
  std::array<std::uint8_t, kMaxKeyMapEntries> previous_{};
};

}  // namespace

std::uint64_t Survey::Unreached() const {
  std::uint64_t reached = 0;
  std::uint64_t sector = table.NextReached(kFirstFreeSector);
  for (; sector < table.Sectors(); sector = table.NextReached(sector + 1)) ++reached;
  return table.Sectors() - kFirstFreeSector - reached;
}

void TakeSurvey(const Tool& tool, IsiFile& file, Survey& survey) {
  SurveyVisitor visitor(tool, file, survey);
  WalkList(file, survey.table, visitor);
  WalkTree(file, survey.table, visitor);
  survey.faulty = visitor.Faulty();
}

}  // namespace tavindex
