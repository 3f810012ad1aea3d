#include "names/file_name.h"

#include <gtest/gtest.h>

#include <string>

namespace tavindex::test {
namespace {

constexpr std::size_t kCapacity = 250;

struct Parsed {
  std::int32_t consumed;
  std::string name;
  bool operator==(const Parsed&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Parsed& parsed) {
  return out << parsed.consumed << " '" << parsed.name << "'";
}

Parsed Parse(std::string_view source, NameRule rule, std::size_t capacity = kCapacity) {
  PathText name;
  name.Assign("left over");
  const std::int32_t consumed = ParseFileName(source, name, capacity, rule);
  return {consumed, std::string(name.View())};
}
Parsed Long(std::string_view source) { return Parse(source, NameRule::kLong); }
Parsed Short(std::string_view source) { return Parse(source, NameRule::kShort); }

TEST(ParseFileName, ClearsTheNameOfAnEmptySource) { EXPECT_EQ(Long(""), (Parsed{0, ""})); }

TEST(ParseFileName, TakesNothingWithoutACapacity) {
  EXPECT_EQ(Parse("data", NameRule::kLong, 0), (Parsed{0, ""}));
}

TEST(ParseFileName, RefusesNothingButBlanks) { EXPECT_EQ(Long("   "), (Parsed{-1, ""})); }

TEST(ParseFileName, SkipsBlanksInFront) { EXPECT_EQ(Long("  data,isi"), (Parsed{6, "data"})); }

TEST(ParseFileName, SkipsNoTabs) { EXPECT_EQ(Long("\tdata "), (Parsed{5, "\tdata"})); }

TEST(ParseFileName, LongNameStopsAtEachOfItsStops) {
  for (const char stop : {'<', '>', '*', '|', '?', '"', ';', ',', ' ', '\0'}) {
    const std::string source = std::string("ab") + stop + "cd";
    EXPECT_EQ(Long(source), (Parsed{2, "ab"})) << stop;
  }
}

TEST(ParseFileName, LongNameHoldsWhatStopsAShortOne) {
  const std::string name = "a+b=c[d]e\\f#g^h&i(j)k-l:m/n.o'p";
  EXPECT_EQ(Long(name), (Parsed{static_cast<std::int32_t>(name.size()), name}));
}

TEST(ParseFileName, ShortNameStopsAtEachOfItsStops) {
  for (const char stop : {'<', '>',  '*', '|', '?', '+', '=', '[', ']', ';',
                          ',', '\\', '#', '^', '&', '(', ')', '"', ' ', '\0'}) {
    const std::string source = std::string("ab") + stop + "cd";
    EXPECT_EQ(Short(source), (Parsed{2, "ab"})) << stop;
  }
}

TEST(ParseFileName, QuotedLongNameHoldsBlanksAndSeparators) {
  EXPECT_EQ(Long("\"my file,a;b\",isi"), (Parsed{13, "my file,a;b"}));
}

TEST(ParseFileName, QuotedShortNameHoldsNoBlank) {
  EXPECT_EQ(Short("\"my file\""), (Parsed{-1, ""}));
}

TEST(ParseFileName, UnquotedNameEndsAtTheBlank) { EXPECT_EQ(Long("my file"), (Parsed{2, "my"})); }

TEST(ParseFileName, QuotedLongNameRefusesItsForbiddenCharacters) {
  for (const char forbidden : {'<', '>', '*', '|', '?', '\0'}) {
    const std::string source = std::string("\"ab") + forbidden + "cd\"";
    EXPECT_EQ(Long(source), (Parsed{-1, ""})) << forbidden;
  }
}

TEST(ParseFileName, QuotedShortNameRefusesItsForbiddenCharacters) {
  for (const char forbidden : {'<', '>', '*', '|', '?', '+', '=', '[', ']', ';', ',', '\\', '#',
                               '^', '&', '(', ')', ' ', '\0'}) {
    const std::string source = std::string("\"ab") + forbidden + "cd\"";
    EXPECT_EQ(Short(source), (Parsed{-1, ""})) << forbidden;
  }
}

TEST(ParseFileName, DoubledQuotesJoinTwoPieces) {
  EXPECT_EQ(Long("\"AB\"\"CD\" x"), (Parsed{8, "ABCD"}));
  EXPECT_EQ(Long("\"A\"\"B\"\"C\""), (Parsed{9, "ABC"}));
}

TEST(ParseFileName, QuotedNameEndsBehindItsQuote) {
  EXPECT_EQ(Long("\"AB\"CD"), (Parsed{4, "AB"}));
}

TEST(ParseFileName, EmptyQuotesAreAnEmptyName) { EXPECT_EQ(Long("\"\" "), (Parsed{2, ""})); }

TEST(ParseFileName, RefusesAnUnclosedQuote) {
  EXPECT_EQ(Long("\"AB").consumed, -1);
  EXPECT_EQ(Long("\"AB\"\"CD").consumed, -1);
}

TEST(ParseFileName, RefusesALoneQuote) { EXPECT_EQ(Long("\"").consumed, -1); }

TEST(ParseFileName, CountsBlanksInFrontOfAQuote) {
  EXPECT_EQ(Long("  \"a b\"-1"), (Parsed{7, "a b"}));
}

TEST(ParseFileName, Takes250Characters) {
  const std::string name(250, 'n');
  EXPECT_EQ(Long(name + " -1"), (Parsed{250, name}));
  EXPECT_EQ(Long("\"" + name + "\""), (Parsed{252, name}));
}

TEST(ParseFileName, Refuses251Characters) {
  const std::string name(251, 'n');
  EXPECT_EQ(Long(name).consumed, -2);
  EXPECT_EQ(Long("\"" + name + "\"").consumed, -2);
}

}  // namespace
}  // namespace tavindex::test
