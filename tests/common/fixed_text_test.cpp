#include "common/fixed_text.h"

#include <gtest/gtest.h>

#include <string>

namespace tavindex::test {
namespace {

TEST(FixedText, HoldsOneCharacterLessThanItsSize) {
  FixedText<5> text;
  EXPECT_TRUE(text.Assign("abcd"));
  EXPECT_EQ(text.View(), "abcd");
  EXPECT_STREQ(text.CStr(), "abcd");
}

TEST(FixedText, CutsAndSaysSo) {
  FixedText<5> text;
  EXPECT_FALSE(text.Assign("abcde"));
  EXPECT_STREQ(text.CStr(), "abcd");
  EXPECT_FALSE(text.Append('x'));
  EXPECT_EQ(text.View(), "abcd");
}

TEST(FixedText, AppendsUpToItsCapacity) {
  FixedText<5> text;
  EXPECT_TRUE(text.Append("ab"));
  EXPECT_TRUE(text.Append('c'));
  EXPECT_FALSE(text.Append("de"));
  EXPECT_EQ(text.View(), "abcd");
}

TEST(FixedText, AppendsNothingWhenFull) {
  FixedText<3> text;
  EXPECT_TRUE(text.Assign("ab"));
  EXPECT_TRUE(text.Append(""));
  EXPECT_EQ(text.Size(), 2U);
}

TEST(FixedText, AssignsAPartOfItself) {
  FixedText<16> text;
  text.Assign("directory/base");
  EXPECT_TRUE(text.Assign(text.View().substr(10)));
  EXPECT_STREQ(text.CStr(), "base");
}

TEST(FixedText, TruncatesAndTerminates) {
  FixedText<16> text;
  text.Assign("CUST:DATA");
  text.Truncate(4);
  EXPECT_STREQ(text.CStr(), "CUST");
  text.Truncate(9);
  EXPECT_EQ(text.View(), "CUST");
  text.Clear();
  EXPECT_TRUE(text.Empty());
  EXPECT_STREQ(text.CStr(), "");
}

TEST(FixedText, CopiesAreIndependent) {
  FixedText<8> first;
  first.Assign("one");
  FixedText<8> second = first;
  first.Assign("two");
  EXPECT_EQ(second.View(), "one");
}

}  // namespace
}  // namespace tavindex::test
