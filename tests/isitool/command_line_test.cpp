#include "isitool/command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/environment_guard.h"

namespace tavindex::test {
namespace {

class CommandLine : public ::testing::Test {
 protected:
  CommandLine() { environment_.Unset("POSIXLY_CORRECT"); }

  bool Read(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "isitool");
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    options = Options{};
    complaint.clear();
    return ReadCommandLine(static_cast<int>(arguments.size()), argv.data(), options, complaint);
  }

  void Refuses(const std::vector<std::string>& arguments, const std::string& words) {
    EXPECT_FALSE(Read(arguments)) << words;
    EXPECT_EQ(complaint, words);
  }

  Options options;
  std::string complaint;

 private:
  EnvironmentGuard environment_;
};

TEST_F(CommandLine, EveryCommand) {
  const std::pair<const char*, Command> kAll[] = {
      {"info", Command::kInfo}, {"check", Command::kCheck}, {"dump", Command::kDump},
      {"stat", Command::kStat}, {"map", Command::kMap},
  };
  for (const auto& [name, command] : kAll) {
    ASSERT_TRUE(Read({name, "a.ISI"})) << complaint;
    EXPECT_EQ(options.command, command);
    EXPECT_EQ(options.file, "a.ISI");
  }
  ASSERT_TRUE(Read({"find", "a.ISI", "KEY"}));
  EXPECT_EQ(options.command, Command::kFind);
  EXPECT_EQ(options.key, "KEY");
}

TEST_F(CommandLine, OptionsStandAnywhere) {
  ASSERT_TRUE(Read({"--json", "check", "a.ISI", "--data=b", "--strict"}));
  EXPECT_TRUE(options.json);
  EXPECT_TRUE(options.strict);
  EXPECT_FALSE(options.noData);
  EXPECT_EQ(options.dataPath, "b");
  ASSERT_TRUE(Read({"check", "--data", "b", "a.ISI"}));
  EXPECT_EQ(options.dataPath, "b");
  ASSERT_TRUE(Read({"dump", "--ke", "--hex", "a.ISI"})) << "abbreviations";
  EXPECT_TRUE(options.keysOnly);
  EXPECT_TRUE(options.hex);
}

TEST_F(CommandLine, TwoDashesEndTheOptions) {
  ASSERT_TRUE(Read({"find", "--prefix", "--", "-a.ISI", "--json"}));
  EXPECT_EQ(options.file, "-a.ISI");
  EXPECT_EQ(options.key, "--json");
  EXPECT_TRUE(options.prefix);
  EXPECT_FALSE(options.json);
}

TEST_F(CommandLine, KeysMayHoldAnyByte) {
  ASSERT_TRUE(Read({"dump", "a.ISI", "--from=A\\x00", "--to", "\\\\\\xFF"}));
  EXPECT_EQ(options.from, std::string("A\0", 2));
  EXPECT_EQ(options.to, "\\\xFF");
}

TEST_F(CommandLine, Colors) {
  const std::pair<const char*, ColorWhen> kAll[] = {{"--color=auto", ColorWhen::kAuto},
                                                    {"--color=always", ColorWhen::kAlways},
                                                    {"--color=never", ColorWhen::kNever}};
  for (const auto& [option, when] : kAll) {
    ASSERT_TRUE(Read({"map", option, "a.ISI"}));
    EXPECT_EQ(options.color, when);
  }
}

TEST_F(CommandLine, HelpAndVersionNeedNothingElse) {
  ASSERT_TRUE(Read({"--help"}));
  EXPECT_TRUE(options.help);
  ASSERT_TRUE(Read({"dump", "--version"}));
  EXPECT_TRUE(options.version);
}

TEST_F(CommandLine, Misuse) {
  Refuses({}, "a command is missing");
  Refuses({"show", "a.ISI"}, "show: unknown command");
  Refuses({"info"}, "a file name is missing");
  Refuses({"find", "a.ISI"}, "a key is missing");
  Refuses({"info", "a", "b"}, "b: one argument too many");
  Refuses({"find", "a", "b", "c"}, "c: one argument too many");
  Refuses({"info", "--bogus", "a"}, "--bogus: unknown or ambiguous option");
  Refuses({"info", "-x", "a"}, "-x: unknown option");
  Refuses({"info", "a", "--data"}, "--data: needs a value");
  Refuses({"info", "a", "--svg"}, "--svg: no option of 'info'");
  Refuses({"stat", "--data=b", "a"}, "--data: no option of 'stat'");
  Refuses({"map", "--color=red", "a"}, "--color: 'red' is no value for it");
  Refuses({"dump", "--from=\\q", "a"}, "--from: '\\q' is no value for it");
  Refuses({"check", "--data=", "a"}, "--data: '' is no value for it");
  Refuses({"info", "--json=1", "a"}, "--json: unknown or ambiguous option, or one without a value");
  Refuses({"check", "--data=b", "--no-data", "a"}, "--data and --no-data: only one of them");
  Refuses(
      {"find", "a", "\\q"},
      "\\q: a backslash in a key stands before x and two hexadecimal digits, or before another");
}

}  // namespace
}  // namespace tavindex::test
