#include "isitool/dump.h"

#include <cstring>
#include <string>

#include "isitool/entry_print.h"
#include "isitool/fault_teller.h"
#include "isitool/json.h"
#include "isitool/text.h"
#include "isitool/walk.h"

namespace tavindex {

namespace {

class DumpVisitor : public FaultTeller {
 public:
  DumpVisitor(const Tool& tool, const IsiFile& file) : FaultTeller(tool, file), json_(tool.out) {}

  bool OnEntry(const Node& node, std::uint32_t index) override {
    const EntryView entry = EntryOf(File(), node.bytes.data(), index);
    const Options& options = TheTool().options;
    const std::string& to = options.to;
    if (std::memcmp(entry.key.data(), to.data(), to.size()) > 0) return false;
    if (options.json) {
      WriteLine(node, index, entry);
    } else if (options.keysOnly) {
      Print(TheTool(), KeyText(TheTool(), entry) + "\n");
    } else {
      PrintEntry(TheTool(), entry);
    }
    return std::ferror(TheTool().out) == 0;
  }

 private:
  void WriteLine(const Node& node, std::uint32_t index, const EntryView& entry) {
    json_.BeginObject();
    if (TheTool().options.keysOnly) {
      WriteKey(json_, entry);
    } else {
      WriteEntry(json_, node, index, entry);
    }
    json_.EndObject();
    json_.EndLine();
  }

  Json json_;
};

}  // namespace

ToolStatus RunDump(const Tool& tool, IsiFile& file) {
  const Options& options = tool.options;
  if (!KeyFits(tool, file, options.from) || !KeyFits(tool, file, options.to)) {
    return ToolStatus::kTrouble;
  }
  if (!options.json && !options.keysOnly) PrintEntryHead(tool);
  SectorTable table(file.reader.sectors);
  DumpVisitor visitor(tool, file);
  WalkTree(file, table, visitor, AsBytes(options.from));
  return visitor.Faulty() ? ToolStatus::kFaults : ToolStatus::kFine;
}

}  // namespace tavindex
