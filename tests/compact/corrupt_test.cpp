// Damaged index files: every byte wrong in three ways, files cut off, nodes that are nothing or
// point anywhere, chains that go round. Showing, rebuilding and copying end with exit status 0 or
// 1, in time, and leave the input alone; a copy that succeeds holds what a plain reader finds.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <tuple>
#include <vector>

#include "isi_layout.h"
#include "program_test.h"
#include "support/damaged_images.h"

namespace tavindex::test {
namespace {

constexpr ByteOrder kLittle = ByteOrder::kLittle;
constexpr unsigned kSecondsForARun = 20;

// Entries in any order, as sets of what a compaction must keep.
std::vector<std::tuple<std::string, std::uint32_t, std::uint16_t>> Kept(
    const std::vector<ModelEntry>& entries) {
  std::vector<std::tuple<std::string, std::uint32_t, std::uint16_t>> kept;
  for (const ModelEntry& entry : entries) kept.push_back({entry.key, entry.lfa, entry.recLength});
  std::sort(kept.begin(), kept.end());
  return kept;
}

class Corrupt : public ProgramTest {
 protected:
  Corrupt() {
    systemCalls.fsync = [](int) { return 0; };
    scratch.Write("data.TXT", kData);
  }

  void Judge(const Image& image, const std::string& what) {
    const ::testing::ScopedTrace trace(__FILE__, __LINE__, what);
    WriteBytes("old.ISI", image);
    ::alarm(kSecondsForARun);
    JudgeCopy(image);
    JudgeInPlace(image);
    // These two read no further than the header.
    if (!SameHeader(image)) {
      JudgeShow(image);
      JudgeRebuild();
    }
    ::alarm(0);
    lastHeader_.assign(image.begin(), image.begin() + HeaderBytes(image));
  }

  ImageJudge ToBeJudged() {
    return [this](const Image& image, const std::string& what) { Judge(image, what); };
  }

  static std::ptrdiff_t HeaderBytes(const Image& image) {
    return static_cast<std::ptrdiff_t>(std::min(image.size(), layout::kHeaderSize));
  }
  bool SameHeader(const Image& image) const {
    return std::equal(image.begin(), image.begin() + HeaderBytes(image), lastHeader_.begin(),
                      lastHeader_.end());
  }

  Outcome RunOnce(const std::vector<std::string>& arguments) {
    ++runs_;
    return Run(arguments);
  }

  void JudgeShow(const Image& image) {
    const Outcome run = RunOnce({"old", "-i"});
    EXPECT_TRUE(run.code == kOk || run.code == kNotAnIsi || run.code == kNoKeyInformation)
        << run.code;
    EXPECT_EQ(scratch.Read("old.ISI") == TextOf(image), true);
    EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT", "old.ISI"}));
  }

  void JudgeCopy(const Image& image) {
    const Outcome run = RunOnce({"old,new", "-c"});
    EXPECT_EQ(scratch.Read("old.ISI") == TextOf(image), true);
    EXPECT_EQ(scratch.Exists("new.ISI"), run.code == kOk) << run.text;
    if (run.code != kOk) return;
    ++copies_;
    const auto found = PlainWalk(image);
    const auto copied = PlainWalk(ReadBytes("new.ISI"));
    EXPECT_TRUE(found.has_value() && copied.has_value());
    if (found && copied) {
      EXPECT_TRUE(Kept(*found) == Kept(*copied));
    }
    std::filesystem::remove(scratch.Path("new.ISI"));
  }

  // What a copy refuses for its tree or its list, an in-place run refuses too, and changes nothing.
  void JudgeInPlace(const Image& image) {
    const Outcome run = RunOnce({"old", "-c=1"});
    if (run.code == kOk) {
      const auto found = PlainWalk(image);
      const auto compacted = PlainWalk(ReadBytes("old.ISI"));
      EXPECT_TRUE(found.has_value() && compacted.has_value());
      if (found && compacted) {
        EXPECT_TRUE(Kept(*found) == Kept(*compacted));
      }
    } else {
      EXPECT_EQ(scratch.Read("old.ISI") == TextOf(image), true) << run.text;
    }
    EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT", "old.ISI"}));
    WriteBytes("old.ISI", image);
  }

  // A damaged line may name other files; the data file is never one of them.
  void JudgeRebuild() {
    RunOnce({"old", "-r"});
    EXPECT_EQ(scratch.Read("data.TXT"), kData);
    for (const std::string& name : FilesLeft()) {
      EXPECT_FALSE(name.starts_with("tmp/")) << name;
      if (name != "data.TXT") std::filesystem::remove(scratch.Path(name));
    }
  }

  void ShowRuns() const { std::printf("%d runs, %d copies succeeded\n", runs_, copies_); }

  const std::string kData = "aaaa\nbbbb\ncccc\n";
  Image lastHeader_;
  int runs_ = 0;
  int copies_ = 0;
};

// A header, a root, a list sector at 1536 and another, and some leaves: 8 sectors.
MadeTree SmallTree(ByteOrder order, bool numbers) {
  return MakeTree({.order = order,
                   .recordNumbers = numbers,
                   .keyLength = 40,
                   .entries = 19,
                   .deleted = 127,
                   .commandLine = "data,old -1-4"});
}

class EveryByte : public Corrupt,
                  public ::testing::WithParamInterface<std::tuple<ByteOrder, bool>> {};

TEST_P(EveryByte, WrongInThreeWays) {
  const auto [order, numbers] = GetParam();
  WithEveryByteWrong(SmallTree(order, numbers).image, ToBeJudged());
  ShowRuns();
}

INSTANTIATE_TEST_SUITE_P(Orders, EveryByte,
                         ::testing::Values(std::tuple(ByteOrder::kLittle, false),
                                           std::tuple(ByteOrder::kBig, true)));

TEST_F(Corrupt, CutOffAnywhere) {
  CutOffAnywhere(SmallTree(kLittle, false).image, 64, ToBeJudged());
  ShowRuns();
}

TEST_F(Corrupt, WholeSectors) {
  const MadeTree tree = MakeTree({.keyLength = 40, .entries = 60, .deleted = 300});
  WithEverySectorWrong(tree.image, ToBeJudged());
  ShowRuns();
}

TEST_F(Corrupt, CountsAndLengths) {
  const MadeTree tree = MakeTree({.keyLength = 40, .entries = 60, .deleted = 300});
  for (const unsigned length :
       {0U, 1U, 39U, 41U, 149U, 150U, 151U, 488U, 489U, 500U, 32768U, 65535U}) {
    for (const std::size_t field : {layout::kKeyLength, layout::kRecordLength}) {
      for (const unsigned numbers : {0U, 1U}) {
        Image image = tree.image;
        layout::Store16(image, field, length, kLittle);
        layout::Store8(image, layout::kAddrFlags, numbers);
        layout::Store32(image, layout::kRootNode, numbers != 0 ? 2 : 1024, kLittle);
        Judge(image, "length " + std::to_string(length));
      }
    }
  }
  for (std::uint32_t at = 1024; at < tree.image.size(); at += 512) {
    for (const unsigned count : {0U, 1U, 9U, 10U, 126U, 127U, 255U}) {
      Image image = tree.image;
      layout::Store8(image, at + 500, count);
      Judge(image, "count at " + std::to_string(at));
      image = tree.image;
      layout::Store16(image, at + 508, count * 257, kLittle);
      Judge(image, "list count at " + std::to_string(at));
    }
  }
  ShowRuns();
}

}  // namespace
}  // namespace tavindex::test
