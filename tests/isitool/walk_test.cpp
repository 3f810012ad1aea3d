#include "isitool/walk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "isi_layout.h"
#include "tool_run.h"
#include "tree_maker.h"

namespace tavindex::test {
namespace {

constexpr ByteOrder kLittle = ByteOrder::kLittle;

class Notes : public WalkVisitor {
 public:
  explicit Notes(const IsiFile& file) : file_(file) {}

  void OnNode(const Node& node) override {
    ++nodes;
    deepest = std::max(deepest, node.sector);
  }
  bool OnEntry(const Node& node, std::uint32_t index) override {
    const EntryView entry = EntryOf(file_, node.bytes.data(), index);
    keys.emplace_back(reinterpret_cast<const char*>(entry.key.data()), entry.key.size());
    return keys.size() != stopAfter;
  }
  void OnListSector(const ListSector& list) override { lists.push_back(list.sector); }
  void OnFault(std::uint32_t sector, std::string_view what) override {
    faults.push_back(std::to_string(sector) + ": " + std::string(what));
  }

  std::size_t nodes = 0;
  std::uint32_t deepest = 0;
  std::vector<std::string> keys;
  std::vector<std::uint32_t> lists;
  std::vector<std::string> faults;
  std::size_t stopAfter = 0;

 private:
  const IsiFile& file_;
};

class Walk : public ToolTest {
 protected:
  void Load(const std::vector<std::byte>& image) {
    WriteBytes("t.ISI", image);
    std::string why;
    ASSERT_TRUE(OpenIsi("t.ISI", file, why)) << why;
    ASSERT_EQ(file.fault, "");
  }
  const Notes& WalkAll() {
    notes_.emplace(file);
    SectorTable table(file.reader.sectors);
    WalkList(file, table, *notes_);
    WalkTree(file, table, *notes_);
    return *notes_;
  }
  std::optional<std::uint32_t> RecordOf(const std::string& key) {
    return FirstRecordOf(file, {reinterpret_cast<const std::uint8_t*>(key.data()), key.size()});
  }

  IsiFile file;

 private:
  std::optional<Notes> notes_;
};

using Texts = std::vector<std::string>;

TEST_F(Walk, Tiny) {
  Load(TinyImage());
  const Notes& notes = WalkAll();
  EXPECT_EQ(notes.keys, (Texts{"FIGS", "FIGS", "KIWI", "LIME", "PEAR", "PLUM", "SLOE"}));
  EXPECT_EQ(notes.nodes, 4U);
  EXPECT_EQ(notes.lists, (std::vector<std::uint32_t>{3}));
  EXPECT_EQ(notes.faults, Texts{});
}

TEST_F(Walk, StopsWhenToldTo) {
  Load(TinyImage());
  Notes notes(file);
  notes.stopAfter = 2;
  SectorTable table(file.reader.sectors);
  WalkTree(file, table, notes);
  EXPECT_EQ(notes.keys, (Texts{"FIGS", "FIGS"}));
  EXPECT_EQ(notes.deepest, 4U) << "nothing behind was read";
}

TEST_F(Walk, BeginsInTheMiddle) {
  Load(TinyImage());
  Notes notes(file);
  SectorTable table(file.reader.sectors);
  const std::string from = "LIMO";
  WalkTree(file, table, notes, {reinterpret_cast<const std::uint8_t*>(from.data()), from.size()});
  EXPECT_EQ(notes.keys, (Texts{"PEAR", "PLUM", "SLOE"}));
  EXPECT_EQ(notes.nodes, 3U) << "the leaf before is left out";
}

TEST_F(Walk, FirstRecordOfAKeyOnEveryLevel) {
  Load(TinyImage());
  EXPECT_EQ(RecordOf("FIGS"), 5U);
  EXPECT_EQ(RecordOf("KIWI"), 25U);
  EXPECT_EQ(RecordOf("LIME"), 15U);
  EXPECT_EQ(RecordOf("PEAR"), 0U);
  EXPECT_EQ(RecordOf("PLUM"), 30U);
  EXPECT_EQ(RecordOf("SLOE"), 35U);
  for (const char* key : {"AAAA", "FIGT", "LIMF", "SLOF", "ZZZZ"}) {
    EXPECT_EQ(RecordOf(key), std::nullopt) << key;
  }
}

TEST_F(Walk, NodeReachedTwice) {
  std::vector<std::byte> image = TinyImage();
  layout::Store32(image, 1024 + 16 + 4, 2048, kLittle);  // PLUM's child is KIWI's
  Load(image);
  const Notes& notes = WalkAll();
  EXPECT_EQ(notes.faults,
            Texts{"2: child of entry 2: leads to sector 4, which is reached as a node already"});
  EXPECT_EQ(notes.keys, (Texts{"FIGS", "FIGS", "KIWI", "PLUM", "SLOE"}));
}

TEST_F(Walk, RoundInACircle) {
  std::vector<std::byte> image = TinyImage();
  layout::Store32(image, 2048 + 508, 1024, kLittle);  // a leaf's last child is the root
  Load(image);
  EXPECT_EQ(WalkAll().faults,
            Texts{"4: last child: leads to sector 2, which is reached as a node already"});
}

TEST_F(Walk, HeaderIsNoNode) {
  std::vector<std::byte> image = TinyImage();
  layout::Store32(image, 1024 + 508, 512, kLittle);
  Load(image);
  EXPECT_EQ(WalkAll().faults,
            Texts{"2: last child: address 512 is not one of a node or list sector in the file"});
}

TEST_F(Walk, ListSectorIsNoNode) {
  std::vector<std::byte> image = TinyImage();
  layout::Store32(image, 1024 + 508, 1536, kLittle);
  Load(image);
  EXPECT_EQ(WalkAll().faults,
            Texts{"2: last child: leads to sector 3, which is reached as a list sector already"});
}

TEST_F(Walk, ListThatIsTheRoot) {
  std::vector<std::byte> image = TinyImage();
  layout::Store32(image, layout::kDeletedListHead, 1024, kLittle);
  Load(image);
  EXPECT_EQ(WalkAll().faults, Texts{"0: deleted-record list: leads to the root"});
}

TEST_F(Walk, ListThatGoesRound) {
  std::vector<std::byte> image = TinyImage();
  layout::Store32(image, 1536 + 504, 1536, kLittle);
  Load(image);
  EXPECT_EQ(WalkAll().faults,
            Texts{"3: next list sector: leads to sector 3, which is reached as a list sector "
                  "already"});
}

TEST_F(Walk, TooManyEntries) {
  std::vector<std::byte> image = TinyImage();
  layout::Store8(image, 3072 + 500, 32);
  Load(image);
  const Notes& notes = WalkAll();
  EXPECT_EQ(notes.faults, Texts{"6: entry count is 32, more than the 31 that fit"});
  EXPECT_EQ(notes.keys.size(), 6U + 31U);
}

// 48 ancestors are what the programs that use an index can keep.
TEST_F(Walk, DepthHasALimit) {
  const MadeTree deepest = MakeTree({.shape = Shape::kRightSkew, .entries = 60});
  ASSERT_EQ(deepest.depth, 49U);
  Load(deepest.image);
  EXPECT_EQ(WalkAll().faults, Texts{});
}

TEST_F(Walk, DeeperThanTheLimit) {
  // Root and 49 nodes below it, each the last child of the one before.
  std::vector<std::byte> image = TinyImage();
  image.resize((4 + 49) * 512);
  layout::Store32(image, 1024 + 508, 2048, kLittle);
  layout::Store8(image, 1024 + 500, 0);
  for (std::size_t at = 2048; at < image.size(); at += 512) {
    std::fill_n(image.begin() + static_cast<std::ptrdiff_t>(at), 512, std::byte{0});
    const bool last = at + 512 == image.size();
    layout::Store32(image, at + 508, last ? 0 : static_cast<std::uint32_t>(at + 512), kLittle);
  }
  Load(image);
  const Notes& notes = WalkAll();
  EXPECT_EQ(notes.nodes, 49U);
  EXPECT_EQ(notes.faults, Texts{"51: last child: leads deeper than 48 nodes"});
}

}  // namespace
}  // namespace tavindex::test
