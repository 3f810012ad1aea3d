// The walk over existing trees: of every shape, and of files that hold what no tree holds.

#include "isi/tree_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "compact/tree_maker.h"
#include "isi_layout.h"
#include "support/scratch_directory.h"
#include "support/system_calls_guard.h"

namespace tavindex::test {
namespace {

// A reader over a file of these bytes.
class OpenIsi {
 public:
  explicit OpenIsi(const std::vector<std::byte>& image) {
    fd_ = ::open(scratch_.Write("old.ISI", TextOf(image)).c_str(), O_RDWR);
    front = ReadFront(reader, fd_);
  }
  ~OpenIsi() { ::close(fd_); }
  OpenIsi(const OpenIsi&) = delete;
  OpenIsi& operator=(const OpenIsi&) = delete;

  // As another program would, long enough ago that nothing of before is kept.
  void Overwrite(off_t at, const std::vector<std::byte>& bytes) {
    Forget(reader.cache);
    ASSERT_EQ(::pwrite(fd_, bytes.data(), bytes.size(), at), static_cast<ssize_t>(bytes.size()));
  }
  ModelEntry Entry() const {
    const TreeEntry& entry = reader.entry;
    const char* key = reinterpret_cast<const char*>(entry.key.data());
    return {entry.lfa, entry.dupSeq, entry.recLength, {key, reader.header.keyLength}};
  }

  TreeReader reader;
  Result front = kOk;

 private:
  ScratchDirectory scratch_;
  int fd_ = -1;
};

std::pair<std::vector<ModelEntry>, WalkStatus> Walk(OpenIsi& isi) {
  std::vector<ModelEntry> entries;
  WalkStatus status = FirstEntry(isi.reader);
  while (status == WalkStatus::kEntry) {
    status = NextEntry(isi.reader);
    if (status == WalkStatus::kEntry) entries.push_back(isi.Entry());
  }
  return {entries, status};
}

class TreeWalk : public ::testing::TestWithParam<TreePlan> {};

TEST_P(TreeWalk, GivesEveryEntryInOrder) {
  const MadeTree tree = MakeTree(GetParam());
  OpenIsi isi(tree.image);
  ASSERT_EQ(isi.front, kOk);
  const auto [entries, status] = Walk(isi);
  EXPECT_EQ(status, WalkStatus::kEnd);
  EXPECT_EQ(entries, tree.walk);
  EXPECT_FALSE(isi.reader.inconsistent);
}

TEST_P(TreeWalk, CanBeginAgain) {
  const MadeTree tree = MakeTree(GetParam());
  OpenIsi isi(tree.image);
  Walk(isi);
  EXPECT_EQ(Walk(isi).first, tree.walk);
}

INSTANTIATE_TEST_SUITE_P(Shapes, TreeWalk, ::testing::ValuesIn(AllPlans()),
                         [](const auto& plan) { return plan.param.name; });

TEST(TreeReader, GeneratedTreesReachTheDeepestLevel) {
  unsigned deepest = 0;
  for (const TreePlan& plan : AllPlans()) deepest = std::max(deepest, MakeTree(plan).depth);
  EXPECT_EQ(deepest, 49U);  // the root and 48 below it
}

constexpr ByteOrder kLittle = ByteOrder::kLittle;

// Keys of 4 bytes, entries of 16 bytes: a node by hand.
void PutNode(std::vector<std::byte>& image, std::size_t at, const std::vector<std::string>& keys,
             const std::vector<std::uint32_t>& children, std::uint32_t lastChild) {
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const std::size_t entry = at + 16 * i;
    layout::Store32(image, entry, 0, kLittle);
    layout::Store32(image, entry + 4, children[i], kLittle);
    for (std::size_t c = 0; c < 4; ++c) {
      layout::Store8(image, entry + 12 + c, static_cast<unsigned char>(keys[i][c]));
    }
  }
  layout::Store8(image, at + 500, static_cast<unsigned>(keys.size()));
  layout::Store32(image, at + 508, lastChild, kLittle);
}

std::vector<std::byte> EmptyTree(std::size_t size) {
  std::vector<std::byte> image = MakeTree({}).image;
  image.resize(size);
  return image;
}

std::vector<std::string> Keys(const std::vector<ModelEntry>& entries) {
  std::vector<std::string> keys;
  for (const ModelEntry& entry : entries) keys.push_back(entry.key);
  return keys;
}

// The size of the marks for a file that was made `size` bytes long, holes and all.
std::size_t MarksOf(const TreePlan& plan, off_t size) {
  OpenIsi isi(MakeTree(plan).image);
  EXPECT_EQ(::ftruncate(isi.reader.fd, size), 0);
  EXPECT_EQ(ReadFront(isi.reader, isi.reader.fd), kOk);
  SystemCallsGuard calls;
  std::size_t asked = 0;
  calls.Replace<&SystemCalls::allocateZeroed>(
      [&asked](std::size_t count, std::size_t each) -> void* {
        asked = count * each;
        return nullptr;
      });
  EXPECT_EQ(FirstEntry(isi.reader), WalkStatus::kNoMarks);
  return asked;
}

TEST(TreeReader, MarksOnlySectorsThatAnAddressReaches) {
  EXPECT_EQ(MarksOf({}, 8 * 4096), 9U);  // 64 sectors, and a byte for the last ones
  EXPECT_EQ(MarksOf({}, off_t{1} << 40), (1U << 20) + 1);
  EXPECT_EQ(MarksOf({.recordNumbers = true}, off_t{1} << 40), (1U << 28) + 1);
  EXPECT_EQ(MarksOf({.recordNumbers = true}, off_t{1} << 42), (1U << 29) + 1);
}

TEST(TreeReader, UpperEntryComesBetweenItsChildAndTheNext) {
  std::vector<std::byte> image = EmptyTree(4096);
  PutNode(image, 1024, {"bbbb", "dddd"}, {2048, 2560}, 3072);
  PutNode(image, 2048, {"aaaa"}, {0}, 0);
  PutNode(image, 2560, {"cccc"}, {0}, 0);
  PutNode(image, 3072, {"eeee", "ffff"}, {0, 0}, 0);
  OpenIsi isi(image);
  const auto [entries, status] = Walk(isi);
  EXPECT_EQ(Keys(entries),
            (std::vector<std::string>{"aaaa", "bbbb", "cccc", "dddd", "eeee", "ffff"}));
  EXPECT_EQ(status, WalkStatus::kEnd);
}

TEST(TreeReader, EndIsSaidAgain) {
  std::vector<std::byte> image = EmptyTree(2560);
  PutNode(image, 1024, {"bbbb"}, {0}, 2048);
  PutNode(image, 2048, {"cccc"}, {0}, 0);
  OpenIsi isi(image);
  EXPECT_EQ(Walk(isi).second, WalkStatus::kEnd);
  EXPECT_EQ(NextEntry(isi.reader), WalkStatus::kEnd);
  EXPECT_EQ(NextEntry(isi.reader), WalkStatus::kEnd);
}

TEST(TreeReader, RootWithoutEntriesEndsAtOnce) {
  OpenIsi isi(EmptyTree(2048));
  EXPECT_EQ(FirstEntry(isi.reader), WalkStatus::kEnd);
  EXPECT_EQ(NextEntry(isi.reader), WalkStatus::kEnd);
}

TEST(TreeReader, NodesWithoutEntriesArePassedThrough) {
  std::vector<std::byte> image = EmptyTree(4608);
  PutNode(image, 1024, {}, {}, 2048);
  PutNode(image, 2048, {"bbbb"}, {2560}, 3072);
  PutNode(image, 2560, {}, {}, 0);     // a leaf that lost its last entry
  PutNode(image, 3072, {}, {}, 3584);  // passes on to its last child
  PutNode(image, 3584, {"cccc"}, {0}, 4096);
  PutNode(image, 4096, {}, {}, 0);
  OpenIsi isi(image);
  const auto [entries, status] = Walk(isi);
  EXPECT_EQ(Keys(entries), (std::vector<std::string>{"bbbb", "cccc"}));
  EXPECT_EQ(status, WalkStatus::kEnd);
}

// 49 nodes one below the other are the deepest tree; one more is refused.
TEST(TreeReader, StackOf48Ancestors) {
  for (const std::size_t below : {48U, 49U}) {
    std::vector<std::byte> image = EmptyTree(2048 + below * 512);
    PutNode(image, 1024, {"zzzz"}, {2048}, 0);
    for (std::size_t i = 0; i < below; ++i) {
      const bool leaf = i + 1 == below;
      const auto child = static_cast<std::uint32_t>(leaf ? 0 : 2048 + (i + 1) * 512);
      PutNode(image, 2048 + i * 512, {"aaaa"}, {child}, 0);
    }
    OpenIsi isi(image);
    const WalkStatus expected = below == 48 ? WalkStatus::kEntry : WalkStatus::kStackFull;
    EXPECT_EQ(FirstEntry(isi.reader), expected) << below;
  }
}

TEST(TreeReader, PushAndPop) {
  TreeReader reader;
  for (std::uint32_t i = 0; i < 48; ++i) {
    reader.index = i + 7;
    ASSERT_EQ(Push(reader, i * 512), WalkStatus::kEntry);
  }
  EXPECT_EQ(Push(reader, 1), WalkStatus::kStackFull);
  EXPECT_EQ(static_cast<int>(WalkStatus::kStackFull), -4);
  std::uint32_t address = 0;
  for (std::uint32_t i = 48; i-- > 0;) {
    ASSERT_EQ(Pop(reader, address), WalkStatus::kEntry);
    EXPECT_EQ(address, i * 512);
    EXPECT_EQ(reader.index, i + 7);
  }
  EXPECT_EQ(Pop(reader, address), WalkStatus::kStackEmpty);
  EXPECT_EQ(static_cast<int>(WalkStatus::kStackEmpty), -5);
  EXPECT_EQ(static_cast<int>(WalkStatus::kEnd), -6);
}

// Root and the sector at 1536 came with the header.
TEST(TreeReader, FrontIsNotReadAgain) {
  std::vector<std::byte> image = EmptyTree(2560);
  PutNode(image, 1024, {"bbbb"}, {1536}, 0);
  PutNode(image, 1536, {"aaaa"}, {0}, 0);
  OpenIsi isi(image);
  SystemCallsGuard calls;
  calls.FailFrom<&SystemCalls::read>(1, EIO);
  const auto [entries, status] = Walk(isi);
  EXPECT_EQ(Keys(entries), (std::vector<std::string>{"aaaa", "bbbb"}));
  EXPECT_EQ(status, WalkStatus::kEnd);
  EXPECT_EQ(calls.Count<&SystemCalls::read>(), 0);
  EXPECT_EQ(ReadNode(isi.reader, 2048), 512U);
}

TEST(TreeReader, FrontIsNotReadAgainInRecordNumberMode) {
  const MadeTree tree = MakeTree({.recordNumbers = true, .entries = 3});
  OpenIsi isi(tree.image);
  SystemCallsGuard calls;
  calls.FailFrom<&SystemCalls::read>(1, EIO);
  EXPECT_EQ(ReadNode(isi.reader, 2), 0U);
  EXPECT_EQ(ReadNode(isi.reader, 3), 0U);
  EXPECT_EQ(ReadNode(isi.reader, 1024), 512U);
}

TEST(TreeReader, ReadNodeTellsHowMuchIsMissing) {
  OpenIsi isi(EmptyTree(2048 + 500));
  EXPECT_EQ(ReadNode(isi.reader, 2048), 12U);
  EXPECT_EQ(ReadNode(isi.reader, 4096), 512U);
}

// The parent as it was when the walk went down is not the parent that it comes back to.
TEST(TreeReader, ParentThatNoLongerPointsToTheChild) {
  std::vector<std::byte> image = EmptyTree(4096);
  PutNode(image, 1024, {"zzzz"}, {2048}, 0);
  PutNode(image, 2048, {"bbbb"}, {2560}, 0);
  PutNode(image, 2560, {"aaaa"}, {0}, 0);
  OpenIsi isi(image);
  ASSERT_EQ(FirstEntry(isi.reader), WalkStatus::kEntry);
  ASSERT_EQ(NextEntry(isi.reader), WalkStatus::kEntry);
  PutNode(image, 2048, {"bbbb"}, {3072}, 0);
  isi.Overwrite(0, image);
  EXPECT_EQ(NextEntry(isi.reader), WalkStatus::kUnsound);
  EXPECT_TRUE(isi.reader.inconsistent);
}

TEST(TreeReader, ParentThatLostTheEntryThatTheWalkCameFrom) {
  std::vector<std::byte> image = EmptyTree(3584);
  PutNode(image, 1024, {"zzzz"}, {2048}, 0);
  PutNode(image, 2048, {"bbbb", "dddd"}, {2560, 3072}, 0);
  PutNode(image, 2560, {"aaaa"}, {0}, 0);
  PutNode(image, 3072, {"cccc"}, {0}, 0);
  OpenIsi isi(image);
  ASSERT_EQ(FirstEntry(isi.reader), WalkStatus::kEntry);
  for (int i = 0; i < 3; ++i) ASSERT_EQ(NextEntry(isi.reader), WalkStatus::kEntry) << i;
  EXPECT_EQ(isi.Entry().key, "cccc");
  layout::Store8(image, 2048 + 500, 0);
  isi.Overwrite(0, image);
  EXPECT_EQ(NextEntry(isi.reader), WalkStatus::kUnsound);
  EXPECT_TRUE(isi.reader.inconsistent);
}

// A leaf at the greatest depth has an entry without a child and one with: the walk reaches the
// second when no ancestor fits any more.
TEST(TreeReader, StackIsFullBehindTheFirstEntryToo) {
  std::vector<std::byte> image = EmptyTree(2048 + 49 * 512);
  PutNode(image, 1024, {"zzzz"}, {2048}, 0);
  for (std::uint32_t i = 0; i < 47; ++i) {
    PutNode(image, 2048 + i * 512, {"yyyy"}, {2048 + (i + 1) * 512}, 0);
  }
  PutNode(image, 2048 + 47 * 512, {"aaaa", "cccc"}, {0, 2048 + 48 * 512}, 0);
  PutNode(image, 2048 + 48 * 512, {"bbbb"}, {0}, 0);
  OpenIsi isi(image);
  const auto [entries, status] = Walk(isi);
  EXPECT_EQ(Keys(entries), (std::vector<std::string>{"aaaa"}));
  EXPECT_EQ(status, WalkStatus::kStackFull);
}

struct Damage {
  const char* name;
  void (*apply)(std::vector<std::byte>& image);
};

// A root with three children, damaged in one place.
std::vector<std::byte> Damaged(const Damage& damage) {
  std::vector<std::byte> image = EmptyTree(4096);
  PutNode(image, 1024, {"bbbb", "dddd"}, {2048, 2560}, 3072);
  PutNode(image, 2048, {"aaaa"}, {0}, 0);
  PutNode(image, 2560, {"cccc"}, {0}, 0);
  PutNode(image, 3072, {"eeee"}, {0}, 0);
  damage.apply(image);
  return image;
}

using Image = std::vector<std::byte>;

TEST(TreeReader, WhatNoTreeHoldsEndsTheWalk) {
  const Damage damages[] = {
      {"child inside a sector", [](Image& i) { layout::Store32(i, 1028, 2049, kLittle); }},
      {"child in the header", [](Image& i) { layout::Store32(i, 1028, 512, kLittle); }},
      {"child past the end", [](Image& i) { layout::Store32(i, 1028, 4096, kLittle); }},
      {"child far past the end", [](Image& i) { layout::Store32(i, 1028, 0xFFFFFE00, kLittle); }},
      {"last child past the end", [](Image& i) { layout::Store32(i, 1532, 4096, kLittle); }},
      {"two entries with one child", [](Image& i) { layout::Store32(i, 1028, 2560, kLittle); }},
      {"last child is a child too", [](Image& i) { layout::Store32(i, 1532, 2048, kLittle); }},
      {"child is the root", [](Image& i) { layout::Store32(i, 1028, 1024, kLittle); }},
      {"last child is the node", [](Image& i) { layout::Store32(i, 3072 + 508, 3072, kLittle); }},
      {"leaf points upwards",
       [](Image& i) {
         layout::Store32(i, 2560 + 508, 2048, kLittle);
         layout::Store32(i, 2048 + 508, 2560, kLittle);
       }},
      {"count above the capacity", [](Image& i) { layout::Store8(i, 2048 + 500, 32); }},
      {"count of 255", [](Image& i) { layout::Store8(i, 3072 + 500, 255); }},
  };
  for (const Damage& damage : damages) {
    OpenIsi isi(Damaged(damage));
    ASSERT_EQ(isi.front, kOk) << damage.name;
    const WalkStatus status = Walk(isi).second;
    EXPECT_TRUE(status == WalkStatus::kUnsound || status == WalkStatus::kStackFull) << damage.name;
  }
}

// Bytes that are no entry are never taken for one.
TEST(TreeReader, NodeWithTooManyEntriesGivesNone) {
  OpenIsi first(Damaged({"", [](Image& i) { layout::Store8(i, 2048 + 500, 32); }}));
  EXPECT_EQ(Keys(Walk(first).first), std::vector<std::string>());
  OpenIsi last(Damaged({"", [](Image& i) { layout::Store8(i, 3072 + 500, 32); }}));
  EXPECT_EQ(Keys(Walk(last).first), (std::vector<std::string>{"aaaa", "bbbb", "cccc", "dddd"}));
}

TEST(TreeReader, FrontOfNoIsi) {
  struct Case {
    const char* name;
    Result result;
    void (*apply)(Image& image);
  };
  const Case cases[] = {
      {"untouched", kOk, [](Image&) {}},
      {"2047 bytes", kNotAnIsi, [](Image& i) { i.resize(2047); }},
      {"no bytes", kNotAnIsi, [](Image& i) { i.clear(); }},
      {"signature", kBadIsiVersion, [](Image& i) { layout::Store8(i, 3, 'J'); }},
      {"version", kBadIsiVersion, [](Image& i) { layout::Store8(i, 4, 4); }},
      {"another version", kOk, [](Image& i) { layout::Store16(i, 4, 0xFB04, kLittle); }},
      {"key length 0", kNotAnIsi, [](Image& i) { layout::Store16(i, 10, 0, kLittle); }},
      {"key length 150", kOk, [](Image& i) { layout::Store16(i, 10, 150, kLittle); }},
      {"key length 151", kNotAnIsi, [](Image& i) { layout::Store16(i, 10, 151, kLittle); }},
      {"key length 65535", kNotAnIsi, [](Image& i) { layout::Store16(i, 10, 65535, kLittle); }},
      {"root elsewhere", kNotAnIsi, [](Image& i) { layout::Store32(i, 20, 2048, kLittle); }},
      {"root as a number", kNotAnIsi, [](Image& i) { layout::Store32(i, 20, 2, kLittle); }},
      {"root of 31 entries", kOk, [](Image& i) { layout::Store8(i, 1524, 31); }},
      {"root of 32 entries", kNotAnIsi, [](Image& i) { layout::Store8(i, 1524, 32); }},
      {"record length 0", kOk, [](Image& i) { layout::Store16(i, 8, 0, kLittle); }},
      {"numbers, record length 0", kNotAnIsi,
       [](Image& i) {
         layout::Store8(i, 7, 1);
         layout::Store32(i, 20, 2, kLittle);
         layout::Store16(i, 8, 0, kLittle);
       }},
      {"numbers of variable records are off", kOk,
       [](Image& i) {
         layout::Store8(i, 7, 1);
         layout::Store8(i, 6, 0xA2);
       }},
  };
  for (const Case& c : cases) {
    Image image = EmptyTree(2048);
    c.apply(image);
    EXPECT_EQ(OpenIsi(image).front, c.result) << c.name;
  }
}

// The stride that numbers are multiplied by: the record length and the marks that the flags tell.
TEST(TreeReader, StrideOfTheRecords) {
  const std::pair<std::uint8_t, std::uint32_t> cases[] = {
      {0x00, 10}, {0x10, 10}, {0x3F, 10}, {0x40, 12}, {0x80, 11}, {0xC0, 12}, {0x41, 12}};
  for (const auto& [flags, stride] : cases) {
    Image image = EmptyTree(2048);
    layout::Store8(image, 6, flags);
    OpenIsi isi(image);
    ASSERT_EQ(isi.front, kOk);
    EXPECT_EQ(isi.reader.stride, stride) << int{flags};
  }
}

}  // namespace
}  // namespace tavindex::test
