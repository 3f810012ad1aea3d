#include "names/line_fields.h"

#include <gtest/gtest.h>

#include <string>

namespace tavindex::test {
namespace {

LineFields Find(std::string_view line) {
  LineFields fields;
  EXPECT_TRUE(FindLineFields(line, fields)) << line;
  return fields;
}

TEST(FindLineFields, FindsBothFields) {
  const LineFields fields = Find("data,isi,l4 -1-3");
  EXPECT_EQ(fields.firstEnd, 4U);
  EXPECT_TRUE(fields.hasSecond);
  EXPECT_EQ(fields.secondStart, 5U);
  EXPECT_EQ(fields.secondEnd, 8U);
  EXPECT_TRUE(fields.hasOptions);
}

TEST(FindLineFields, MissesASecondFieldBeforeTheOptions) {
  for (const char* line : {"t -1-3", "t,-1-3", "t;1-3", "t , -1,2"}) {
    const LineFields fields = Find(line);
    EXPECT_EQ(fields.firstEnd, 1U) << line;
    EXPECT_FALSE(fields.hasSecond) << line;
    EXPECT_TRUE(fields.hasOptions) << line;
  }
}

TEST(FindLineFields, FindsAnEmptySecondField) {
  const LineFields fields = Find("t,,l4 -1");
  EXPECT_TRUE(fields.hasSecond);
  EXPECT_EQ(fields.secondStart, 2U);
  EXPECT_EQ(fields.secondEnd, 2U);
}

TEST(FindLineFields, TakesQuotesAndBlanks) {
  const LineFields fields = Find("\"a,b\"  ,  \"c;d\" -1");
  EXPECT_EQ(fields.firstEnd, 5U);
  EXPECT_EQ(fields.secondStart, 10U);
  EXPECT_EQ(fields.secondEnd, 15U);
  EXPECT_TRUE(fields.hasOptions);
}

TEST(FindLineFields, TakesCommasBetweenKeysForNoFields) {
  const LineFields fields = Find("a,b -1-3,4,5");
  EXPECT_EQ(fields.secondEnd, 3U);
}

TEST(FindLineFields, TellsWhetherOptionsFollow) {
  EXPECT_FALSE(Find("data").hasOptions);
  EXPECT_FALSE(Find("my-data,my-isi").hasOptions);
  EXPECT_TRUE(Find("data,isi;1").hasOptions);
}

TEST(FindLineFields, FailsForNamesThatAreNotWellFormed) {
  LineFields fields;
  for (const std::string& line :
       {std::string("\"data -1"), std::string("da*ta -1"), std::string("a,i?i -1"),
        std::string(251, 'n') + " -1", std::string("   ")}) {
    EXPECT_FALSE(FindLineFields(line, fields)) << line;
  }
}

}  // namespace
}  // namespace tavindex::test
