#include "names/field_text.h"

#include <gtest/gtest.h>

namespace tavindex::test {
namespace {

TEST(FieldText, OptionsBeginAtADashASemicolonOrTheEnd) {
  EXPECT_TRUE((FieldText{.line = "-1"}.OptionsBegin()));
  EXPECT_TRUE((FieldText{.line = ";1"}.OptionsBegin()));
  EXPECT_TRUE((FieldText{.line = "data", .at = 4}.OptionsBegin()));
  EXPECT_FALSE((FieldText{.line = "data"}.OptionsBegin()));
  EXPECT_FALSE((FieldText{.line = ",isi"}.OptionsBegin()));
}

TEST(FieldText, FieldEndsAtACommaABlankASemicolonOrTheEnd) {
  for (const char* line : {",", " ", ";", ""}) EXPECT_TRUE(FieldText{.line = line}.FieldEnds());
  for (const char* line : {"-", "x", "\""}) EXPECT_FALSE(FieldText{.line = line}.FieldEnds());
}

std::size_t Skipped(std::string_view line) {
  FieldText text{.line = line};
  SkipSeparator(text);
  return text.at;
}

TEST(SkipSeparator, TakesBlanksOneCommaAndBlanks) {
  EXPECT_EQ(Skipped("  ,  x"), 5U);
  EXPECT_EQ(Skipped(",x"), 1U);
  EXPECT_EQ(Skipped("   x"), 3U);
  EXPECT_EQ(Skipped(",,x"), 1U);
  EXPECT_EQ(Skipped("x"), 0U);
  EXPECT_EQ(Skipped(" ,"), 2U);
  EXPECT_EQ(Skipped(""), 0U);
}

}  // namespace
}  // namespace tavindex::test
