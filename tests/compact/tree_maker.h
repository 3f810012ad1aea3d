// Old trees for compactions: ISI images that no build makes, but that programs which insert and
// delete single keys leave behind. Half-empty nodes, branches of unequal depth, nodes without
// entries, sectors that nothing points to, nodes and list sectors in any order.
//
// An image is drawn from a TreePlan; equal plans give equal images. Beside the image stands what is
// in it and what a compaction must make of it. The bytes are laid by the checker's own statement of
// the format; nothing is shared with the program.

#ifndef TESTS_COMPACT_TREE_MAKER_H_
#define TESTS_COMPACT_TREE_MAKER_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "isi_checker.h"

namespace tavindex::test {

enum class Shape {
  kBalanced,    // every node as full as the plan's limit allows, branches of equal depth
  kUneven,      // nodes with any count, entries without a child beside entries with one
  kRightSkew,   // everything hangs on the last child: the deepest tree there can be
  kLeftSkew,    // everything hangs on the first entry's child
  kEmptyNodes,  // as kUneven, with nodes that hold no entry but a last child, or nothing at all
};

struct TreePlan {
  std::string name{};
  Shape shape = Shape::kBalanced;
  ByteOrder order = ByteOrder::kLittle;
  bool recordNumbers = false;
  unsigned keyLength = 4;
  std::size_t entries = 0;
  std::size_t entriesPerNode = 0;  // kBalanced: at most so many (0: as many as fit)
  std::size_t deleted = 0;         // addresses in the deleted-record list
  std::size_t freedSectors = 0;    // sectors that nothing points to
  bool headAt1536 = true;          // the newest list sector stands there; else a node may
  std::uint8_t fileFlags = 0x80;
  std::uint32_t spinCounter = 0;
  std::string dataFileName = "data.TXT";
  std::string commandLine = "data,old -1-4";
  unsigned seed = 1;
};

// How a failed assertion shows a plan.
inline void PrintTo(const TreePlan& plan, std::ostream* out) { *out << plan.name; }

struct MadeTree {
  TreePlan plan;
  std::vector<std::byte> image;
  std::vector<ModelEntry> walk;          // as they stand in the tree, in its order
  std::vector<ModelEntry> compacted;     // duplicates by address, their numbers anew
  std::vector<std::uint32_t> deleted;    // in file order
  std::vector<std::size_t> listSectors;  // head first
  unsigned depth = 0;                    // nodes on the longest way from the root
};

MadeTree MakeTree(const TreePlan& plan);

// Plans of every shape, in both byte orders and address modes, with and without a list.
std::vector<TreePlan> AllPlans();

// The whole file that a compaction must write, with `commandLine` in its header.
std::vector<std::byte> ExpectedCompaction(const MadeTree& tree, const std::string& commandLine);

// The entries that a plain recursive reader finds, in tree order; nothing when the tree is not
// sound (an address outside the file, a count above the capacity, a level deeper than 60). For
// images that were damaged on purpose.
std::optional<std::vector<ModelEntry>> PlainWalk(std::span<const std::byte> image);

std::string TextOf(const std::vector<std::byte>& bytes);
std::vector<std::byte> BytesOf(const std::string& text);

}  // namespace tavindex::test

#endif  // TESTS_COMPACT_TREE_MAKER_H_
