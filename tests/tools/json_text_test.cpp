#include "tools/json_text.h"

#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/json_object.h"

namespace vantor::tools {
namespace {

std::string Quoted(const WideString& text) {
  Buffer out;
  AppendJsonString(out, text);
  return fmt::to_string(out);
}

std::string Real(double value) {
  Buffer out;
  AppendReal(out, value);
  return fmt::to_string(out);
}

TEST(JsonText, EscapesQuotesBackslashesAndControlCharacters) {
  Buffer out;
  AppendJsonString(out, std::string_view("a\"b\\c\n\x01\x7f", 8));
  EXPECT_EQ(fmt::to_string(out), R"("a\"b\\c\u000a\u0001\u007f")");
}

TEST(JsonText, KeepsTextOfEveryPlane) {
  const WideString text = OLESTR("\u00e9\u4e16\U0001F600");
  EXPECT_EQ(Quoted(text), "\"\xc3\xa9\xe4\xb8\x96\xf0\x9f\x98\x80\"");
}

TEST(JsonText, EveryWideCharacterAloneGivesValidJson) {
  for (unsigned unit = 1; unit <= 0xFFFF; ++unit) {
    const WideString text = {static_cast<WCHAR>('a'), static_cast<WCHAR>(unit), static_cast<WCHAR>('b')};
    ASSERT_TRUE(nlohmann::json::accept(Quoted(text))) << unit;
  }
}

TEST(JsonText, ALoneSurrogateBecomesTheReplacementCharacter) {
  EXPECT_EQ(Quoted({static_cast<WCHAR>(0xD800)}), "\"\xef\xbf\xbd\"");
}

TEST(JsonText, RealsReadBackAndAlwaysLookLikeReals) {
  EXPECT_EQ(Real(1.0), "1.0");
  EXPECT_EQ(Real(-2.0), "-2.0");
  EXPECT_EQ(Real(0.1), "0.1");
  EXPECT_EQ(nlohmann::json::parse(Real(1e300)).get<double>(), 1e300);
  EXPECT_EQ(nlohmann::json::parse(Real(1.0 / 3)).get<double>(), 1.0 / 3);
}

TEST(JsonText, NumbersThatJsonHasNotGotAreNull) {
  EXPECT_EQ(Real(std::numeric_limits<double>::infinity()), "null");
  EXPECT_EQ(Real(std::numeric_limits<double>::quiet_NaN()), "null");
}

TEST(JsonText, BytesAreLowerCaseHexadecimal) {
  Buffer out;
  const unsigned char bytes[] = {0x00, 0x0A, 0xFF};
  AppendHex(out, bytes, sizeof bytes);
  EXPECT_EQ(fmt::to_string(out), "000aff");
}

std::string Written(std::size_t depth) {
  Buffer out;
  JsonObject object(out, depth);
  object.Value("a", 1);
  object.Null("b");
  object.TextOrNull("c", "");
  object.Text("d", "\xff\n");
  object.Object("e", [](JsonObject& below) { below.Values("f", std::vector<int>{2, 3}); });
  object.Objects("g", std::vector<int>{7}, [](JsonObject& below, int item) { below.Value("h", item); });
  object.Objects("i", std::vector<int>(), [](JsonObject&, int) {});
  object.Close();
  return fmt::to_string(out);
}

TEST(JsonText, AnObjectStandsOnOneLineOrOnSeveral) {
  EXPECT_EQ(Written(JsonObject::kOneLine),
            "{\"a\":1,\"b\":null,\"c\":null,\"d\":\"\xEF\xBF\xBD\\u000a\",\"e\":{\"f\":[2,3]},"
            "\"g\":[{\"h\":7}],\"i\":[]}");
  EXPECT_EQ(Written(0),
            "{\n  \"a\": 1,\n  \"b\": null,\n  \"c\": null,\n  \"d\": \"\xEF\xBF\xBD\\u000a\",\n  \"e\": {\n"
            "    \"f\": [\n      2,\n      3\n    ]\n  },\n  \"g\": [\n    {\n      \"h\": 7\n    }\n  ],\n"
            "  \"i\": []\n}");
}

TEST(JsonText, ResultsHaveEightDigits) {
  EXPECT_EQ(ResultText(S_OK), "0x00000000");
  EXPECT_EQ(ResultText(E_FAIL), "0x80004005");
}

}  // namespace
}  // namespace vantor::tools
