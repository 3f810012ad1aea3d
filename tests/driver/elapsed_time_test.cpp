#include "driver/elapsed_time.h"

#include <gtest/gtest.h>

#include <string>

#include "support/environment_guard.h"

namespace tavindex::test {
namespace {

std::string Elapsed(std::int64_t seconds) {
  ClockText text;
  text.fill('?');
  FormatElapsed(seconds, text);
  EXPECT_EQ(text[8], '\0');
  return text.data();
}

TEST(FormatElapsed, WritesHoursMinutesAndSeconds) {
  EXPECT_EQ(Elapsed(0), "00:00:00");
  EXPECT_EQ(Elapsed(4), "00:00:04");
  EXPECT_EQ(Elapsed(59), "00:00:59");
  EXPECT_EQ(Elapsed(60), "00:01:00");
  EXPECT_EQ(Elapsed(3599), "00:59:59");
  EXPECT_EQ(Elapsed(3600), "01:00:00");
  EXPECT_EQ(Elapsed(45296), "12:34:56");
  EXPECT_EQ(Elapsed(359999), "99:59:59");
}

TEST(FormatElapsed, HasAWrongFirstCharacterFrom100HoursOn) {
  EXPECT_EQ(Elapsed(360000), ":0:00:00");           // 10 | '0' is ':'
  EXPECT_EQ(Elapsed(123 * 3600 + 61), "<3:01:01");  // 12 | '0' is '<'
  EXPECT_EQ(Elapsed(160 * 3600), "00:00:00");       // 16 | '0' is '0' again
}

TEST(ClockTime, IsTheLocalTimeOfDay) {
  EnvironmentGuard environment;
  environment.Set("TZ", "UTC0");
  ::tzset();
  EXPECT_STREQ(ClockTime(0).data(), "00:00:00");
  EXPECT_STREQ(ClockTime(86400 * 365 + 45296).data(), "12:34:56");
  environment.Set("TZ", "ABC-2");
  ::tzset();
  EXPECT_STREQ(ClockTime(45296).data(), "14:34:56");
}

}  // namespace
}  // namespace tavindex::test
