// Builds of random data files with random options, judged by the checker. A case is one index on
// its way through the program:
//
//   1. built with one sort memory and method, then with another: the image that the checker makes
//   of
//      the same data, byte for byte
//   2. rebuilt: the same again
//   3. compacted into a new file: the image that the checker makes of the same entries; the new
//   file
//      rebuilt: the build's image with its own name in the stored line
//   4. compacted in place, and rebuilt: the image of the build
//
// Each case runs in a process of its own, so that whatever ends one is told with its seed.
//
// TAVINDEX_PROPERTY_CASES   cases over all record formats
// TAVINDEX_PROPERTY_SEED    seed of the first case of each format (1); each case has the next one

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "../compact/program_test.h"
#include "build_case.h"
#include "isi_layout.h"
#include "program_run.h"
#include "support/child_process.h"

namespace tavindex::test {
namespace {

constexpr unsigned kSecondsForACase = 100;
constexpr const char* kIsi = "index.isi";
constexpr const char* kCopy = "copy.isi";

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

using Image = std::vector<std::byte>;

class RandomBuild : public ProgramTest, public ::testing::WithParamInterface<Format> {
 protected:
  // Safe on disk is nothing here: a case does not outlive its process.
  RandomBuild() {
    calls.Replace<&SystemCalls::fsync>([](int) { return 0; });
  }

  // In a child process.
  void RunCase(std::uint64_t seed);
  std::uint64_t IndexesWithEntries() const { return indexesWithEntries_; }

 private:
  void CheckCase(std::uint64_t seed);
  void CheckBuild(const std::vector<std::string>& arguments);
  void CheckRebuild(const std::string& isi, const Image& expected);
  void CheckCopy();
  void CheckInPlace();

  Outcome RunWithin(std::vector<std::string> arguments);
  void CheckCounts(const Outcome& outcome);
  void CheckImage(const std::string& name, const Image& expected, unsigned fillPercent);
  void CheckFilesLeft() const;
  Image ExpectedBuild(const std::string& isi) const;
  Image ExpectedCompactionOf(const Image& built, const std::string& commandLine) const;
  std::string LineFor(const std::string& isi) const;

  BuildCase case_;
  Image data_;
  IndexModel model_;
  std::uint64_t indexesWithEntries_ = 0;
};

// ---- What is expected ----

// The stored command line with this index as its second field.
std::string RandomBuild::LineFor(const std::string& isi) const {
  std::string line = case_.header.commandLine;
  return line.replace(line.find(kIsi), std::string(kIsi).size(), isi);
}

Image RandomBuild::ExpectedBuild(const std::string& isi) const {
  HeaderRequest header = case_.header;
  header.commandLine = LineFor(isi);
  return ExpectedIsi(model_, case_.request, header);
}

// From the newest list sector back to the first.
std::vector<std::size_t> ListSectors(const Image& isi) {
  using namespace layout;
  std::vector<std::size_t> sectors;
  for (std::uint32_t at = Load32(isi, kDeletedListHead, ByteOrder::kLittle); at != kNoAddress;
       at = Load32(isi, at + kPrevListSector, ByteOrder::kLittle)) {
    sectors.push_back(at / kSectorSize);
  }
  return sectors;
}

Image RandomBuild::ExpectedCompactionOf(const Image& built, const std::string& commandLine) const {
  MadeTree tree;
  tree.plan.keyLength = model_.keyLength;
  tree.plan.entries = model_.recordsIndexed;
  tree.plan.fileFlags = model_.fileFlags;
  tree.plan.dataFileName = case_.header.dataFileName;
  tree.image = built;
  tree.compacted = model_.entries;
  tree.deleted = model_.deleted;
  tree.listSectors = ListSectors(built);
  Image expected = ExpectedCompaction(tree, commandLine);
  // The tables of conditions and keys go through untouched.
  std::copy(built.begin() + layout::kConditionTable, built.begin() + layout::kDataFileName,
            expected.begin() + layout::kConditionTable);
  return expected;
}

// ---- Steps of a case ----

Outcome RandomBuild::RunWithin(std::vector<std::string> arguments) {
  const std::size_t open = OpenDescriptors();
  Outcome outcome = Run(std::move(arguments));
  EXPECT_EQ(OpenDescriptors(), open);
  CheckFilesLeft();
  return outcome;
}

// The line of counts is the one place where the program tells what it found.
void RandomBuild::CheckCounts(const Outcome& outcome) {
  const std::string counts = "\n" + std::to_string(model_.recordsIndexed) + " records, " +
                             std::to_string(model_.deleted.size()) + " deleted entries\n";
  EXPECT_NE(outcome.text.find(counts), std::string::npos) << counts << "is not in\n"
                                                          << outcome.text;
  const std::string duplicates =
      "Data file has " + std::to_string(model_.dupCount) + " duplicate key entries.\n";
  EXPECT_EQ(outcome.text.find(duplicates) != std::string::npos, model_.dupCount > 0)
      << outcome.text;
}

void RandomBuild::CheckImage(const std::string& name, const Image& expected, unsigned fillPercent) {
  const Image isi = ReadBytes(name);
  ASSERT_FALSE(expected.empty());
  const Report images = CompareImages(isi, expected);
  EXPECT_TRUE(images.Ok()) << images.Text();
  CompareOptions options;
  options.compacted = true;
  options.structure = {.builderShape = true, .fillPercent = fillPercent};
  const Report report = CompareWithData(isi, data_, case_.request, options);
  EXPECT_TRUE(report.Ok()) << report.Text();
}

void RandomBuild::CheckFilesLeft() const {
  for (const std::string& name : FilesLeft()) {
    const bool known = name == "data.txt" || name == kIsi || name == kCopy || name == "index.ERR" ||
                       name == "copy.ERR";
    EXPECT_TRUE(known) << name << " was left";
  }
}

void RandomBuild::CheckBuild(const std::vector<std::string>& arguments) {
  std::filesystem::remove(kIsi);
  const Outcome outcome = RunWithin(arguments);
  // The end of a run may find the data to be wrong also after another failure.
  const bool wrongToo = model_.result != 0 && outcome.code == kResultWrongFormat;
  EXPECT_TRUE(outcome.code == model_.result || wrongToo)
      << outcome.code << ", expected " << model_.result << "\n"
      << outcome.text;
  EXPECT_EQ(scratch.Exists(kIsi), model_.result == 0) << "expected result " << model_.result;
  if (HasFailure() || model_.result != 0) return;
  CheckCounts(outcome);
  CheckImage(kIsi, ExpectedBuild(kIsi), case_.request.fillPercent);
}

void RandomBuild::CheckRebuild(const std::string& isi, const Image& expected) {
  if (HasFailure()) return;
  const Outcome outcome = RunWithin({case_.otherMemoryOption, isi, "-r"});
  EXPECT_EQ(outcome.code, kOk) << outcome.text;
  CheckCounts(outcome);
  CheckImage(isi, expected, case_.request.fillPercent);
}

void RandomBuild::CheckCopy() {
  if (HasFailure()) return;
  const Image built = ReadBytes(kIsi);
  const Outcome outcome = RunWithin({case_.memoryOption, std::string(kIsi) + "," + kCopy, "-c"});
  EXPECT_EQ(outcome.code, kOk) << outcome.text;
  CheckImage(kCopy, ExpectedCompactionOf(built, LineFor(kCopy)), 100);
  EXPECT_TRUE(ReadBytes(kIsi) == built) << "the compaction changed its input";
}

void RandomBuild::CheckInPlace() {
  if (HasFailure()) return;
  const Image built = ReadBytes(kIsi);
  const Outcome outcome = RunWithin({case_.otherMemoryOption, "-1", kIsi, "-c"});
  EXPECT_EQ(outcome.code, kOk) << outcome.text;
  CheckImage(kIsi, ExpectedCompactionOf(built, case_.header.commandLine), 100);
}

void RandomBuild::CheckCase(std::uint64_t seed) {
  case_ = MakeBuildCase(GetParam().format, seed);
  data_ = BytesOf(case_.data);
  WriteBytes("data.txt", data_);
  model_ = BuildModel(data_, case_.request);
  std::vector<std::string> otherWay = case_.Arguments('1');
  otherWay[0] = case_.otherMemoryOption;
  CheckBuild(case_.Arguments('0'));
  CheckBuild(otherWay);
  if (HasFailure() || model_.result != 0) return;
  CheckRebuild(kIsi, ExpectedBuild(kIsi));
  CheckCopy();
  CheckRebuild(kCopy, ExpectedBuild(kCopy));
  CheckInPlace();
  CheckRebuild(kIsi, ExpectedBuild(kIsi));
}

// ---- Cases ----

// Keeps the data of a failed case, and tells how to see it fail again.
std::string Reproduction(const Format& format, std::uint64_t seed) {
  const BuildCase failed = MakeBuildCase(format.format, seed);
  const std::string kept =
      "/tmp/tavindex_property_" + std::string(format.name) + "_" + std::to_string(seed);
  std::filesystem::create_directories(kept);
  std::ofstream(kept + "/data.txt", std::ios::binary) << failed.data;
  return "seed " + std::to_string(seed) + "; to see it again:\n  cd " + kept + " && " +
         ShellCommand(failed.Arguments('0')) +
         "\n  TAVINDEX_PROPERTY_CASES=1 TAVINDEX_PROPERTY_SEED=" + std::to_string(seed) + " " +
         std::filesystem::read_symlink("/proc/self/exe").string() +
         " --gtest_filter=RecordFormats/RandomBuild.*/" + format.name;
}

void RandomBuild::RunCase(std::uint64_t seed) {
  constexpr int kIndexWithEntries = 0;
  constexpr int kNothingToCompare = 1;
  constexpr int kFailed = 2;
  const int ending = RunInChild([&] {
    ::alarm(kSecondsForACase);
    CheckCase(seed);
    const bool compared = model_.result == 0 && !model_.entries.empty();
    ::_exit(HasFailure() ? kFailed : compared ? kIndexWithEntries : kNothingToCompare);
  });
  if (ending == kIndexWithEntries) ++indexesWithEntries_;
  EXPECT_TRUE(ending == kIndexWithEntries || ending == kNothingToCompare)
      << "ended with " << ending << " (below 0: by that signal), "
      << Reproduction(GetParam(), seed);
}

TEST_P(RandomBuild, IsWhatTheCheckerMakesOfTheData) {
  const std::uint64_t cases = std::max<std::uint64_t>(
      Setting("TAVINDEX_PROPERTY_CASES", USUAL_CASES) / std::size(kFormats), 1);
  const std::uint64_t first = Setting("TAVINDEX_PROPERTY_SEED", 1);
  for (std::uint64_t i = 0; i < cases && !HasFailure(); ++i) RunCase(first + i);
  // Cases that leave nothing to compare are to stay the exception.
  const bool enough = cases < 20 || HasFailure() || IndexesWithEntries() > cases / 2;
  EXPECT_TRUE(enough) << IndexesWithEntries() << " of " << cases << " cases";
}

INSTANTIATE_TEST_SUITE_P(RecordFormats, RandomBuild, ::testing::ValuesIn(kFormats),
                         [](const auto& format) { return std::string(format.param.name); });

}  // namespace
}  // namespace tavindex::test
