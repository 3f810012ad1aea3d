#include "isitool/stat.h"

#include <algorithm>
#include <string>

#include "isitool/json.h"
#include "isitool/survey.h"
#include "isitool/text.h"

namespace tavindex {

namespace {

struct Statistics {
  const IsiFile& file;
  const Survey& survey;
  std::uint64_t unreached = 0;
  std::uint64_t freePlaces = 0;     // for entries, in the nodes
  std::uint64_t compactedSize = 0;  // bytes

  std::uint64_t Places() const { return survey.nodes * file.reader.capacity; }
  std::uint64_t Saved() const { return file.Size() - std::min(file.Size(), compactedSize); }
};

// A compaction keeps the list sectors as they are, or drops them where records are not of one
// length; one sector stands at 1536 in any case.
std::uint64_t CompactedSize(const IsiFile& file, const Survey& survey) {
  constexpr unsigned kDropsList = kVariableLength | kSpaceCompression | kIrregularRecords;
  const bool dropped = (file.Header().fileFlags & kDropsList) != 0;
  const std::uint64_t lists = dropped ? 1 : std::max<std::uint64_t>(survey.listSectors, 1);
  const std::uint64_t nodes = DenseNodes(survey.entries, file.reader.capacity);
  return kHeaderSize + (lists + nodes) * kSectorSize;
}

Statistics Calculate(const IsiFile& file, const Survey& survey) {
  Statistics statistics{.file = file, .survey = survey};
  statistics.unreached = survey.Unreached();
  statistics.freePlaces = statistics.Places() - survey.entries;
  statistics.compactedSize = CompactedSize(file, survey);
  return statistics;
}

void ShowTree(const Tool& tool, const Statistics& statistics) {
  const Survey& survey = statistics.survey;
  const std::uint32_t capacity = statistics.file.reader.capacity;
  Print(tool, "Level      Nodes    Entries     Fill\n");
  for (std::uint32_t level = survey.topLevel + 1; level-- > 0;) {
    const LevelCount& count = survey.levels[level];
    Print(tool,
          Format("%5u %10llu %10llu  %7s%s\n", level, static_cast<unsigned long long>(count.nodes),
                 static_cast<unsigned long long>(count.entries),
                 Percent(count.entries, count.nodes * capacity).c_str(),
                 level == survey.topLevel ? "  (root)" : ""));
  }
  Print(tool, Format("  all %10llu %10llu  %7s\n\n", static_cast<unsigned long long>(survey.nodes),
                     static_cast<unsigned long long>(survey.entries),
                     Percent(survey.entries, statistics.Places()).c_str()));
}

void ShowLine(const Tool& tool, const char* name, const std::string& value) {
  Print(tool, Format("%-12s", name) + value + "\n");
}

void ShowSpace(const Tool& tool, const Statistics& statistics) {
  const Survey& survey = statistics.survey;
  const IsiFile& file = statistics.file;
  const std::uint32_t capacity = file.reader.capacity;
  ShowLine(tool, "Node",
           Format("%u places for entries of %u bytes", capacity, file.reader.entrySize));
  ShowLine(tool, "Keys",
           Count(survey.entries - survey.duplicates, "different key") + ", " +
               Count(survey.duplicates, "duplicate"));
  ShowLine(tool, "Deleted",
           Count(survey.deleted, "record") + " in " + Count(survey.listSectors, "list sector") +
               ", fill " + Percent(survey.deleted, survey.listSectors * kListCapacity));
  ShowLine(tool, "File", Count(file.Size(), "byte") + ", " + Count(file.reader.sectors, "sector"));
  ShowLine(tool, "Free",
           Count(statistics.freePlaces, "place") + " in nodes, " +
               Count(statistics.freePlaces * file.reader.entrySize, "byte"));
  ShowLine(tool, "Unused",
           Count(statistics.unreached, "sector") + " that nothing refers to, " +
               Count(statistics.unreached * kSectorSize, "byte"));
  ShowLine(tool, "Compaction",
           "would leave " + Count(statistics.compactedSize, "byte") + " and save " +
               Count(statistics.Saved(), "byte") + ", " + Percent(statistics.Saved(), file.Size()));
}

void WriteLevels(Json& json, const Survey& survey) {
  json.Name("levels");
  json.BeginArray();
  for (std::uint32_t level = survey.topLevel + 1; level-- > 0;) {
    json.BeginObject();
    json.NumberMember("level", level);
    json.NumberMember("nodes", survey.levels[level].nodes);
    json.NumberMember("entries", survey.levels[level].entries);
    json.EndObject();
  }
  json.EndArray();
}

void WriteStatistics(const Tool& tool, const Statistics& statistics) {
  const Survey& survey = statistics.survey;
  const IsiFile& file = statistics.file;
  Json json(tool.out);
  json.BeginObject();
  json.TextMember("file", file.path);
  json.NumberMember("size", file.Size());
  json.NumberMember("sectors", file.reader.sectors);
  json.NumberMember("nodeCapacity", file.reader.capacity);
  json.NumberMember("entrySize", file.reader.entrySize);
  WriteLevels(json, survey);
  json.NumberMember("nodes", survey.nodes);
  json.NumberMember("entries", survey.entries);
  json.NumberMember("duplicates", survey.duplicates);
  json.NumberMember("listSectors", survey.listSectors);
  json.NumberMember("deleted", survey.deleted);
  json.NumberMember("freePlaces", statistics.freePlaces);
  json.NumberMember("unusedSectors", statistics.unreached);
  json.NumberMember("compactedSize", statistics.compactedSize);
  json.NumberMember("saved", statistics.Saved());
  json.EndObject();
  json.EndLine();
}

}  // namespace

// Of every capacity + 1 keys that come to a level, as many as fit fill a node and one moves up;
// what is left over is the level's last node, if anything is.
std::uint64_t DenseNodes(std::uint64_t entries, std::uint32_t capacity) {
  std::uint64_t nodes = 0;
  std::uint64_t keys = entries;
  for (; keys > capacity; keys /= capacity + 1) {
    nodes += keys / (capacity + 1) + (keys % (capacity + 1) != 0 ? 1 : 0);
  }
  return nodes + 1;
}

ToolStatus RunStat(const Tool& tool, IsiFile& file) {
  Survey survey(file);
  TakeSurvey(tool, file, survey);
  const Statistics statistics = Calculate(file, survey);
  if (tool.options.json) {
    WriteStatistics(tool, statistics);
  } else {
    ShowTree(tool, statistics);
    ShowSpace(tool, statistics);
  }
  return survey.faulty ? ToolStatus::kFaults : ToolStatus::kFine;
}

}  // namespace tavindex
