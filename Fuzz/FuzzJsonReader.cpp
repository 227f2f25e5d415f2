// SPDX-License-Identifier: GPL-3.0-or-later
// Another JSON parser agrees on what is JSON, and on the values of numbers and texts.
#include <cmath>
#include <string>

#include <boost/json.hpp>

#include <QuorlKit/Foundation/Check.h>
#include <QuorlKit/Foundation/JsonReader.h>
#include <QuorlKit/Foundation/JsonWriter.h>

using namespace quorl;

namespace {

boost::json::value parsedByPeer(std::string_view text, boost::json::error_code& error) {
  boost::json::parse_options options;
  options.max_depth = JsonReader::maxDepth;
  return boost::json::parse({text.data(), text.size()}, error, {}, options);
}

void compareText(ByteView json, const boost::json::string& expected) {
  JsonReader reader(json);
  std::string text;
  QUORL_CHECK(reader.readString(text) && reader.finish(), "a text can be read");
  QUORL_CHECK(text == std::string_view(expected.data(), expected.size()), "the texts agree");
  JsonWriter writer;
  writer.writeString(text);
  const Bytes written = writer.take();
  JsonReader again(written);
  std::string readBack;
  QUORL_CHECK(again.readString(readBack) && readBack == text, "a text reads back as itself");
}

void compareNumber(ByteView json, const boost::json::value& expected) {
  JsonReader reader(json);
  double number = 0;
  if (!reader.readDouble(number)) return;
  const double other = expected.to_number<double>();
  // The other parser rounds differently; only large differences are errors.
  QUORL_CHECK(
      number == other || std::abs(number - other) <= std::abs(number) * 1e-9 || std::abs(number) < 1e-300,
      "the numbers agree");
  JsonWriter writer;
  QUORL_CHECK(writer.writeDouble(number), "a number that was read is finite");
  const Bytes written = writer.take();
  JsonReader again(written);
  double readBack = 0;
  QUORL_CHECK(again.readDouble(readBack) && readBack == number, "a number reads back as itself");
  JsonReader whole(json);
  std::int64_t integer = 0;
  if (whole.readSigned(integer) && std::abs(number) < 0x1p53)
    QUORL_CHECK(static_cast<double>(integer) == number, "the whole number is the same number");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteView json(data, size);
  JsonReader reader(json);
  const bool isJson = reader.skipValue() && reader.finish();
  boost::json::error_code error;
  const boost::json::value expected = parsedByPeer(textViewOf(json), error);
  // The other parser rejects a number with an absurd exponent even if its value is not read.
  if (error == boost::json::error::exponent_overflow) return 0;
  QUORL_CHECK(isJson == !error, "both parsers agree on what is JSON");
  if (!isJson) return 0;
  if (expected.is_string()) compareText(json, expected.get_string());
  if (expected.is_number()) compareNumber(json, expected);
  return 0;
}
