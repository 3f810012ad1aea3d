// What a compaction refuses, with its exact words, and that nothing is changed by it.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "isi_layout.h"
#include "program_test.h"

namespace tavindex::test {
namespace {

constexpr ByteOrder kLittle = ByteOrder::kLittle;

const char* const kNotValid = "Not a valid .isi file structure for file: old.ISI.\n";
const char* const kBadVersion = "Invalid ISI version to compact file named:  old.ISI.\n";
const char* const kBadList = "Invalid ISI Deleted Record count for file named:  old.ISI.\n";

class Refusal : public ProgramTest {
 protected:
  Refusal() { scratch.Write("data.TXT", "aaa\n"); }

  // Both forms of a compaction over `image` end with `code` and `text`, and leave everything.
  void ExpectRefused(const std::vector<std::byte>& image, Result code, const std::string& text,
                     bool behindTheStartLine) {
    for (const std::string names : {"old,new", "old"}) {
      WriteBytes("old.ISI", image);
      const Outcome run = Run({names, "-c"});
      EXPECT_EQ(run.code, code);
      const std::string into = names == "old" ? "old" : "new";
      const std::string start = "Compacting old.ISI into " + into + ".ISI\n";
      EXPECT_EQ(run.text, (behindTheStartLine ? start : "") + text);
      EXPECT_EQ(TextOf(ReadBytes("old.ISI")), TextOf(image));
      EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT", "old.ISI"}));
      EXPECT_EQ(scratch.Read("data.TXT"), "aaa\n");
    }
  }
};

TEST_F(Refusal, FrontIsLookedAtBeforeAnythingIsCreated) {
  const std::vector<std::byte> good = MakeTree({.entries = 3}).image;
  std::vector<std::byte> image = good;
  image.resize(2047);
  ExpectRefused(image, kNotAnIsi, kNotValid, false);
  ExpectRefused({}, kNotAnIsi, kNotValid, false);
  ExpectRefused(std::vector<std::byte>(3000, std::byte{'a'}), kBadIsiVersion, kBadVersion, false);
  image = good;
  layout::Store8(image, 5, 0xFB);
  ExpectRefused(image, kBadIsiVersion, kBadVersion, false);
  image = good;
  layout::Store16(image, layout::kKeyLength, 65535, kLittle);
  ExpectRefused(image, kNotAnIsi, kNotValid, false);
  image = good;
  layout::Store8(image, 1524, 32);
  ExpectRefused(image, kNotAnIsi, kNotValid, false);
}

TEST_F(Refusal, OldOutputSurvivesAWrongInput) {
  scratch.Write("old.ISI", "no index");
  scratch.Write("new.ISI", "another index");
  EXPECT_EQ(Run({"old,new", "-c"}).code, kNotAnIsi);
  EXPECT_EQ(scratch.Read("new.ISI"), "another index");
}

TEST_F(Refusal, InputThatCannotBeOpened) {
  const std::string text = "Unable to open input ISI file for compact: old.ISI\n\n";
  const Outcome missing = Run({"old,new", "-c"});
  EXPECT_EQ(missing.code, kSourceNotOpened);
  EXPECT_EQ(missing.text, text);
  ASSERT_EQ(::mkfifo("old.ISI", 0600), 0);
  EXPECT_EQ(Run({"old,new", "-c"}).text, text);
  ASSERT_EQ(::unlink("old.ISI"), 0);
  ASSERT_EQ(::mkdir("old.ISI", 0700), 0);
  EXPECT_EQ(Run({"old", "-c=1"}).text, text);
  EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT"}));
}

TEST_F(Refusal, TreesThatAreNone) {
  const MadeTree tree = MakeTree({.entries = 100});
  ASSERT_EQ(layout::Load8(tree.image, 1524), 3);  // a root of three entries and four leaves
  for (const std::uint32_t child : {1024U, 2049U, 0xFFFFFE00U, 512U}) {
    std::vector<std::byte> image = tree.image;
    layout::Store32(image, 1024 + 16 + 4, child, kLittle);
    ExpectRefused(image, kNotAnIsi, kNotValid, true);
    image = tree.image;
    layout::Store32(image, 1024 + 508, child, kLittle);
    ExpectRefused(image, kNotAnIsi, kNotValid, true);
  }
  std::vector<std::byte> image = tree.image;
  layout::Store8(image, 2048 + 500, 200);
  ExpectRefused(image, kNotAnIsi, kNotValid, true);
  image = tree.image;
  image.resize(image.size() - 1);
  ExpectRefused(image, kNotAnIsi, kNotValid, true);
}

TEST_F(Refusal, ListsThatAreNone) {
  const MadeTree tree = MakeTree({.entries = 3, .deleted = 300});
  const std::size_t second = tree.listSectors[1] * 512;
  std::vector<std::byte> image = tree.image;
  layout::Store16(image, second + 508, 127, kLittle);
  ExpectRefused(image, kBadDeletedCount, kBadList, true);
  image = tree.image;
  layout::Store16(image, 1536 + 508, 65535, kLittle);
  ExpectRefused(image, kBadDeletedCount, kBadList, true);
  image = tree.image;
  layout::Store32(image, second + 504, 1536, kLittle);  // goes round
  ExpectRefused(image, kBadDeletedCount, kBadList, true);
  image = tree.image;
  layout::Store32(image, second + 504, static_cast<std::uint32_t>(image.size()), kLittle);
  ExpectRefused(image, kNotAnIsi, kNotValid, true);
  image = tree.image;
  layout::Store32(image, layout::kDeletedListHead, 1537, kLittle);
  ExpectRefused(image, kNotAnIsi, kNotValid, true);
  image = tree.image;
  layout::Store32(image, layout::kDeletedListHead, 0, kLittle);
  ExpectRefused(image, kNotAnIsi, kNotValid, true);
}

// A list that is dropped is not followed.
TEST_F(Refusal, BrokenListOfIrregularDataIsDroppedAllTheSame) {
  std::vector<std::byte> image = MakeTree({.entries = 3, .fileFlags = 0xA0}).image;
  layout::Store32(image, layout::kDeletedListHead, 77, kLittle);
  WriteBytes("old.ISI", image);
  const Outcome run = Run({"old", "-c"});
  EXPECT_EQ(run.code, kOk);
  EXPECT_EQ(run.text,
            "Compacting old.ISI into old.ISI\nDeleted Data Record sectors purged from ISI!"
            "3 records, 0 deleted entries\n");
}

TEST_F(Refusal, BackupNameIsTaken) {
  const std::vector<std::byte> image = MakeTree({.entries = 3}).image;
  WriteBytes("old.ISI", image);
  scratch.Write("old.ISI.bak", "the good copy");
  const Outcome run = Run({"old", "-c"});
  EXPECT_EQ(run.code, kInPlaceFailed);
  EXPECT_EQ(run.text,
            "Compacting old.ISI into old.ISI\nUnable to create backup file: old.ISI.bak\n"
            "Unable to execute in place ISI compact operation!\n");
  EXPECT_EQ(TextOf(ReadBytes("old.ISI")), TextOf(image));
  EXPECT_EQ(scratch.Read("old.ISI.bak"), "the good copy");
  EXPECT_EQ(Run({"old,new", "-c"}).code, kOk);
}

// The same base name and extension is in place, whatever the directories.
TEST_F(Refusal, InPlaceByNameInAnotherDirectory) {
  const MadeTree tree = MakeTree({.entries = 3});
  WriteBytes("old.ISI", tree.image);
  scratch.MakeDirectory("dir");
  scratch.Write("dir/old.ISI", "another");
  const Outcome run = Run({"old,dir/old.ISI", "-c"});
  EXPECT_EQ(run.code, kOk);
  EXPECT_EQ(run.text, "Compacting old.ISI into old.ISI\n3 records, 0 deleted entries\n");
  EXPECT_EQ(scratch.Read("dir/old.ISI"), "another");
  EXPECT_EQ(TextOf(ReadBytes("old.ISI")), TextOf(ExpectedCompaction(tree, "data,old -1-4")));
}

}  // namespace
}  // namespace tavindex::test
