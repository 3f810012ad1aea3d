// Feeds bytes to the program as a data file. The first line is the plan of a build in words (see
// build_plan.h), the rest the data. The checker makes its own index of the same data: the file that
// the program writes must be that one, byte for byte, and where the checker says that the data
// gives no index, there must be none. A rebuild must give the same file again, compactions one with
// the same entries.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/build_plan.h"
#include "fuzz/scene.h"

namespace {

using namespace tavindex::test;

constexpr std::size_t kMaxSize = 16 * 1024;
constexpr const char* kIsi = "index.isi";

std::vector<std::byte> BytesOf(std::string_view text) {
  std::vector<std::byte> bytes(text.size());
  if (!text.empty()) std::memcpy(bytes.data(), text.data(), text.size());
  return bytes;
}

class DataCase {
 public:
  DataCase(std::string_view plan, std::string_view data) : plan_(ReadPlan(plan)) {
    data_ = BytesOf(data);
    // More trains than this take their time and show nothing new.
    const auto atLeast = static_cast<unsigned>(data.size() / 500);
    plan_.items = std::max(plan_.items, atLeast);
    model_ = BuildModel(data_, plan_.request);
    header_.dataFileName = "data.txt";
    header_.commandLine = Fields() + " " + plan_.Options();
    WriteFile("data.txt", data);
  }

  void Run() const {
    CheckBuild(RunArguments(
        {plan_.MemoryOption(), plan_.quicksort ? "-1" : "-0", Fields(), plan_.Options()}));
    if (model_.result != 0) return;
    const std::string built = ReadFile(kIsi);
    if (plan_.rebuild) {
      if (RunArguments({kIsi, "-r"}) != tavindex::kOk) Fail("no rebuild");
      if (ReadFile(kIsi) != built) Fail("the rebuild is another index");
    }
    if (!plan_.compact) return;
    CheckCompaction("index.isi,copy.isi", "copy.isi");
    CheckCompaction(kIsi, kIsi);
  }

 private:
  // Binary records have their length in the option.
  std::string Fields() const {
    const bool binary = plan_.request.format == RecordFormat::kBinary ||
                        plan_.request.format == RecordFormat::kBinaryWithEor;
    const bool declared = plan_.request.declaredLength != 0 && !binary;
    return std::string("data.txt,") + kIsi +
           (declared ? ",l" + std::to_string(plan_.request.declaredLength) : "");
  }

  [[noreturn]] void FailWith(const std::string& what) const {
    Fail(what + "\n" + header_.commandLine);
  }

  void CheckBuild(tavindex::Result result) const {
    CheckFilesLeft();
    if ((result == tavindex::kOk) != (model_.result == 0)) {
      FailWith("result " + std::to_string(result) + ", expected " + std::to_string(model_.result));
    }
    if (Exists(kIsi) != (model_.result == 0)) FailWith("an index must be there, or must not");
    if (model_.result != 0) return;
    const std::vector<std::byte> isi = BytesOf(ReadFile(kIsi));
    const Report report = CompareImages(isi, ExpectedIsi(model_, plan_.request, header_));
    if (!report.Ok()) FailWith(report.Text());
    CheckStructureOf(isi, plan_.request.fillPercent);
  }

  void CheckStructureOf(const std::vector<std::byte>& isi, unsigned fillPercent) const {
    const Report report = CheckStructure(isi, {.builderShape = true, .fillPercent = fillPercent});
    if (!report.Ok()) FailWith(report.Text());
  }

  static void CheckFilesLeft() {
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
      const std::string name = entry.path().filename();
      if (name != "data.txt" && name != kIsi && name != "index.ERR") Fail(name + " was left");
    }
  }

  void CheckCompaction(const char* fields, const char* output) const {
    if (RunArguments({plan_.MemoryOption(), fields, "-c"}) != tavindex::kOk) {
      FailWith("no compaction");
    }
    CompareOptions options;
    options.compacted = true;
    const Report report = CompareWithData(BytesOf(ReadFile(output)), data_, plan_.request, options);
    if (!report.Ok()) FailWith(report.Text());
  }

  BuildPlan plan_;
  std::vector<std::byte> data_;
  IndexModel model_;
  HeaderRequest header_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size > kMaxSize) return 0;
  std::string_view text(reinterpret_cast<const char*>(bytes), size);
  const std::string_view plan = TakePiece(text, '\n');
  StartScene();
  DataCase(plan, text).Run();
  return 0;
}
