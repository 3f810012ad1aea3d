#include "isitool/find.h"

#include <cstring>
#include <string>
#include <string_view>

#include "isitool/data_file.h"
#include "isitool/entry_print.h"
#include "isitool/fault_teller.h"
#include "isitool/json.h"
#include "isitool/text.h"
#include "isitool/walk.h"

namespace tavindex {

namespace {

class FindVisitor : public FaultTeller {
 public:
  FindVisitor(const Tool& tool, const IsiFile& file, const DataFile& data, std::string_view key)
      : FaultTeller(tool, file), data_(data), json_(tool.out), key_(key) {}

  bool OnEntry(const Node& node, std::uint32_t index) override {
    const EntryView entry = EntryOf(File(), node.bytes.data(), index);
    if (std::memcmp(entry.key.data(), key_.data(), key_.size()) != 0) return false;
    found_ = true;
    if (TheTool().options.json) {
      WriteLine(node, index, entry);
    } else {
      PrintLines(node, index, entry);
    }
    return std::ferror(TheTool().out) == 0;
  }

  bool Found() const { return found_; }

 private:
  std::string RecordOf(const EntryView& entry) const {
    return ReadRecord(data_, RecordOffset(File(), entry.lfa), entry.recLength);
  }

  void PrintLines(const Node& node, std::uint32_t index, const EntryView& entry) {
    Print(TheTool(), Visible(AsText(entry.key)));
    Print(TheTool(),
          Format("  record at %llu, %s, duplicate %u, sector %u entry %u\n",
                 static_cast<unsigned long long>(RecordOffset(File(), entry.lfa)),
                 Count(entry.recLength, "byte").c_str(), entry.dupSeq, node.sector, index));
    if (data_.IsOpen()) Print(TheTool(), "  " + Visible(WithoutMark(RecordOf(entry))) + "\n");
  }

  // The mark behind the record, which every record has, is not shown to people.
  std::string WithoutMark(std::string record) const {
    const std::size_t mark = EorBytes(File().Header().fileFlags);
    const std::string_view marks = "\r\n";
    for (std::size_t i = 0; i < mark && !record.empty(); ++i) {
      if (marks.find(record.back()) == std::string_view::npos) break;
      record.pop_back();
    }
    return record;
  }

  void WriteLine(const Node& node, std::uint32_t index, const EntryView& entry) {
    json_.BeginObject();
    WriteEntry(json_, node, index, entry);
    if (data_.IsOpen()) {
      const std::string record = RecordOf(entry);
      json_.TextMember("record", record);
      json_.TextMember("recordHex", HexDigits(record));
    } else {
      json_.NullMember("record");
      json_.NullMember("recordHex");
    }
    json_.EndObject();
    json_.EndLine();
  }

  const DataFile& data_;
  Json json_;
  std::string_view key_;
  bool found_ = false;
};

// A key typed in part is that of a record which ends there, unless it is a prefix.
bool CompleteKey(const Tool& tool, const IsiFile& file, std::string& key) {
  key = tool.options.key;
  if (!KeyFits(tool, file, key)) return false;
  if (!tool.options.prefix) key.resize(file.Header().keyLength, ' ');
  return true;
}

}  // namespace

ToolStatus RunFind(const Tool& tool, IsiFile& file) {
  std::string key;
  if (!CompleteKey(tool, file, key)) return ToolStatus::kTrouble;
  DataFile data;
  std::string why;
  if (!FindDataFile(file, tool.options.dataPath, data, why)) {
    Complain(tool, tool.options.dataPath.value_or(data.path), why);
    if (tool.options.dataPath) return ToolStatus::kTrouble;
  }
  SectorTable table(file.reader.sectors);
  FindVisitor visitor(tool, file, data, key);
  WalkTree(file, table, visitor, AsBytes(key));
  if (!visitor.Found()) Complain(tool, file.path, "no such key: " + Visible(tool.options.key));
  return visitor.Found() && !visitor.Faulty() ? ToolStatus::kFine : ToolStatus::kFaults;
}

}  // namespace tavindex
