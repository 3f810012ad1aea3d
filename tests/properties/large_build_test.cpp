// A million records in little sort memory: thousands of trains, several merge passes.

#include <gtest/gtest.h>

#include <cstdio>
#include <random>

#include "isi_checker.h"
#include "program_run.h"
#include "support/scratch_directory.h"

namespace tavindex::test {
namespace {

constexpr unsigned kRecords = 1'000'000;

// Records of 24 bytes: a key of 10 that is seldom repeated, then the record's number.
std::string MakeData() {
  std::mt19937_64 random(20'000);
  std::string data;
  data.reserve(std::size_t{kRecords} * 25);
  char record[32];
  for (unsigned i = 0; i < kRecords; ++i) {
    std::snprintf(record, sizeof record, "%010llu%014u\n",
                  static_cast<unsigned long long>(random() % 5'000'000), i);
    data += record;
  }
  return data;
}

struct Run {
  const char* memory;
  char method;
};

void PrintTo(const Run& run, std::ostream* out) { *out << run.memory << " -" << run.method; }

class LargeBuild : public ::testing::TestWithParam<Run> {};

TEST_P(LargeBuild, IsWhatTheCheckerMakesOfTheData) {
  const ScratchDirectory scratch;
  scratch.Write("data.txt", MakeData());
  BuildRequest request;
  request.keys = {{1, 10}};
  const ProgramResult result = RunProgram(
      scratch.Path(),
      {GetParam().memory, std::string("-") + GetParam().method, "data.txt,index.isi", "-1-10"});
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  const std::vector<std::byte> isi = ReadBytes(scratch.Path("index.isi"));
  const std::vector<std::byte> data = ReadBytes(scratch.Path("data.txt"));
  const IndexModel model = BuildModel(data, request);
  EXPECT_EQ(model.entries.size(), kRecords);
  CompareOptions options;
  options.structure.builderShape = true;
  const Report report = CompareWithData(isi, data, request, options);
  EXPECT_TRUE(report.Ok()) << report.Text();
  const Report images = CompareImages(
      isi, ExpectedIsi(model, request,
                       {.dataFileName = "data.txt", .commandLine = "data.txt,index.isi -1-10"}));
  EXPECT_TRUE(images.Ok()) << images.Text();
}

// Items of 24 bytes with their references: areas of 100, 1600 and 40000 records, so 10000 trains
// in three passes, 625 in two, and 25 in one.
INSTANTIATE_TEST_SUITE_P(MergePasses, LargeBuild,
                         ::testing::Values(Run{"-m2448", '0'}, Run{"-m38448", '1'},
                                           Run{"-m960048", '0'}),
                         [](const auto& run) {
                           return std::string("Memory") + (run.param.memory + 2);
                         });

}  // namespace
}  // namespace tavindex::test
