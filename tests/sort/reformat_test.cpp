#include "sort/reformat.h"

#include "sort_test.h"

namespace tavindex::test {
namespace {

class ParseReformatTest : public SortTest {
 protected:
  // The list in one line: "start+length" for columns, the literal in brackets, then "=total".
  std::string Parse(std::string_view text, char terminator = '\0') {
    if (!ParseReformat(run, text, terminator)) return "refused";
    const ReformatList& list = run.keys.reformat;
    std::string line;
    for (std::uint32_t i = 0; i < list.count; ++i) {
      const ReformatItem& item = list.items[i];
      line += item.literal ? "[" + std::string(&list.literals[item.start], item.length) + "] "
                           : std::to_string(item.start) + "+" + std::to_string(item.length) + " ";
    }
    EXPECT_EQ(list.items[list.count].start, 65535U);
    EXPECT_EQ(list.items[list.count].length, 0U);
    return line + "=" + std::to_string(list.outputLength);
  }
};

TEST_F(ParseReformatTest, TakesColumnsAndRanges) {
  EXPECT_EQ(Parse("5,1-3,7-7"), "4+1 0+3 6+1 =5");
  EXPECT_EQ(run.keys.reformat.highestColumn, 7U);
}

TEST_F(ParseReformatTest, TakesLiterals) {
  EXPECT_EQ(Parse("'ab',1,'it''s','  '"), "[ab] 0+1 [it's] [  ] =9");
}

TEST_F(ParseReformatTest, SkipsBlanks) { EXPECT_EQ(Parse(" 5 , 1 - 3 , 'x' "), "4+1 0+3 [x] =5"); }

TEST_F(ParseReformatTest, StopsAtTheTerminator) {
  EXPECT_EQ(Parse("1-2;rest, that 'is not read", ';'), "0+2 =2");
}

TEST_F(ParseReformatTest, RefusesBadForms) {
  for (const char* text : {"", ",", "1,", "3-2", "0", "1-", "-3", "x", "'open", "1 2", "1;2",
                           "'a'b", "65535", "99999999999"}) {
    EXPECT_EQ(Parse(text), "refused") << text;
  }
}

TEST_F(ParseReformatTest, Takes254Items) {
  std::string text = "1";
  for (int i = 1; i < 254; ++i) text += ",1";
  EXPECT_NE(Parse(text), "refused");
  EXPECT_EQ(run.keys.reformat.count, 254U);
  EXPECT_EQ(Parse(text + ",1"), "refused");
}

TEST_F(ParseReformatTest, TakesLiteralsOf997BytesAltogether) {
  const std::string text = "'" + std::string(500, 'a') + "','" + std::string(497, 'b');
  EXPECT_NE(Parse(text + "'"), "refused");
  EXPECT_EQ(run.keys.reformat.outputLength, 997U);
  EXPECT_EQ(Parse(text + "c'"), "refused");
}

TEST_F(ParseReformatTest, Takes32766BytesOfOutput) {
  EXPECT_EQ(Parse("1-32766"), "0+32766 =32766");
  EXPECT_EQ(Parse("1-32767"), "refused");
  EXPECT_EQ(Parse("1-32765,'ab'"), "refused");
}

}  // namespace
}  // namespace tavindex::test
