// The fixture of tests that run isitool: as a program of its own, or, for thousands of runs, in
// this process. The current directory is a scratch directory, the environment says nothing.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "isi_checker.h"
#include "support/environment_guard.h"
#include "support/scratch_directory.h"

namespace tavindex::test {

struct ToolResult {
  int status = -1;  // -1: ended by a signal
  std::string out;
  std::string err;
};

// Eight places of five bytes, the third of them deleted, with a key of columns 1-4: the example of
// docs/isi-format.md, whose index has a root, three leaves and a list sector.
//
//   sector 2  root, level 1   KIWI at 25 (child 4), PLUM at 30 (child 5), last child 6
//   sector 3  list            10
//   sector 4  leaf            FIGS at 5, FIGS at 20 (dupSeq 1)
//   sector 5  leaf            LIME at 15, PEAR at 0
//   sector 6  leaf            SLOE at 35
inline const std::string kTinyData("PEAR\nFIGS\n\0\0\0\0\0LIME\nFIGS\nKIWI\nPLUM\nSLOE\n", 40);

class ToolTest : public ::testing::Test {
 protected:
  ToolTest();

  ToolResult Isitool(const std::vector<std::string>& arguments) const;
  static ToolResult Here(std::vector<std::string> arguments);

  // Runs tavindex; its exit status.
  int Tavindex(const std::vector<std::string>& arguments) const;

  // tiny.TXT and tiny.ISI, made by the checker's model of a build.
  void WriteTiny(bool recordNumbers = false, ByteOrder order = ByteOrder::kLittle) const;
  static std::vector<std::byte> TinyImage(bool recordNumbers = false,
                                          ByteOrder order = ByteOrder::kLittle);

  void WriteBytes(const std::string& name, const std::vector<std::byte>& bytes) const;

  // What python3 prints for `expression`, in which `d` is the list of the JSON documents in
  // `lines`, one a line. A line that is no JSON gives an error text.
  std::string Json(const std::string& lines, const std::string& expression) const;

  EnvironmentGuard environment;
  ScratchDirectory scratch;

 private:
  CurrentDirectory directory_;
};

}  // namespace tavindex::test
