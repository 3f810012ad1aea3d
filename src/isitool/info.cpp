#include "isitool/info.h"

#include <string>
#include <string_view>
#include <vector>

#include "isitool/data_file.h"
#include "isitool/header_words.h"
#include "isitool/json.h"
#include "isitool/text.h"

namespace tavindex {

namespace {

// What is shown, for people and for programs.
struct Info {
  IsiFile& file;
  DataFile data;
  std::string whyNoData;  // empty when it is open

  const IsiHeader& Header() const { return file.Header(); }
  bool HasList() const { return Header().deletedListHead != kNoAddress; }
  bool IsOlder() const { return file.status.st_mtime < data.status.st_mtime; }
};

void Line(const Tool& tool, std::string_view name, std::string_view value) {
  Print(tool, Format("%-16.*s", static_cast<int>(name.size()), name.data()));
  Print(tool, value);
  Print(tool, "\n");
}

// One value a line, the name before the first; `none` where there is none.
template <typename Texts>
void Lines(const Tool& tool, std::string_view name, const Texts& texts, std::string_view none) {
  if (texts.empty()) return Line(tool, name, none);
  for (const auto& text : texts) {
    Line(tool, name, text);
    name = "";
  }
}

std::string FileText(std::uint64_t size, std::time_t modified) {
  return Count(size, "byte") + ", modified " + LocalTime(modified);
}

std::string AgeText(const Info& info) {
  if (!info.whyNoData.empty()) return "not found: " + info.whyNoData;
  if (info.IsOlder()) return "the index is older than the data file";
  return "the index is not older than the data file";
}

void ShowFiles(const Tool& tool, const Info& info) {
  const IsiFile& file = info.file;
  const std::string size = FileText(file.Size(), file.status.st_mtime);
  Line(tool, "Index", Visible(file.path));
  Line(tool, "", size);
  if (!file.fault.empty()) Line(tool, "", "cannot be used: " + file.fault);
  Line(tool, "Data file", Visible(info.Header().dataFileName.View()));
  if (info.whyNoData.empty()) {
    if (info.data.path != info.Header().dataFileName.View()) {
      Line(tool, "", "at " + Visible(info.data.path));
    }
    const struct stat& status = info.data.status;
    Line(tool, "", FileText(static_cast<std::uint64_t>(status.st_size), status.st_mtime));
  }
  Line(tool, "Age", AgeText(info));
}

std::string RecordText(const Info& info) {
  const IsiHeader& header = info.Header();
  const bool variable = (header.fileFlags & kVariableLength) != 0;
  const std::string_view mark = EorName(header.fileFlags);
  std::string text = variable ? "up to " : "";
  text += Count(header.recordLength, "byte");
  text += mark == "none" ? ", no end-of-record mark" : ", then " + std::string(mark);
  return text;
}

void ShowBuild(const Tool& tool, const Info& info) {
  const IsiHeader& header = info.Header();
  std::vector<std::string> conditions;
  for (const HeaderCondition& condition : UsedConditions(header)) {
    conditions.push_back(DescribeCondition(condition));
  }
  Line(tool, "Records", RecordText(info));
  Line(tool, "Key", Count(header.keyLength, "byte") + ": " + DescribeKey(KeyParts(header)));
  Lines(tool, "Conditions", conditions, "none: every record");
  Line(tool, "Command line",
       header.commandLine.Empty() ? "none stored"
                                  : "tavindex " + Visible(header.commandLine.View()));
}

void ShowFormat(const Tool& tool, const Info& info) {
  const IsiHeader& header = info.Header();
  const bool big = info.file.reader.order == ByteOrder::kBig;
  Line(tool, "Byte order", big ? "big-endian" : "little-endian");
  Line(tool, "Addresses",
       info.file.reader.recordNumberMode ? "record and sector numbers" : "bytes");
  Lines(tool, Format("fileFlags  %02X", header.fileFlags), FileFlagWords(header.fileFlags), "none");
  Lines(tool, Format("addrFlags  %02X", header.addrFlags), AddrFlagWords(header.addrFlags), "none");
}

void ShowCounts(const Tool& tool, const Info& info) {
  const IsiHeader& header = info.Header();
  Line(tool, "Indexed", Count(header.recordsIndexed, "record"));
  Line(tool, "Deleted",
       Count(header.deletedCount, "record") + (info.HasList()
                                                   ? Format(", list at %u", header.deletedListHead)
                                                   : std::string(", no list")));
  Line(tool, "Data ends at", std::to_string(header.dataEnd));
  Line(tool, "Root at", std::to_string(header.rootNode));
  Line(tool, "Change counter", std::to_string(header.spinCounter));
}

void WriteDataFile(Json& json, const Info& info) {
  json.Name("dataFile");
  json.BeginObject();
  json.TextMember("name", info.Header().dataFileName.View());
  json.BoolMember("found", info.whyNoData.empty());
  if (info.whyNoData.empty()) {
    json.TextMember("path", info.data.path);
    json.NumberMember("size", static_cast<std::uint64_t>(info.data.status.st_size));
    json.TextMember("modified", UtcTime(info.data.status.st_mtime));
    json.BoolMember("newerThanIndex", info.IsOlder());
  } else {
    json.TextMember("reason", info.whyNoData);
  }
  json.EndObject();
}

void WriteKey(Json& json, const IsiHeader& header) {
  json.NumberMember("keyLength", header.keyLength);
  json.Name("key");
  json.BeginArray();
  for (const KeyPart& part : KeyParts(header)) {
    json.BeginObject();
    json.NumberMember("from", part.from);
    json.NumberMember("to", part.to);
    json.EndObject();
  }
  json.EndArray();
}

void WriteConditions(Json& json, const IsiHeader& header) {
  json.Name("conditions");
  json.BeginArray();
  for (const HeaderCondition& condition : UsedConditions(header)) {
    const auto character = static_cast<char>(condition.compareChar);
    json.BeginObject();
    json.NumberMember("column", condition.column);
    json.BoolMember("equal", (condition.flags & kTestEqual) != 0);
    json.BoolMember("compound", IsCompound(condition));
    if (!IsCompound(condition)) json.TextMember("character", {&character, 1});
    json.EndObject();
  }
  json.EndArray();
}

void WriteFlags(Json& json, std::string_view name, std::uint8_t flags,
                const std::vector<std::string_view>& words) {
  json.Name(name);
  json.BeginObject();
  json.NumberMember("value", flags);
  json.Name("meaning");
  json.BeginArray();
  for (const std::string_view text : words) json.Text(text);
  json.EndArray();
  json.EndObject();
}

void WriteFormat(Json& json, const Info& info) {
  const IsiFile& file = info.file;
  const IsiHeader& header = info.Header();
  json.TextMember("byteOrder", file.reader.order == ByteOrder::kBig ? "big" : "little");
  json.TextMember("addresses", file.reader.recordNumberMode ? "numbers" : "bytes");
  json.NumberMember("recordLength", header.recordLength);
  json.TextMember("endOfRecord", EorName(header.fileFlags));
  WriteFlags(json, "fileFlags", header.fileFlags, FileFlagWords(header.fileFlags));
  WriteFlags(json, "addrFlags", header.addrFlags, AddrFlagWords(header.addrFlags));
}

void WriteCounts(Json& json, const Info& info) {
  const IsiHeader& header = info.Header();
  json.NumberMember("recordsIndexed", header.recordsIndexed);
  json.NumberMember("deletedCount", header.deletedCount);
  if (info.HasList()) {
    json.NumberMember("deletedListHead", header.deletedListHead);
  } else {
    json.NullMember("deletedListHead");
  }
  json.NumberMember("dataEnd", header.dataEnd);
  json.NumberMember("rootNode", header.rootNode);
  json.NumberMember("spinCounter", header.spinCounter);
}

void WriteInfo(const Tool& tool, const Info& info) {
  Json json(tool.out);
  json.BeginObject();
  json.TextMember("file", info.file.path);
  json.NumberMember("size", info.file.Size());
  json.TextMember("modified", UtcTime(info.file.status.st_mtime));
  json.BoolMember("usable", info.file.fault.empty());
  WriteDataFile(json, info);
  WriteKey(json, info.Header());
  WriteConditions(json, info.Header());
  json.TextMember("commandLine", info.Header().commandLine.View());
  WriteFormat(json, info);
  WriteCounts(json, info);
  json.EndObject();
  json.EndLine();
}

}  // namespace

ToolStatus RunInfo(const Tool& tool, IsiFile& file) {
  Info info{.file = file, .data = {}, .whyNoData = {}};
  std::string why;
  if (!FindDataFile(file, tool.options.dataPath, info.data, why)) {
    info.whyNoData = why;
    if (tool.options.dataPath) {
      Complain(tool, *tool.options.dataPath, why);
      return ToolStatus::kTrouble;
    }
  }
  if (tool.options.json) {
    WriteInfo(tool, info);
  } else {
    ShowFiles(tool, info);
    ShowBuild(tool, info);
    ShowFormat(tool, info);
    ShowCounts(tool, info);
  }
  return file.fault.empty() ? ToolStatus::kFine : ToolStatus::kFaults;
}

}  // namespace tavindex
