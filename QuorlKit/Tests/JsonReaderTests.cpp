// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/JsonReader.h>

#include <cmath>
#include <limits>
#include <optional>

#include <gtest/gtest.h>

namespace quorl {
namespace {

std::optional<double> doubleOf(std::string_view json) {
  JsonReader reader(viewOf(json));
  double value = 0;
  if (!reader.readDouble(value) || !reader.finish()) return std::nullopt;
  return value;
}

std::optional<std::string> textOfJson(std::string_view json) {
  JsonReader reader(viewOf(json));
  std::string value;
  if (!reader.readString(value) || !reader.finish()) return std::nullopt;
  return value;
}

bool isValid(std::string_view json) {
  JsonReader reader(viewOf(json));
  return reader.skipValue() && reader.finish();
}

TEST(JsonReader, readsNumbersAsDoubles) {
  EXPECT_EQ(doubleOf("0"), 0.0);
  EXPECT_EQ(doubleOf("-12.5e2"), -1250.0);
  EXPECT_EQ(doubleOf("5E-1"), 0.5);
  EXPECT_EQ(doubleOf("1.7976931348623157e308"), std::numeric_limits<double>::max());
  EXPECT_EQ(doubleOf("5e-324"), std::numeric_limits<double>::denorm_min());
  EXPECT_TRUE(std::signbit(*doubleOf("-0")));
  EXPECT_TRUE(std::signbit(*doubleOf("-0.0")));
}

TEST(JsonReader, refusesANumberTooLargeForADouble) {
  EXPECT_EQ(doubleOf("1e400"), std::nullopt);
  EXPECT_EQ(doubleOf("-1e400"), std::nullopt);
  EXPECT_EQ(doubleOf("1e99999999999999999999"), std::nullopt);
  EXPECT_EQ(doubleOf(std::string(400, '9')), std::nullopt);
  EXPECT_EQ(doubleOf("0.0001e500"), std::nullopt);
  EXPECT_EQ(doubleOf(std::string(400, '9') + "e-50"), std::nullopt);
}

TEST(JsonReader, readsANumberTooSmallForADoubleAsZero) {
  EXPECT_EQ(doubleOf("1e-400"), 0.0);
  EXPECT_EQ(doubleOf("1e-99999999999999999999"), 0.0);
  EXPECT_TRUE(std::signbit(*doubleOf("-1e-400")));
  EXPECT_EQ(doubleOf("0." + std::string(400, '0') + "1"), 0.0);
  EXPECT_EQ(doubleOf("123456e-450"), 0.0);
  EXPECT_EQ(doubleOf("0e999999999999"), 0.0);
}

TEST(JsonReader, readsManyDigitsWithANegativeExponent) {
  EXPECT_EQ(doubleOf(std::string(400, '1') + "e-399"), 1.1111111111111112);
}

TEST(JsonReader, acceptsEveryKindOfValue) {
  for (const std::string_view json : {"{}", "[]", "[[],{}]", "\"\"", "null", "true", "false", "0", "-0.1E+2",
                                      " \t\r\n1 ", R"({"a":{"b":[1,"c"]}})"})
    EXPECT_TRUE(isValid(json)) << json;
}

TEST(JsonReader, rejectsInvalidJSON) {
  for (const std::string_view json : {"",
                                      "{",
                                      "[",
                                      "]",
                                      "}",
                                      "[1,]",
                                      "[,1]",
                                      "[1 2]",
                                      "{\"a\"}",
                                      "{\"a\":}",
                                      "{,}",
                                      "{1:2}",
                                      "nul",
                                      "nulL",
                                      "tru",
                                      "True",
                                      "01",
                                      "-",
                                      "1.",
                                      ".5",
                                      "1e",
                                      "1e+",
                                      "--1",
                                      "+1",
                                      "NaN",
                                      "Infinity",
                                      "'a'",
                                      "\"",
                                      "\"\\",
                                      "\"\\u",
                                      "\"\\u00",
                                      "\"\\q\"",
                                      "[1]]",
                                      "1 1",
                                      "\xEF\xBB\xBF"
                                      "1",
                                      "[1}",
                                      "{\"a\":1]",
                                      "/**/1"})
    EXPECT_FALSE(isValid(json)) << json;
}

TEST(JsonReader, readsAllEscapes) {
  EXPECT_EQ(textOfJson(R"("\"\\\/\b\f\n\r\t\u00e9\u20AC\u0000x")"), std::string("\"\\/\b\f\n\r\té€\0x", 15));
}

TEST(JsonReader, findsSpecialBytesAtEveryPositionOfALongText) {
  for (std::size_t place = 0; place < 40; ++place) {
    std::string plain(40, 'a');
    EXPECT_EQ(textOfJson("\"" + plain + "\""), plain);
    std::string text = plain;
    text[place] = '\x1F';
    EXPECT_EQ(textOfJson("\"" + text + "\""), std::nullopt);
    text[place] = '\xFF';
    EXPECT_EQ(textOfJson("\"" + text + "\""), std::nullopt);
    text[place] = '"';
    EXPECT_EQ(textOfJson("\"" + text + "\""), std::nullopt);
    text = plain;
    text.replace(place, 1, "\\n");
    plain[place] = '\n';
    EXPECT_EQ(textOfJson("\"" + text + "\""), plain);
  }
}

TEST(JsonReader, keepsTheFirstCauseOfAFailure) {
  JsonReader reader(viewOf("[1"));
  ASSERT_TRUE(reader.beginArray());
  std::string text;
  EXPECT_FALSE(reader.readString(text));
  EXPECT_EQ(reader.error(), "expected text");
  EXPECT_FALSE(reader.finish());
  EXPECT_EQ(reader.error(), "expected text");
}

TEST(JsonReader, forgetsAFailureOnRewind) {
  JsonReader reader(viewOf("[1]"));
  const auto start = reader.mark();
  EXPECT_FALSE(reader.beginObject());
  reader.rewind(start);
  EXPECT_FALSE(reader.hasFailed());
  EXPECT_TRUE(reader.skipValue());
  EXPECT_TRUE(reader.finish());
}

TEST(JsonReader, refusesNestingBeyondItsLimit) {
  const auto nested = [](std::size_t levels) { return std::string(levels, '[') + std::string(levels, ']'); };
  EXPECT_TRUE(isValid(nested(JsonReader::maxDepth)));
  EXPECT_FALSE(isValid(nested(JsonReader::maxDepth + 1)));
}

}  // namespace
}  // namespace quorl
