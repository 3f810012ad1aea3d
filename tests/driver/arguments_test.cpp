#include "driver/arguments.h"

#include <vector>

#include "support/run_test.h"
#include "support/token_arguments.h"

namespace tavindex::test {
namespace {

class ArgumentsTest : public RunTest {
 protected:
  using Tokens = std::vector<Token>;

  std::string Echo(const Tokens& tokens, bool fromText) {
    const Arguments arguments{
        .tokens = tokens.data(), .count = tokens.size(), .fromText = fromText};
    EchoArguments(run, arguments);
    return console.Take();
  }
  std::string Join(const Tokens& tokens, std::size_t next = 0) {
    const Arguments arguments{.tokens = tokens.data(), .count = tokens.size(), .next = next};
    EXPECT_TRUE(JoinCommandLine(run, arguments));
    return Line();
  }
  std::string Line() const { return reinterpret_cast<const char*>(run.control.commandLine.Data()); }
};

using EchoArgumentsTest = ArgumentsTest;
using JoinCommandLineTest = ArgumentsTest;

TEST_F(EchoArgumentsTest, PutsASpaceBehindEveryArgument) {
  EXPECT_EQ(Echo({{"/bin/tavindex"}, {"-m5"}, {"data"}, {"-1-5"}}, false),
            "/bin/tavindex -m5 data -1-5 \n");
}

TEST_F(EchoArgumentsTest, KeepsPercentSigns) {
  EXPECT_EQ(Echo({{"t"}, {"%s%n"}}, false), "t %s%n \n");
}

TEST_F(EchoArgumentsTest, PutsADoubleQuotedTokenInQuotes) {
  EXPECT_EQ(Echo({{"a b", TokenKind::kDoubleQuote}}, true), "\"a b\"\n");
}

TEST_F(EchoArgumentsTest, PutsASpaceBeforeASingleQuotedToken) {
  EXPECT_EQ(Echo({{"a b", TokenKind::kSingleQuote}}, true), " \"a b\"\n");
}

TEST_F(EchoArgumentsTest, PutsACommaBehindACommaToken) {
  EXPECT_EQ(Echo({{"data", TokenKind::kComma}, {"", TokenKind::kComma}}, true), "data,,\n");
}

TEST_F(EchoArgumentsTest, PutsAnyOtherTokenBetweenSpaces) {
  EXPECT_EQ(Echo({{"INDEX", TokenKind::kNone}, {"-1", TokenKind::kSpace}}, true), " INDEX  -1 \n");
}

TEST_F(JoinCommandLineTest, PutsOneSpaceBetweenArguments) {
  EXPECT_EQ(Join({{"data,isi"}, {"l5"}, {"-1-5"}}), "data,isi l5 -1-5");
}

TEST_F(JoinCommandLineTest, BeginsWithTheFirstRemainingArgument) {
  EXPECT_EQ(Join({{"tavindex"}, {"-m5"}, {"data"}, {"-1"}}, 2), "data -1");
}

TEST_F(JoinCommandLineTest, IsEmptyWhenNoneRemains) {
  run.control.commandLine.Data()[0] = 'x';
  EXPECT_EQ(Join({{"tavindex"}}, 1), "");
}

TEST_F(JoinCommandLineTest, KeepsEmptyArguments) {
  EXPECT_EQ(Join({{"data"}, {""}, {"-1"}}), "data  -1");
  EXPECT_EQ(Join({{""}, {"data"}, {"-1"}}), " data -1");
}

TEST_F(JoinCommandLineTest, PutsQuotedTokensBackInQuotes) {
  EXPECT_EQ(Join({{"my data", TokenKind::kSingleQuote}, {"-1", TokenKind::kSpace}}),
            "\"my data\" -1");
  EXPECT_EQ(Join({{"my data", TokenKind::kDoubleQuote}, {";1", TokenKind::kNone}}),
            "\"my data\";1");
}

TEST_F(JoinCommandLineTest, PutsCommasBack) {
  EXPECT_EQ(Join({{"data", TokenKind::kComma},
                  {"", TokenKind::kComma},
                  {"l5", TokenKind::kNone},
                  {"-1", TokenKind::kSpace}}),
            "data,,l5 -1");
  EXPECT_EQ(Join({{"my data", TokenKind::kDoubleQuote},
                  {"", TokenKind::kComma},
                  {"my isi", TokenKind::kSingleQuote},
                  {"-1", TokenKind::kSpace}}),
            "\"my data\",\"my isi\" -1");
}

TEST_F(JoinCommandLineTest, Holds576Characters) {
  const std::string longest(570, 'd');
  EXPECT_EQ(Join({{longest.c_str()}, {"-1-10"}}), longest + " -1-10");
  EXPECT_EQ(Line().size(), 576U);
}

TEST_F(JoinCommandLineTest, RefusesMoreThan576Characters) {
  const std::string tooLong(571, 'd');
  const std::vector<Token> tokens = {{tooLong.c_str()}, {"-1-10"}};
  EXPECT_FALSE(JoinCommandLine(run, {.tokens = tokens.data(), .count = 2, .next = 0}));
  EXPECT_EQ(Line(), tooLong + " -1-1");
}

}  // namespace
}  // namespace tavindex::test
