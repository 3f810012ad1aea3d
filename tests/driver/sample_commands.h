// Runs of the program for tests that disturb it: the files they begin with and the files they must
// leave, by the checker's model of a build and the tree maker's of a compaction.

#ifndef TESTS_DRIVER_SAMPLE_COMMANDS_H_
#define TESTS_DRIVER_SAMPLE_COMMANDS_H_

#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "sample_runs.h"

namespace tavindex::test {

using SampleFiles = std::map<std::string, std::string>;  // name and content

struct SampleCommand {
  std::string name;
  std::vector<std::string> arguments;
  SampleFiles start;
  SampleFiles complete;  // all files at the end
  std::string output = "old.ISI";
  bool inPlace = false;
};

// How a parameterised test is named.
inline void PrintTo(const SampleCommand& command, std::ostream* out) { *out << command.name; }

// Short ones make some hundred calls to the system; long ones last long enough to be met.
enum class SampleSize { kShort, kLong };

// Areas of few items: several trains, and more than the ways of one merge pass.
inline SampleCommand SampleBuild(SampleSize size) {
  const std::string data = Records(size == SampleSize::kLong ? 9000 : 300);
  const std::string memory = size == SampleSize::kLong ? "-m300" : "-m100";
  const std::string old = TextOf(BuiltFrom(Records(100)));
  return {"Build",
          {memory, "data,old", "-1-5"},
          {{"data.TXT", data}, {"old.ISI", old}},
          {{"data.TXT", data}, {"old.ISI", TextOf(BuiltFrom(data))}}};
}

inline SampleCommand SampleRebuild(SampleSize size) {
  SampleCommand command = SampleBuild(size);
  command.name = "Rebuild";
  command.arguments = {command.arguments[0], "old", "-r"};
  return command;
}

inline MadeTree SampleTree(SampleSize size) {
  const std::size_t entries = size == SampleSize::kLong ? 9000 : 300;
  return MakeTree({.entries = entries, .deleted = 300, .freedSectors = 3});
}

inline SampleCommand SampleCompactionInPlace(SampleSize size) {
  const MadeTree tree = SampleTree(size);
  const std::string data = "not looked at";
  const std::string compacted = TextOf(ExpectedCompaction(tree, "data,old -1-4"));
  return {"CompactionInPlace",
          {size == SampleSize::kLong ? "-m300" : "-m600", "old", "-c"},
          {{"data.TXT", data}, {"old.ISI", TextOf(tree.image)}},
          {{"data.TXT", data}, {"old.ISI", compacted}},
          "old.ISI",
          true};
}

inline SampleCommand SampleCompactionIntoANewFile(SampleSize size) {
  SampleCommand command = SampleCompactionInPlace(size);
  command.name = "CompactionIntoANewFile";
  command.arguments[1] = "old,new";
  command.complete = command.start;
  command.complete["new.ISI"] = TextOf(ExpectedCompaction(SampleTree(size), "data,new -1-4"));
  command.output = "new.ISI";
  command.inPlace = false;
  return command;
}

inline SampleCommand SampleDisplay() {
  SampleCommand command = SampleBuild(SampleSize::kShort);
  command.name = "Display";
  command.arguments = {"old", "-i"};
  command.complete = command.start;
  return command;
}

// All that make an index.
inline std::vector<SampleCommand> SampleCommands(SampleSize size) {
  return {SampleBuild(size), SampleRebuild(size), SampleCompactionInPlace(size),
          SampleCompactionIntoANewFile(size)};
}

}  // namespace tavindex::test

#endif  // TESTS_DRIVER_SAMPLE_COMMANDS_H_
