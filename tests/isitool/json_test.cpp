#include "isitool/json.h"

#include <gtest/gtest.h>

#include <string>

#include "support/console_capture.h"

namespace tavindex::test {
namespace {

using namespace std::string_literals;

TEST(JsonText, KeepsUtf8) {
  EXPECT_EQ(JsonText("plain"), "\"plain\"");
  EXPECT_EQ(JsonText("M\xC3\xBCller"), "\"M\xC3\xBCller\"");
  EXPECT_EQ(JsonText(""), "\"\"");
}

TEST(JsonText, EscapesWhatJsonMust) {
  EXPECT_EQ(JsonText("say \"a\\b\""), "\"say \\\"a\\\\b\\\"\"");
  EXPECT_EQ(JsonText("\0\n\x1F"s), "\"\\u0000\\u000A\\u001F\"");
}

TEST(JsonText, EscapesBytesThatAreNoUtf8) {
  EXPECT_EQ(JsonText("M\xFCller"), "\"M\\u00FCller\"");
  EXPECT_EQ(JsonText("\xC3"), "\"\\u00C3\"");
  EXPECT_EQ(JsonText("\xED\xA0\x80"), "\"\\u00ED\\u00A0\\u0080\"");
}

TEST(Json, PutsCommasWhereTheyBelong) {
  const ConsoleCapture out;
  Json json(out.Stream());
  json.BeginObject();
  json.TextMember("a", "x");
  json.NumberMember("b", 18446744073709551615U);
  json.Name("c");
  json.BeginArray();
  json.Number(1);
  json.BeginObject();
  json.EndObject();
  json.Text("t");
  json.BeginArray();
  json.EndArray();
  json.EndArray();
  json.BoolMember("d", true);
  json.NullMember("e");
  json.EndObject();
  json.EndLine();
  json.BeginObject();
  json.BoolMember("f", false);
  json.EndObject();
  EXPECT_EQ(out.Text(),
            "{\"a\":\"x\",\"b\":18446744073709551615,\"c\":[1,{},\"t\",[]],\"d\":true,\"e\":null}\n"
            "{\"f\":false}");
}

}  // namespace
}  // namespace tavindex::test
