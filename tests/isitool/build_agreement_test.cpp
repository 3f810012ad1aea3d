// Random builds, made by the checker's model: check finds no fault in them, and when a byte of the
// data changes it finds one exactly when the records to index are other ones then.

#include <gtest/gtest.h>

#include <random>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "build_case.h"
#include "tool_run.h"

namespace tavindex::test {
namespace {

constexpr RecordFormat kFormats[] = {RecordFormat::kFixedText, RecordFormat::kVariableText,
                                     RecordFormat::kCompressedText, RecordFormat::kBinary,
                                     RecordFormat::kBinaryWithEor};

class BuildAgreement : public ToolTest, public ::testing::WithParamInterface<RecordFormat> {
 protected:
  static IndexModel ModelOf(const std::string& data, const BuildRequest& request) {
    return BuildModel(std::as_bytes(std::span(data)), request);
  }

  // What the data says must be in an index, apart from what the build's flags tell about it.
  static bool SameContents(const IndexModel& a, const IndexModel& b) {
    return a.entries == b.entries && a.deleted == b.deleted && a.dataEnd == b.dataEnd;
  }
  static bool SameFormat(const IndexModel& a, const IndexModel& b) {
    return b.result == 0 && a.eor == b.eor && a.recordLength == b.recordLength;
  }

  ToolResult CheckData(const std::string& data) {
    scratch.Write("changed.TXT", data);
    return Here({"check", "--strict", "--data=changed.TXT", "x.ISI"});
  }

  void ChangeBytes(const BuildCase& build, const IndexModel& model, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    for (int i = 0; i < 6 && !build.data.empty(); ++i) {
      std::string data = build.data;
      data[random() % data.size()] = static_cast<char>(random() % 3 == 0 ? 0 : 'a' + random() % 26);
      const IndexModel changed = ModelOf(data, build.request);
      if (!SameFormat(model, changed)) continue;
      const ToolResult run = CheckData(data);
      // Irregular lengths may lack the list of deleted records.
      const bool listCounts = (model.fileFlags & 0x20) == 0 || !model.deleted.empty();
      const bool same =
          SameContents(model, changed) ||
          (!listCounts && model.entries == changed.entries && model.dataEnd == changed.dataEnd);
      EXPECT_EQ(run.status, same ? 0 : 1) << "seed " << seed << "\n" << run.out;
      ++changes_;
    }
  }

  int changes_ = 0;
};

TEST_P(BuildAgreement, NoFaultsUntilTheDataChanges) {
  int builds = 0;
  for (std::uint64_t seed = 1; seed <= 150; ++seed) {
    const BuildCase build = MakeBuildCase(GetParam(), seed);
    const IndexModel model = ModelOf(build.data, build.request);
    if (model.result != 0 || build.header.commandLine.size() > 527) continue;
    WriteBytes("x.ISI", ExpectedIsi(model, build.request, build.header));
    const ToolResult run = CheckData(build.data);
    EXPECT_EQ(run.status, 0) << "seed " << seed << ": " << build.header.commandLine << "\n"
                             << run.out;
    EXPECT_NE(run.out.find("; compared with changed.TXT: no faults\n"), std::string::npos)
        << run.out;
    ++builds;
    if (HasFailure()) return;
    ChangeBytes(build, model, seed);
    if (HasFailure()) return;
  }
  EXPECT_GT(builds, 40);
  EXPECT_GT(changes_, 100);
}

INSTANTIATE_TEST_SUITE_P(Formats, BuildAgreement, ::testing::ValuesIn(kFormats));

}  // namespace
}  // namespace tavindex::test
