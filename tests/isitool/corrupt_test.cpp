// Damaged index files: every byte wrong in three ways, files cut off, sectors that are nothing or
// point anywhere. Every command ends, in time, with a status that it may have; `check --strict`
// agrees with the independent checker about each file; what programs are given is valid JSON.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "isi_layout.h"
#include "support/damaged_images.h"
#include "tool_run.h"
#include "tree_maker.h"

namespace tavindex::test {
namespace {

constexpr ByteOrder kLittle = ByteOrder::kLittle;
constexpr unsigned kSecondsForAFile = 20;

// 19 keys of 40 bytes in two levels, 127 deleted records in two list sectors: 7 sectors and the
// header.
Image SmallBuild(ByteOrder order, bool numbers) {
  std::string data;
  for (int i = 0; i < 146; ++i) {
    std::string record(43, static_cast<char>('a' + i * 7 % 26));
    record[3] = static_cast<char>('A' + i % 26);
    data += i % 8 == 3 && i < 150 ? record + "\n" : std::string(44, '\0');
  }
  BuildRequest request;
  request.keys = {{1, 40}};
  request.recordNumbers = numbers;
  const IndexModel model = BuildModel(std::as_bytes(std::span(data)), request);
  return ExpectedIsi(model, request, {"data.TXT", "data -1-40", 0, order});
}

class Damaged : public ToolTest {
 protected:
  // Two entries for one record, or one for a deleted record: check tells them, the checker does
  // not.
  static bool HasDoubleRecord(const IsiContents& contents) {
    std::set<std::uint32_t> taken(contents.deleted.begin(), contents.deleted.end());
    return !std::ranges::all_of(contents.entries, [&taken](const ModelEntry& entry) {
      return taken.insert(entry.lfa).second;
    });
  }

  void Judge(const Image& image, const std::string& what) {
    const ::testing::ScopedTrace trace(__FILE__, __LINE__, what);
    WriteBytes("x.ISI", image);
    ::alarm(kSecondsForAFile);
    JudgeVerdict(image);
    // Of the three ways in which a byte is wrong, another one each time.
    if (files_ % 4 == 0) JudgeCommands();
    ::alarm(0);
    EXPECT_EQ(scratch.Read("x.ISI") == TextOf(image), true);
    ++files_;
  }

  ImageJudge ToBeJudged() {
    return [this](const Image& image, const std::string& what) { Judge(image, what); };
  }

  void JudgeVerdict(const Image& image) {
    IsiContents contents;
    const Report report = CheckStructure(image, {}, &contents);
    const ToolResult run = Here({"check", "--strict", "--no-data", "x.ISI"});
    const bool sound = report.Ok() && !HasDoubleRecord(contents);
    EXPECT_EQ(run.status == 0, sound) << run.out << run.err << report.Text();
    sound_ += sound ? 1 : 0;
  }

  void JudgeCommands() {
    const bool withJson = files_ % 8 == 0;
    for (const std::vector<std::string>& command : {std::vector<std::string>{"info", "x.ISI"},
                                                    {"check", "--no-data", "x.ISI"},
                                                    {"dump", "x.ISI"},
                                                    {"find", "--prefix", "x.ISI", "a"},
                                                    {"stat", "x.ISI"},
                                                    {"map", "x.ISI"},
                                                    {"map", "--svg", "x.ISI"},
                                                    {"map", "--color=always", "x.ISI"}}) {
      const ToolResult run = Here(command);
      EXPECT_TRUE(run.status >= 0 && run.status <= 2);
      EXPECT_EQ(run.status == 2 && run.err.empty(), false) << command[0] << " says why";
      if (!withJson) continue;
      std::vector<std::string> forPrograms = command;
      forPrograms.insert(forPrograms.begin() + 1, "--json");
      json_ += Here(forPrograms).out;
    }
  }

  void ExpectValidJson() {
    EXPECT_EQ(Json(json_, "len(d) > 20"), "True");
    std::printf("%d files, %d of them sound\n", files_, sound_);
  }

 private:
  int files_ = 0;
  int sound_ = 0;
  std::string json_;
};

class DamagedByte : public Damaged,
                    public ::testing::WithParamInterface<std::tuple<ByteOrder, bool>> {};

TEST_P(DamagedByte, WrongInThreeWays) {
  const auto [order, numbers] = GetParam();
  const Image good = SmallBuild(order, numbers);
  ASSERT_GE(good.size(), 6U * 512U);
  Judge(good, "as it should be");
  WithEveryByteWrong(good, ToBeJudged());
  ExpectValidJson();
}

INSTANTIATE_TEST_SUITE_P(Orders, DamagedByte,
                         ::testing::Values(std::tuple(ByteOrder::kLittle, false),
                                           std::tuple(ByteOrder::kBig, true)));

TEST_F(Damaged, CutOffAnywhere) {
  CutOffAnywhere(SmallBuild(kLittle, false), 32, ToBeJudged());
  ExpectValidJson();
}

TEST_F(Damaged, WholeSectors) {
  WithEverySectorWrong(SmallBuild(kLittle, false), ToBeJudged());
  ExpectValidJson();
}

}  // namespace
}  // namespace tavindex::test
