// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/JsonWriter.h>

#include <limits>

#include <gtest/gtest.h>

namespace quorl {
namespace {

std::string written(double value) {
  JsonWriter writer;
  EXPECT_TRUE(writer.writeDouble(value));
  return textOf(writer.take());
}

std::string written(std::string_view text) {
  JsonWriter writer;
  writer.writeString(text);
  return textOf(writer.take());
}

void writeSample(JsonWriter& writer) {
  writer.beginObject();
  writer.key("list");
  writer.beginArray();
  writer.element();
  writer.writeSigned(-1);
  writer.element();
  writer.writeUnsigned(18446744073709551615U);
  writer.endArray();
  writer.key("none");
  writer.beginArray();
  writer.endArray();
  writer.key("nothing");
  writer.writeNull();
  writer.key("truth");
  writer.writeBool(true);
  writer.endObject();
}

TEST(JsonWriter, writesWithoutSpaceForTheWire) {
  JsonWriter writer;
  writeSample(writer);
  EXPECT_EQ(textOf(writer.take()),
            R"({"list":[-1,18446744073709551615],"none":[],"nothing":null,"truth":true})");
}

TEST(JsonWriter, indentsForFiles) {
  JsonWriter writer(JsonStyle::prettySorted);
  writeSample(writer);
  EXPECT_EQ(
      textOf(writer.take()),
      "{\n  \"list\" : [\n    -1,\n    18446744073709551615\n  ],\n  \"none\" : [],\n  \"nothing\" : null,\n"
      "  \"truth\" : true\n}");
}

TEST(JsonWriter, writesTheShortestTextOfANumber) {
  EXPECT_EQ(written(0.5), "0.5");
  EXPECT_EQ(written(1180.0), "1180");
  EXPECT_EQ(written(0.1), "0.1");
  EXPECT_EQ(written(-0.0), "-0");
  EXPECT_EQ(written(1e22), "1e+22");
  EXPECT_EQ(written(std::numeric_limits<double>::denorm_min()), "5e-324");
}

TEST(JsonWriter, refusesNumbersThatAreNotFinite) {
  JsonWriter writer;
  EXPECT_FALSE(writer.writeDouble(std::numeric_limits<double>::infinity()));
  EXPECT_FALSE(writer.writeDouble(std::numeric_limits<double>::quiet_NaN()));
  EXPECT_TRUE(writer.take().empty());
}

TEST(JsonWriter, escapesQuotesBackslashesAndControlCharacters) {
  EXPECT_EQ(written("a\"b\\c/d"), R"("a\"b\\c/d")");
  EXPECT_EQ(written(std::string_view("\0\n\x1F\x7F", 4)), "\"\\u0000\\u000a\\u001f\x7F\"");
  EXPECT_EQ(written("é\U0001F600"), "\"é\U0001F600\"");
}

TEST(JsonWriter, replacesEveryByteThatIsNotUTF8) {
  EXPECT_EQ(written("\xFFx\xC3"), "\"\xEF\xBF\xBDx\xEF\xBF\xBD\"");
  EXPECT_EQ(written("\xED\xA0\x80"), "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\"");
}

TEST(JsonWriter, keepsItsContentWhenItGrows) {
  std::string text;
  for (int index = 0; index < 5000; ++index) text += static_cast<char>('a' + index % 26);
  JsonWriter writer;
  writer.beginArray();
  for (int index = 0; index < 20; ++index) {
    writer.element();
    writer.writeString(text);
  }
  writer.endArray();
  EXPECT_EQ(writer.take().size(), 2 + 20 * 5002 + 19U);
}

}  // namespace
}  // namespace quorl
