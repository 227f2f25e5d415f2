// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/JsonWriter.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include <QuorlKit/Foundation/Base64.h>
#include <QuorlKit/Foundation/JsonText.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

constexpr std::size_t firstRoom = 512;
constexpr std::size_t longestNumber = 32;
// Whole numbers up to here are written as integers, several times faster than the search for the shortest
// decimal. A double holds all of them exactly.
constexpr double largestPlainInteger = 1e15;

}  // namespace

void JsonWriter::grow(std::size_t count) {
  buffer_.resize(std::max({firstRoom, buffer_.size() * 2, used_ + count}));
}

void JsonWriter::append(std::string_view text) {
  if (text.empty()) return;
  std::memcpy(room(text.size()), text.data(), text.size());
  used_ += text.size();
}

void JsonWriter::append(char character) {
  *room(1) = character;
  ++used_;
}

void JsonWriter::begin(char opening) {
  append(opening);
  isFirst_ = true;
  ++depth_;
}

void JsonWriter::end(char closing) {
  --depth_;
  if (!isFirst_) newLine();
  append(closing);
  isFirst_ = false;
}

void JsonWriter::newLine() {
  if (style_ == JsonStyle::compact) return;
  const std::size_t indent = 1 + depth_ * 2;
  char* const place = room(indent);
  place[0] = '\n';
  std::memset(place + 1, ' ', indent - 1);
  used_ += indent;
}

void JsonWriter::element() {
  if (!isFirst_) append(',');
  isFirst_ = false;
  newLine();
}

void JsonWriter::key(std::string_view name) {
  element();
  writeString(name);
  append(style_ == JsonStyle::compact ? ":" : " : ");
}

void JsonWriter::plainKey(std::string_view name) {
  element();
  const std::string_view separator = style_ == JsonStyle::compact ? "\":" : "\" : ";
  const std::size_t length = 1 + name.size() + separator.size();
  char* const place = room(length);
  place[0] = '"';
  std::memcpy(place + 1, name.data(), name.size());
  std::memcpy(place + 1 + name.size(), separator.data(), separator.size());
  used_ += length;
}

void JsonWriter::writeNull() {
  append("null");
}

void JsonWriter::writeBool(bool value) {
  append(value ? "true" : "false");
}

void JsonWriter::writeSigned(std::int64_t value) {
  char* const place = room(longestNumber);
  used_ += static_cast<std::size_t>(std::to_chars(place, place + longestNumber, value).ptr - place);
}

void JsonWriter::writeUnsigned(std::uint64_t value) {
  char* const place = room(longestNumber);
  used_ += static_cast<std::size_t>(std::to_chars(place, place + longestNumber, value).ptr - place);
}

bool JsonWriter::writeDouble(double value) {
  if (!std::isfinite(value)) return false;
  if (std::abs(value) < largestPlainInteger && std::trunc(value) == value &&
      !(value == 0 && std::signbit(value))) {
    writeSigned(static_cast<std::int64_t>(value));
    return true;
  }
  char* const place = room(longestNumber);
  used_ += static_cast<std::size_t>(std::to_chars(place, place + longestNumber, value).ptr - place);
  return true;
}

void JsonWriter::writeString(std::string_view text) {
  char* const place = room(text.size() + 2);
  *place = '"';
  ++used_;
  appendEscaped(text);
  append('"');
}

void JsonWriter::appendEscaped(std::string_view text) {
  while (!text.empty()) {
    const char* const end = jsonText::plainEnd(text.data(), text.data() + text.size());
    const auto plain = static_cast<std::size_t>(end - text.data());
    append(text.substr(0, plain));
    text.remove_prefix(plain);
    if (text.empty()) return;
    const std::size_t length = utf8SequenceLength(text);
    if (length > 1) {
      append(text.substr(0, length));
    } else if (length == 0) {
      append("\xEF\xBF\xBD");
    } else if (text.front() == '"' || text.front() == '\\') {
      append('\\');
      append(text.front());
    } else {
      constexpr std::string_view digits = "0123456789abcdef";
      const auto byte = static_cast<std::uint8_t>(text.front());
      append("\\u00");
      append(digits[byte >> 4]);
      append(digits[byte & 0xF]);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
}

void JsonWriter::writeBase64(ByteView data) {
  const std::size_t length = base64Length(data.size());
  char* const place = room(length + 2);
  place[0] = '"';
  base64Write(data, place + 1);
  place[length + 1] = '"';
  used_ += length + 2;
}

Bytes JsonWriter::take() {
  buffer_.resize(used_);
  used_ = 0;
  isFirst_ = true;
  depth_ = 0;
  return std::move(buffer_);
}

}  // namespace quorl
