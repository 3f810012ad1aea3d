#include "isitool/map.h"

#include "isitool/json.h"
#include "isitool/map_picture.h"
#include "isitool/map_svg.h"
#include "isitool/map_text.h"
#include "isitool/survey.h"

namespace tavindex {

namespace {

void WriteReached(Json& json, const Survey& survey) {
  const SectorTable& table = survey.table;
  json.Name("sectors");
  json.BeginArray();
  std::uint64_t sector = table.NextReached(0);
  for (; sector < table.Sectors(); sector = table.NextReached(sector + 1)) {
    const SectorUse use = table.At(sector);
    json.BeginObject();
    json.NumberMember("sector", sector);
    json.TextMember("kind", use.kind == SectorKind::kList ? "list" : "node");
    if (use.kind == SectorKind::kNode) json.NumberMember("level", use.level);
    json.NumberMember("used", use.count);
    json.EndObject();
  }
  json.EndArray();
}

// Runs of sectors that nothing refers to, as first and last; the place at 1536 may be one of them.
void WriteUnreached(Json& json, const Survey& survey) {
  json.Name("unreached");
  json.BeginArray();
  const std::uint64_t end = survey.table.Sectors();
  for (std::uint64_t from = kOpenListSector; from < end;) {
    const std::uint64_t to = survey.table.NextReached(from);
    if (to > from) {
      json.BeginObject();
      json.NumberMember("first", from);
      json.NumberMember("last", to - 1);
      json.EndObject();
    }
    from = to + 1;
  }
  json.EndArray();
}

void WriteMap(const Tool& tool, const IsiFile& file, const Survey& survey) {
  Json json(tool.out);
  json.BeginObject();
  json.TextMember("file", file.path);
  json.NumberMember("sectorCount", file.reader.sectors);
  json.NumberMember("nodeCapacity", file.reader.capacity);
  json.NumberMember("listCapacity", kListCapacity);
  WriteReached(json, survey);
  WriteUnreached(json, survey);
  json.EndObject();
  json.EndLine();
}

}  // namespace

ToolStatus RunMap(const Tool& tool, IsiFile& file) {
  Survey survey(file);
  TakeSurvey(tool, file, survey);
  if (tool.options.json) {
    WriteMap(tool, file, survey);
  } else if (tool.options.svg) {
    DrawSvgMap(tool, file, survey);
  } else {
    DrawTextMap(tool, file, survey);
  }
  return survey.faulty ? ToolStatus::kFaults : ToolStatus::kFine;
}

}  // namespace tavindex
