#include "isitool/text.h"

#include <gtest/gtest.h>

#include <string>

namespace tavindex::test {
namespace {

using namespace std::string_literals;

TEST(Utf8Length, TellsWellFormedSequences) {
  EXPECT_EQ(Utf8Length("a"), 1U);
  EXPECT_EQ(Utf8Length("\xC3\xBC"), 2U);
  EXPECT_EQ(Utf8Length("\xE2\x82\xAC"), 3U);
  EXPECT_EQ(Utf8Length("\xF0\x9F\x98\x80"), 4U);
  EXPECT_EQ(Utf8Length("\xF4\x8F\xBF\xBF"), 4U);  // U+10FFFF
}

TEST(Utf8Length, RefusesEverythingElse) {
  EXPECT_EQ(Utf8Length(""), 0U);
  EXPECT_EQ(Utf8Length("\x80"), 0U);              // a continuation alone
  EXPECT_EQ(Utf8Length("\xC3"), 0U);              // cut off
  EXPECT_EQ(Utf8Length("\xC3Z"), 0U);             // no continuation
  EXPECT_EQ(Utf8Length("\xC0\x80"), 0U);          // overlong
  EXPECT_EQ(Utf8Length("\xE0\x9F\xBF"), 0U);      // overlong
  EXPECT_EQ(Utf8Length("\xED\xA0\x80"), 0U);      // a surrogate
  EXPECT_EQ(Utf8Length("\xF4\x90\x80\x80"), 0U);  // above U+10FFFF
  EXPECT_EQ(Utf8Length("\xE2\x82Z"), 0U);
  EXPECT_EQ(Utf8Length("\xFF"), 0U);
}

TEST(Visible, ShowsWhatCanBePrinted) {
  EXPECT_EQ(Visible("Plain text"), "Plain text");
  EXPECT_EQ(Visible("M\xC3\xBCller"), "M\xC3\xBCller");
  EXPECT_EQ(Visible("a\\b"), "a\\\\b");
}

TEST(Visible, EscapesWhatCanSteerATerminal) {
  EXPECT_EQ(Visible("\x1B[31m\n"), "\\x1B[31m\\x0A");
  EXPECT_EQ(Visible("\0\x7F\xFF"s), "\\x00\\x7F\\xFF");
  EXPECT_EQ(Visible("\xC2\x9B"), "\\xC2\\x9B");           // U+009B steers as ESC [ does
  EXPECT_EQ(Visible("\xEF\xBF\xBF"), "\\xEF\\xBF\\xBF");  // U+FFFF is no character
}

TEST(FromVisible, ReadsBackWhatVisibleGives) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  std::string bytes;
  EXPECT_TRUE(FromVisible(Visible(all), bytes));
  EXPECT_EQ(bytes, all);
}

TEST(FromVisible, TakesHexDigitsInEitherCase) {
  std::string bytes;
  EXPECT_TRUE(FromVisible("\\xaB\\x0cz", bytes));
  EXPECT_EQ(bytes, "\xAB\x0Cz");
}

TEST(FromVisible, RefusesALoneBackslash) {
  std::string bytes;
  for (const char* text : {"\\", "a\\n", "\\x", "\\x1", "\\xG0", "\\x0G"}) {
    EXPECT_FALSE(FromVisible(text, bytes)) << text;
  }
}

TEST(HexDigits, TwoForEachByte) { EXPECT_EQ(HexDigits("\0\x1F\xA0"s), "001FA0"); }

TEST(Count, KnowsOneAndMany) {
  EXPECT_EQ(Count(0, "node"), "0 nodes");
  EXPECT_EQ(Count(1, "node"), "1 node");
  EXPECT_EQ(Count(2, "entry"), "2 entries");
  EXPECT_EQ(Count(1, "entry"), "1 entry");
  EXPECT_EQ(Count(2, "different key"), "2 different keys");
}

TEST(Percent, RoundsDown) {
  EXPECT_EQ(Percent(0, 0), "0.0 %");
  EXPECT_EQ(Percent(1, 3), "33.3 %");
  EXPECT_EQ(Percent(9999, 10000), "99.9 %");
  EXPECT_EQ(Percent(5, 5), "100.0 %");
}

TEST(UtcTime, IsWrittenInFull) { EXPECT_EQ(UtcTime(86400 + 3661), "1970-01-02T01:01:01Z"); }

TEST(Format, TakesTextsOfAnyLength) {
  const std::string longText(5000, 'x');
  EXPECT_EQ(Format("%s-%d", longText.c_str(), 7), longText + "-7");
  EXPECT_EQ(Format("%s", ""), "");
}

}  // namespace
}  // namespace tavindex::test
