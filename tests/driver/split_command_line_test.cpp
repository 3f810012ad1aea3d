#include "driver/split_command_line.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace tavindex::test {
namespace {

constexpr auto kNone = TokenKind::kNone;
constexpr auto kDouble = TokenKind::kDoubleQuote;
constexpr auto kSingle = TokenKind::kSingleQuote;
constexpr auto kComma = TokenKind::kComma;
constexpr auto kSpace = TokenKind::kSpace;

struct Piece {
  std::string text;
  TokenKind kind;
  bool operator==(const Piece&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Piece& piece) {
  return out << "'" << piece.text << "' of kind " << static_cast<int>(piece.kind);
}

using Pieces = std::vector<Piece>;

// A blank in the place of an opening quote is one that the readers of the token skip.
std::string WithoutBlankInFront(const Token& token) {
  const bool quoted = token.kind == kDouble || token.kind == kSingle;
  return quoted && token.text[0] == ' ' ? token.text + 1 : token.text;
}

// The tokens behind the command word.
Pieces Split(std::string text) {
  TokenList list;
  SplitCommandLine("INDEX", text.data(), list);
  EXPECT_STREQ(list.tokens[0].text, "INDEX");
  EXPECT_EQ(list.tokens[0].kind, kNone);
  EXPECT_STREQ(list.tokens[list.count].text, "");
  Pieces pieces;
  for (std::size_t i = 1; i < list.count; ++i) {
    pieces.push_back({WithoutBlankInFront(list.tokens[i]), list.tokens[i].kind});
  }
  return pieces;
}

TEST(SplitCommandLine, BeginsWithTheCommandWord) { EXPECT_EQ(Split(""), Pieces{}); }

TEST(SplitCommandLine, CountsAtMost123Tokens) {
  std::string text;
  for (int i = 0; i < 200; ++i) text += "t ";
  TokenList list;
  SplitCommandLine("INDEX", text.data(), list);
  EXPECT_EQ(list.count, 123U);
  EXPECT_STREQ(list.tokens[122].text, "t");
  EXPECT_STREQ(list.tokens[123].text, "");
}

TEST(SplitCommandLine, OpensAQuotedTokenAtTheVeryStart) {
  EXPECT_EQ(Split("\"my data\" -1"), (Pieces{{"my data", kSingle}, {"-1", kSpace}}));
}

TEST(SplitCommandLine, KeepsASectionOfSingleQuotesInsideTheToken) {
  EXPECT_EQ(Split("p=1='a b,c'&2='d' -1"), (Pieces{{"p=1='a b,c'&2='d'", kNone}, {"-1", kSpace}}));
}

TEST(SplitCommandLine, StartsATokenAtASingleQuote) {
  EXPECT_EQ(Split("'a b'c d"), (Pieces{{"'a b'c", kNone}, {"d", kSpace}}));
  EXPECT_EQ(Split("x 'a b'"), (Pieces{{"x", kNone}, {"'a b'", kSpace}}));
}

TEST(SplitCommandLine, KeepsADoubleQuoteInsideASectionOfSingleQuotes) {
  EXPECT_EQ(Split("p=1='a\"b' c"), (Pieces{{"p=1='a\"b'", kNone}, {"c", kSpace}}));
}

TEST(SplitCommandLine, OpensASectionBehindAnR) {
  EXPECT_EQ(Split("-r\"a b,c\"d e"), (Pieces{{"-r\"a b,c\"d", kNone}, {"e", kSpace}}));
  EXPECT_EQ(Split("-R\"a b\" e"), (Pieces{{"-R\"a b\"", kNone}, {"e", kSpace}}));
}

TEST(SplitCommandLine, KeepsADoubleQuoteBehindABackslash) {
  EXPECT_EQ(Split("a\\\"b c"), (Pieces{{"a\"b", kNone}, {"c", kSpace}}));
  EXPECT_EQ(Split("\\\"b"), (Pieces{{"\"b", kNone}}));
}

TEST(SplitCommandLine, KeepsABackslashBeforeAnotherCharacter) {
  EXPECT_EQ(Split("a\\b\\\\c"), (Pieces{{"a\\b\\\\c", kNone}}));
}

TEST(SplitCommandLine, KeepsAQuotedValueOfOneCharacter) {
  EXPECT_EQ(Split("data -p11=\"A\",1-5"),
            (Pieces{{"data", kNone}, {"-p11=\"A\"", kComma}, {"1-5", kNone}}));
  EXPECT_EQ(Split("p11#\" \" x"), (Pieces{{"p11#\" \"", kNone}, {"x", kSpace}}));
  EXPECT_EQ(Split("p11=\",\"x"), (Pieces{{"p11=\",\"x", kNone}}));
}

TEST(SplitCommandLine, EndsTheTokenAtALongerQuotedValue) {
  EXPECT_EQ(Split("p11=\"AB\" x"), (Pieces{{"p11=", kNone}, {"AB", kSingle}, {"x", kSpace}}));
}

TEST(SplitCommandLine, EndsTheTokenAtAnyOtherDoubleQuote) {
  EXPECT_EQ(Split("abc\"de f\" g"), (Pieces{{"abc", kNone}, {"de f", kSingle}, {"g", kSpace}}));
}

TEST(SplitCommandLine, BeginsTheNewTokenBehindTheQuoteOfAnI) {
  for (std::string text : {"-i\"my file\" data", "-I\"my file\" data"}) {
    TokenList list;
    SplitCommandLine("INDEX", text.data(), list);
    ASSERT_EQ(list.count, 4U);
    EXPECT_STREQ(list.tokens[2].text, "my file");
    EXPECT_EQ(list.tokens[2].kind, kSingle);
    EXPECT_STREQ(list.tokens[3].text, "data");
  }
}

TEST(SplitCommandLine, TellsWhetherTextFollowsAQuotedToken) {
  EXPECT_EQ(Split("\"a b\"c"), (Pieces{{"a b", kDouble}, {"c", kNone}}));
  EXPECT_EQ(Split("\"a b\"   c"), (Pieces{{"a b", kSingle}, {"c", kSpace}}));
}

TEST(SplitCommandLine, OpensTheNextQuotedTokenRightBehindAQuotedOne) {
  EXPECT_EQ(Split("\"a\"\"b\"c"), (Pieces{{"a", kDouble}, {"b", kDouble}, {"c", kNone}}));
  EXPECT_EQ(Split("\"a\"  \"b\" c"), (Pieces{{"a", kSingle}, {"b", kSingle}, {"c", kSpace}}));
}

TEST(SplitCommandLine, TakesCommasAndBlanksInsideAQuotedToken) {
  EXPECT_EQ(Split("\"a, b\" c"), (Pieces{{"a, b", kSingle}, {"c", kSpace}}));
}

TEST(SplitCommandLine, EndsATokenAtAComma) {
  EXPECT_EQ(Split("data,isi,l5 -1"),
            (Pieces{{"data", kComma}, {"isi", kComma}, {"l5", kNone}, {"-1", kSpace}}));
}

TEST(SplitCommandLine, SkipsWhiteSpaceBehindAComma) {
  EXPECT_EQ(Split("data,   isi"), (Pieces{{"data", kComma}, {"isi", kNone}}));
}

TEST(SplitCommandLine, MakesAnEmptyTokenOfACommaAlone) {
  EXPECT_EQ(Split("data,,l5"), (Pieces{{"data", kComma}, {"", kComma}, {"l5", kNone}}));
  EXPECT_EQ(Split(",x"), (Pieces{{"", kComma}, {"x", kNone}}));
  EXPECT_EQ(Split("a ,b"), (Pieces{{"a", kNone}, {"", kComma}, {"b", kNone}}));
}

TEST(SplitCommandLine, StartsNoTokenBehindALastComma) {
  EXPECT_EQ(Split("data,"), (Pieces{{"data", kComma}}));
  EXPECT_EQ(Split("data,  "), (Pieces{{"data", kComma}}));
}

TEST(SplitCommandLine, EndsATokenAtASpace) {
  EXPECT_EQ(Split("a b   c"), (Pieces{{"a", kNone}, {"b", kSpace}, {"c", kSpace}}));
  EXPECT_EQ(Split("a  "), (Pieces{{"a", kNone}}));
}

TEST(SplitCommandLine, KeepsASpaceAsTheValueBeforeAComma) {
  EXPECT_EQ(Split("p11= ,1-5"), (Pieces{{"p11= ", kComma}, {"1-5", kNone}}));
  EXPECT_EQ(Split("p11# ,1-5"), (Pieces{{"p11# ", kComma}, {"1-5", kNone}}));
}

TEST(SplitCommandLine, KeepsASpaceAsTheValueBeforeAnotherSpace) {
  EXPECT_EQ(Split("p11=  x"), (Pieces{{"p11= ", kNone}, {"x", kSpace}}));
}

TEST(SplitCommandLine, EndsTheTokenAtAnyOtherSpaceBehindASign) {
  EXPECT_EQ(Split("p11= x"), (Pieces{{"p11=", kNone}, {"x", kSpace}}));
}

TEST(SplitCommandLine, NeverStartsATokenAtAControlCharacter) {
  EXPECT_EQ(Split("\x01\x02"
                  "abc"),
            (Pieces{{"abc", kNone}}));
  EXPECT_EQ(Split("a\x01"
                  "b"),
            (Pieces{{"a\x01"
                     "b",
                     kNone}}));
  EXPECT_EQ(Split("\x01"), Pieces{});
}

TEST(SplitCommandLine, CountsAnOpenTokenAtTheEnd) {
  EXPECT_EQ(Split("\"abc"), (Pieces{{"abc", kDouble}}));
  EXPECT_EQ(Split("a 'b c"), (Pieces{{"a", kNone}, {"'b c", kSpace}}));
}

std::string Skip(std::string text) { return SkipProgramName(text.data()); }

TEST(SkipProgramName, SkipsTheFirstWordAndTheSpacesAroundIt) {
  EXPECT_EQ(Skip("tavindex data -1"), "data -1");
  EXPECT_EQ(Skip("   tavindex    data -1"), "data -1");
}

TEST(SkipProgramName, SkipsAQuotedName) {
  EXPECT_EQ(Skip("\"/opt/my tools/tavindex\" data -1"), "data -1");
  EXPECT_EQ(Skip("\"tavindex\"data"), "data");
}

TEST(SkipProgramName, TakesTabsForSpaces) { EXPECT_EQ(Skip("\ttavindex\tdata\t-1"), "data -1"); }

TEST(SkipProgramName, SkipsNothingWhenTheNameHasNoEnd) {
  EXPECT_EQ(Skip("  tavindex"), "tavindex");
  EXPECT_EQ(Skip("\"tavindex data"), "\"tavindex data");
  EXPECT_EQ(Skip(""), "");
}

}  // namespace
}  // namespace tavindex::test
