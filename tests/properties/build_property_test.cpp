// Builds of random data files with random options, judged by the checker: what the program writes
// must be the image that the checker makes of the same data, whatever the sort memory and the sort
// method.
//
// TAVINDEX_PROPERTY_CASES   cases over all record formats (300)
// TAVINDEX_PROPERTY_SEED    seed of the first case (1); case n has the seed n - 1 higher

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "build_case.h"
#include "program_run.h"
#include "support/scratch_directory.h"

namespace tavindex::test {
namespace {

std::uint64_t Setting(const char* name, std::uint64_t usual) {
  const char* value = std::getenv(name);
  return value == nullptr ? usual : std::strtoull(value, nullptr, 10);
}

struct Format {
  const char* name;
  RecordFormat format;
};

void PrintTo(const Format& format, std::ostream* out) { *out << format.name; }

constexpr Format kFormats[] = {
    {"FixedText", RecordFormat::kFixedText},
    {"VariableText", RecordFormat::kVariableText},
    {"CompressedText", RecordFormat::kCompressedText},
    {"Binary", RecordFormat::kBinary},
    {"BinaryWithEor", RecordFormat::kBinaryWithEor},
};

class RandomBuild : public ::testing::TestWithParam<Format> {
 protected:
  void CheckCase(std::uint64_t seed);
  std::uint64_t IndexesWithEntries() const { return indexesWithEntries_; }

 private:
  std::vector<std::byte> Build(char method);
  void CheckOutput(const std::string& output);
  void CheckIsi(const std::vector<std::byte>& isi);
  void CheckFilesLeft() const;
  std::string Reproduction(char method) const;

  std::uint64_t indexesWithEntries_ = 0;
  std::uint64_t seed_ = 0;
  BuildCase case_;
  std::vector<std::byte> data_;
  IndexModel model_;
  ScratchDirectory scratch_;
};

// Keeps the data of a failed case, and tells how to see it fail again.
std::string RandomBuild::Reproduction(char method) const {
  const std::string kept =
      "/tmp/tavindex_property_" + std::string(GetParam().name) + "_" + std::to_string(seed_);
  std::filesystem::create_directories(kept);
  std::filesystem::copy_file(scratch_.Path("data.txt"), kept + "/data.txt",
                             std::filesystem::copy_options::overwrite_existing);
  return "seed " + std::to_string(seed_) + "; to see it again:\n  cd " + kept + " && " +
         ShellCommand(case_.Arguments(method)) +
         "\n  TAVINDEX_PROPERTY_CASES=1 TAVINDEX_PROPERTY_SEED=" + std::to_string(seed_) + " " +
         std::filesystem::read_symlink("/proc/self/exe").string() +
         " --gtest_filter=RecordFormats/RandomBuild.*/" + GetParam().name;
}

// The line of counts is the one place where the program tells what it found.
void RandomBuild::CheckOutput(const std::string& output) {
  const std::string counts = "\n" + std::to_string(model_.recordsIndexed) + " records, " +
                             std::to_string(model_.deleted.size()) + " deleted entries\n";
  EXPECT_NE(output.find(counts), std::string::npos) << counts << "is not in\n" << output;
  const std::string duplicates =
      "Data file has " + std::to_string(model_.dupCount) + " duplicate key entries.\n";
  EXPECT_EQ(output.find(duplicates) != std::string::npos, model_.dupCount > 0) << output;
}

void RandomBuild::CheckIsi(const std::vector<std::byte>& isi) {
  CompareOptions options;
  options.structure = {.builderShape = true, .fillPercent = case_.request.fillPercent};
  const Report report = CompareWithData(isi, data_, case_.request, options);
  EXPECT_TRUE(report.Ok()) << report.Text();
  const std::vector<std::byte> expected = ExpectedIsi(model_, case_.request, case_.header);
  ASSERT_FALSE(expected.empty());
  const Report images = CompareImages(isi, expected);
  EXPECT_TRUE(images.Ok()) << images.Text();
}

void RandomBuild::CheckFilesLeft() const {
  const std::set<std::string> known = {"data.txt", "index.isi", "index.ERR"};
  for (const auto& file : std::filesystem::directory_iterator(scratch_.Path())) {
    EXPECT_TRUE(known.contains(file.path().filename())) << file.path() << " was left";
  }
}

// Gives the file that was built; nothing when the model says that none is left.
std::vector<std::byte> RandomBuild::Build(char method) {
  std::filesystem::remove(scratch_.Path("index.isi"));
  const ProgramResult result = RunProgram(scratch_.Path(), case_.Arguments(method));
  CheckFilesLeft();
  if (model_.result != 0) {
    EXPECT_EQ(result.exitStatus, 1) << "expected result " << model_.result << "\n" << result.output;
    EXPECT_FALSE(scratch_.Exists("index.isi")) << "expected result " << model_.result;
    return {};
  }
  EXPECT_EQ(result.exitStatus, 0) << result.output;
  CheckOutput(result.output);
  const std::vector<std::byte> isi = ReadBytes(scratch_.Path("index.isi"));
  CheckIsi(isi);
  return isi;
}

void RandomBuild::CheckCase(std::uint64_t seed) {
  seed_ = seed;
  case_ = MakeBuildCase(GetParam().format, seed);
  scratch_.Write("data.txt", case_.data);
  data_ = ReadBytes(scratch_.Path("data.txt"));
  model_ = BuildModel(data_, case_.request);
  if (model_.result == 0 && !model_.entries.empty()) ++indexesWithEntries_;
  const std::vector<std::byte> first = Build('0');
  if (HasFailure()) {
    ADD_FAILURE() << Reproduction('0');
    return;
  }
  const std::vector<std::byte> second = Build('1');
  EXPECT_TRUE(first == second) << "the sort methods give different files";
  if (HasFailure()) ADD_FAILURE() << Reproduction('1');
}

TEST_P(RandomBuild, IsWhatTheCheckerMakesOfTheData) {
  const std::uint64_t cases =
      std::max<std::uint64_t>(Setting("TAVINDEX_PROPERTY_CASES", 300) / std::size(kFormats), 1);
  const std::uint64_t first = Setting("TAVINDEX_PROPERTY_SEED", 1);
  for (std::uint64_t i = 0; i < cases && !HasFailure(); ++i) CheckCase(first + i);
  // Cases that leave nothing to compare are to stay the exception.
  const bool enough = cases < 20 || HasFailure() || IndexesWithEntries() > cases / 2;
  EXPECT_TRUE(enough) << IndexesWithEntries() << " of " << cases << " cases";
}

INSTANTIATE_TEST_SUITE_P(RecordFormats, RandomBuild, ::testing::ValuesIn(kFormats),
                         [](const auto& format) { return std::string(format.param.name); });

}  // namespace
}  // namespace tavindex::test
