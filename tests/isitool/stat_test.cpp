#include "isitool/stat.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "tool_run.h"
#include "tree_maker.h"

namespace tavindex::test {
namespace {

// Drops keys into levels one by one, as the format says, and counts the nodes that are written.
std::uint64_t NodesByHand(std::uint64_t entries, std::uint32_t capacity) {
  std::array<std::uint64_t, 64> open{};
  std::size_t top = 0;
  std::uint64_t written = 0;
  for (; entries > 0; --entries) {
    std::size_t level = 0;
    for (; open.at(level) == capacity; ++level) {
      open.at(level) = 0;
      ++written;
    }
    ++open.at(level);
    top = std::max(top, level);
  }
  for (std::size_t level = 0; level < top; ++level) written += open.at(level) > 0 ? 1 : 0;
  return written + 1;
}

TEST(DenseNodes, AgreeWithTheBottomUpBuild) {
  for (const std::uint32_t capacity : {3U, 4U, 31U}) {
    for (std::uint64_t entries = 0; entries < 3000; ++entries) {
      ASSERT_EQ(DenseNodes(entries, capacity), NodesByHand(entries, capacity))
          << entries << " in nodes of " << capacity;
    }
  }
}

class Stat : public ToolTest {};

TEST_F(Stat, Tiny) {
  WriteTiny();
  const ToolResult run = Isitool({"stat", "tiny.ISI"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out,
            "Level      Nodes    Entries     Fill\n"
            "    1          1          2    6.4 %  (root)\n"
            "    0          3          5    5.3 %\n"
            "  all          4          7    5.6 %\n"
            "\n"
            "Node        31 places for entries of 16 bytes\n"
            "Keys        6 different keys, 1 duplicate\n"
            "Deleted     1 record in 1 list sector, fill 0.7 %\n"
            "File        3584 bytes, 7 sectors\n"
            "Free        117 places in nodes, 1872 bytes\n"
            "Unused      0 sectors that nothing refers to, 0 bytes\n"
            "Compaction  would leave 2048 bytes and save 1536 bytes, 42.8 %\n");
}

TEST_F(Stat, TinyForPrograms) {
  WriteTiny();
  const ToolResult run = Isitool({"stat", "--json", "tiny.ISI"});
  EXPECT_EQ(Json(run.out, "d"),
            "[{'file': 'tiny.ISI', 'size': 3584, 'sectors': 7, 'nodeCapacity': 31, "
            "'entrySize': 16, 'levels': [{'level': 1, 'nodes': 1, 'entries': 2}, "
            "{'level': 0, 'nodes': 3, 'entries': 5}], 'nodes': 4, 'entries': 7, 'duplicates': 1, "
            "'listSectors': 1, 'deleted': 1, 'freePlaces': 117, 'unusedSectors': 0, "
            "'compactedSize': 2048, 'saved': 1536}]");
}

TEST_F(Stat, OtherAddressesAndBytes) {
  WriteTiny();
  const std::string little = Isitool({"stat", "tiny.ISI"}).out;
  WriteTiny(true, ByteOrder::kBig);
  EXPECT_EQ(Isitool({"stat", "tiny.ISI"}).out, little);
}

// What stat foretells is what a compaction leaves.
TEST_F(Stat, ForetellsCompactions) {
  scratch.Write("data.TXT", "data\n");
  for (const TreePlan& plan : AllPlans()) {
    const ::testing::ScopedTrace trace(__FILE__, __LINE__, plan.name);
    WriteBytes("old.ISI", MakeTree(plan).image);
    const ToolResult before = Here({"stat", "--json", "old.ISI"});
    EXPECT_EQ(before.status, 0) << before.err;
    ASSERT_EQ(Tavindex({"old,new", "-c"}), 0) << scratch.Read(".log");
    const std::string size = std::to_string(scratch.Read("new.ISI").size());
    EXPECT_NE(before.out.find("\"compactedSize\":" + size + ","), std::string::npos) << before.out;
    EXPECT_NE(Here({"stat", "--json", "new.ISI"}).out.find("\"saved\":0}"), std::string::npos);
    std::filesystem::remove(scratch.Path("new.ISI"));
  }
}

TEST_F(Stat, EmptyIndex) {
  WriteBytes("old.ISI", MakeTree({.name = "empty"}).image);
  const ToolResult run = Isitool({"stat", "old.ISI"});
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("    0          1          0    0.0 %  (root)\n"), std::string::npos);
  EXPECT_NE(run.out.find("Keys        0 different keys, 0 duplicates\n"), std::string::npos);
}

}  // namespace
}  // namespace tavindex::test
