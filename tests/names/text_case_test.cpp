#include "names/text_case.h"

#include <gtest/gtest.h>

#include <string>

namespace tavindex::test {
namespace {

TEST(UpperChar, FoldsOnlyTheLetters) {
  EXPECT_EQ(UpperChar('a'), 'A');
  EXPECT_EQ(UpperChar('z'), 'Z');
  for (const char c : {'A', 'Z', '`', '{', '0', '\xE4', '\0'}) EXPECT_EQ(UpperChar(c), c);
}

TEST(CompareNoCase, FindsEqualTextsInAnyCase) {
  EXPECT_EQ(CompareNoCase("Mixed", "mIXED"), 0);
  EXPECT_EQ(CompareNoCase("", ""), 0);
}

TEST(CompareNoCase, GivesTheDifferenceOfTheFirstDifferentCharacters) {
  EXPECT_EQ(CompareNoCase("abc", "ABE"), 'C' - 'E');
  EXPECT_EQ(CompareNoCase("b", "A"), 1);
  EXPECT_EQ(CompareNoCase("a[", "Ab"), '[' - 'B');
}

TEST(CompareNoCase, TakesAMissingCharacterAsZero) {
  EXPECT_EQ(CompareNoCase("ab", "a"), 'B');
  EXPECT_EQ(CompareNoCase("a", "ab"), -'B');
}

TEST(LowerName, FoldsInPlace) {
  std::string name = "/Data/Cust.TXT_[@Z";
  LowerName(name);
  EXPECT_EQ(name, "/data/cust.txt_[@z");
}

}  // namespace
}  // namespace tavindex::test
