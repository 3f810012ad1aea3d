#include "isitool/check.h"

#include <string>

#include "isitool/data_check.h"
#include "isitool/data_file.h"
#include "isitool/faults.h"
#include "isitool/header_check.h"
#include "isitool/json.h"
#include "isitool/progress.h"
#include "isitool/structure_check.h"
#include "isitool/text.h"

namespace tavindex {

namespace {

// One check from its first line to its last.
class CheckRun {
 public:
  CheckRun(const Tool& tool, IsiFile& file)
      : tool_(tool),
        file_(file),
        json_(tool.out),
        progress_(tool.err),
        faults_(tool, file.path, json_, progress_),
        structure_(file, faults_, progress_) {}

  ToolStatus Run() {
    if (tool_.options.dataPath && !OpenData()) {
      Complain(tool_, *tool_.options.dataPath, whyNotCompared_);
      return ToolStatus::kTrouble;
    }
    Begin();
    CheckHeaderFields(file_, faults_);
    if (file_.fault.empty()) {
      structure_.Run();
      CompareWithData();
    } else {
      whyNotCompared_ = "the header cannot be used";
    }
    faults_.Close();
    End();
    return faults_.Faults() == 0 ? ToolStatus::kFine : ToolStatus::kFaults;
  }

 private:
  bool OpenData() { return FindDataFile(file_, tool_.options.dataPath, data_, whyNotCompared_); }

  void CompareWithData() {
    if (tool_.options.noData) {
      whyNotCompared_ = "not asked for";
      return;
    }
    if (!data_.IsOpen() && !OpenData()) {
      whyNotCompared_ = Visible(data_.path) + ": " + whyNotCompared_;
      return;
    }
    compared_ = CheckData(file_, structure_, data_, faults_, progress_, whyNotCompared_);
  }

  void Begin() {
    if (!tool_.options.json) return;
    json_.BeginObject();
    json_.TextMember("file", file_.path);
    json_.Name("faults");
    json_.BeginArray();
  }

  void End() {
    if (tool_.options.json) return WriteSummary();
    const std::string name = Visible(file_.path) + ": ";
    Print(tool_, name + Count(structure_.Entries().size(), "record") + ", " +
                     Count(structure_.Deleted().size(), "deleted record") + ", " +
                     Count(structure_.Nodes(), "node") + " in " +
                     Count(structure_.Levels(), "level") + "; " + ComparedText() + ": " +
                     VerdictText() + "\n");
  }

  std::string ComparedText() const {
    if (compared_) return "compared with " + Visible(data_.path);
    return "not compared with the data (" + whyNotCompared_ + ")";
  }

  std::string VerdictText() const {
    std::string text = faults_.Faults() == 0 ? "no faults" : Count(faults_.Faults(), "fault");
    if (faults_.Remarks() > 0) text += ", " + Count(faults_.Remarks(), "remark");
    return text;
  }

  void WriteSummary() {
    json_.EndArray();
    json_.NumberMember("faultCount", faults_.Faults());
    json_.NumberMember("remarkCount", faults_.Remarks());
    json_.NumberMember("entries", structure_.Entries().size());
    json_.NumberMember("deleted", structure_.Deleted().size());
    json_.NumberMember("nodes", structure_.Nodes());
    json_.NumberMember("levels", structure_.Levels());
    json_.NumberMember("listSectors", structure_.ListSectors());
    json_.BoolMember("compared", compared_);
    if (compared_) {
      json_.TextMember("dataFile", data_.path);
    } else {
      json_.TextMember("reason", whyNotCompared_);
    }
    json_.EndObject();
    json_.EndLine();
  }

  const Tool& tool_;
  IsiFile& file_;
  Json json_;
  Progress progress_;
  FaultList faults_;
  StructureCheck structure_;
  DataFile data_;
  bool compared_ = false;
  std::string whyNotCompared_;
};

}  // namespace

ToolStatus RunCheck(const Tool& tool, IsiFile& file) { return CheckRun(tool, file).Run(); }

}  // namespace tavindex
