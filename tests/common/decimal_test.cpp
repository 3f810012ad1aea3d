#include "common/decimal.h"

#include <gtest/gtest.h>

namespace tavindex::test {
namespace {

TEST(ReadDecimal, EndsAtTheFirstOtherCharacter) {
  const Decimal number = ReadDecimal("1048576x9");
  EXPECT_EQ(number.value, 1048576U);
  EXPECT_EQ(number.digits, 7U);
}

TEST(ReadDecimal, TakesNothingWhereNoDigitStands) {
  for (const std::string_view text : {"", "x1", " 1", "-1", "+1"}) {
    EXPECT_EQ(ReadDecimal(text).value, 0U) << text;
    EXPECT_EQ(ReadDecimal(text).digits, 0U) << text;
  }
}

TEST(ReadDecimal, CountsLeadingZeros) {
  const Decimal number = ReadDecimal("00042");
  EXPECT_EQ(number.value, 42U);
  EXPECT_EQ(number.digits, 5U);
}

TEST(ReadDecimal, HoldsTheLargest32BitNumber) {
  EXPECT_EQ(ReadDecimal("4294967295").value, 4294967295U);
}

TEST(ReadDecimal, SaturatesInsteadOfWrapping) {
  EXPECT_EQ(ReadDecimal("4294967296").value, 4294967295U);
  const Decimal huge = ReadDecimal("99999999999999999999999999999999");
  EXPECT_EQ(huge.value, 4294967295U);
  EXPECT_EQ(huge.digits, 32U);
}

TEST(ReadSignedDecimal, TakesOneSign) {
  EXPECT_EQ(ReadSignedDecimal("57"), 57);
  EXPECT_EQ(ReadSignedDecimal("+57"), 57);
  EXPECT_EQ(ReadSignedDecimal("-57"), -57);
  EXPECT_EQ(ReadSignedDecimal("--57"), 0);
}

TEST(ReadSignedDecimal, IsZeroWithoutDigits) {
  for (const std::string_view text : {"", "-", "+", "k", " 5"}) {
    EXPECT_EQ(ReadSignedDecimal(text), 0) << text;
  }
}

TEST(ReadSignedDecimal, SaturatesOnBothSides) {
  EXPECT_EQ(ReadSignedDecimal("4294967295"), 4294967295);
  EXPECT_EQ(ReadSignedDecimal("4294967296"), 4294967295);
  EXPECT_EQ(ReadSignedDecimal("-2147483648"), -2147483648);
  EXPECT_EQ(ReadSignedDecimal("-2147483649"), -2147483648);
  EXPECT_EQ(ReadSignedDecimal("-99999999999"), -2147483648);
}

}  // namespace
}  // namespace tavindex::test
