// What all commands have in common.

#include "tool_run.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "driver/version.h"

namespace tavindex::test {
namespace {

class AllCommands : public ToolTest {
 protected:
  static std::vector<std::vector<std::string>> Commands(const std::string& file) {
    return {{"info", file}, {"check", file}, {"dump", file},         {"find", file, "FIGS"},
            {"stat", file}, {"map", file},   {"map", "--svg", file}, {"info", "--json", file}};
  }

  void AllRefuse(const std::string& file, const std::string& reason) {
    for (const auto& command : Commands(file)) {
      const ToolResult run = Isitool(command);
      EXPECT_EQ(run.status, 2) << command[0];
      EXPECT_EQ(run.out, "") << command[0];
      EXPECT_EQ(run.err, "isitool: " + file + ": " + reason + "\n");
    }
  }
};

TEST_F(AllCommands, HelpAndVersion) {
  const ToolResult help = Isitool({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.err, "");
  for (const std::string word :
       {"info",   "check",   "dump",   "find",      "stat",
        "map",    "--json",  "--data", "--no-data", "--strict",
        "--keys", "--hex",   "--from", "--to",      "--prefix",
        "--svg",  "--color", "--help", "--version", "may change while it is"}) {
    EXPECT_NE(help.out.find(word), std::string::npos) << word;
  }
  const ToolResult version = Isitool({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, std::string("isitool (tavindex) ") + kVersionText + "\n");
}

TEST_F(AllCommands, Misuse) {
  const ToolResult run = Isitool({"look"});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "isitool: look: unknown command\nTry 'isitool --help'.\n");
}

TEST_F(AllCommands, NoFile) { AllRefuse("none.ISI", "No such file or directory"); }

TEST_F(AllCommands, Folder) {
  scratch.MakeDirectory("folder");
  AllRefuse("folder", "not a regular file");
}

TEST_F(AllCommands, FifoDoesNotBlock) {
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  AllRefuse("pipe", "not a regular file");
}

TEST_F(AllCommands, DataFileTakenForAnIsi) {
  scratch.Write("tiny.TXT", kTinyData);
  AllRefuse("tiny.TXT", "not an ISI file");
}

TEST_F(AllCommands, EmptyFile) {
  scratch.Write("empty", "");
  AllRefuse("empty", "not an ISI file");
}

TEST_F(AllCommands, CutShortInTheFront) {
  std::vector<std::byte> image = TinyImage();
  image.resize(1500);
  WriteBytes("tiny.ISI", image);
  const std::string reason = "1500 bytes long, less than the 2048 that every ISI file has";
  for (const auto& command : Commands("tiny.ISI")) {
    const bool shows = command[0] == "info" || command[0] == "check";
    const ToolResult run = Isitool(command);
    EXPECT_EQ(run.status, shows ? 1 : 2) << command[0];
    EXPECT_EQ(run.err, shows ? "" : "isitool: tiny.ISI: " + reason + "\n");
  }
  EXPECT_NE(Isitool({"check", "tiny.ISI"}).out.find("tiny.ISI: header: " + reason + "\n"),
            std::string::npos);
}

// The last leaf is gone: what is left is shown, and the fault told.
TEST_F(AllCommands, CutShortInTheTree) {
  scratch.Write("tiny.TXT", kTinyData);
  std::vector<std::byte> image = TinyImage();
  image.resize(6 * 512);
  WriteBytes("tiny.ISI", image);
  const ToolResult dump = Isitool({"dump", "--keys", "tiny.ISI"});
  EXPECT_EQ(dump.status, 1);
  EXPECT_EQ(dump.out, "FIGS\nFIGS\nKIWI\nLIME\nPEAR\nPLUM\n");
  EXPECT_EQ(Isitool({"stat", "tiny.ISI"}).status, 1);
  EXPECT_EQ(Isitool({"map", "tiny.ISI"}).status, 1);
  EXPECT_EQ(Isitool({"find", "tiny.ISI", "SLOE"}).status, 1);
  EXPECT_EQ(Isitool({"check", "tiny.ISI"}).status, 1);
  EXPECT_EQ(Isitool({"info", "tiny.ISI"}).status, 0) << "it reads the header alone";
}

TEST_F(AllCommands, OutputThatCannotBeWritten) {
  WriteTiny();
  const std::string command =
      std::string("'") + ISITOOL_BINARY + "' dump tiny.ISI >/dev/full 2>.err; test $? = 2";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(scratch.Read(".err"), "isitool: standard output: No space left on device\n");
}

TEST_F(AllCommands, NothingIsWritten) {
  WriteTiny();
  const std::string isi = scratch.Read("tiny.ISI");
  ASSERT_EQ(::chmod("tiny.ISI", 0444), 0);
  ASSERT_EQ(::chmod("tiny.TXT", 0444), 0);
  for (const auto& command : Commands("tiny.ISI")) {
    EXPECT_EQ(Isitool(command).status, 0) << command[0];
  }
  EXPECT_EQ(scratch.Read("tiny.ISI"), isi);
  EXPECT_EQ(scratch.Read("tiny.TXT"), kTinyData);
  for (const char* own : {".out", ".err"}) std::filesystem::remove(own);
  EXPECT_EQ(scratch.FileCount(), 2U);
}

}  // namespace
}  // namespace tavindex::test
