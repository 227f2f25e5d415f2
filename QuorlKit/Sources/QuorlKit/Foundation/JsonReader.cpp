// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/JsonReader.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <optional>

#include <QuorlKit/Foundation/JsonText.h>
#include <QuorlKit/Foundation/SecretText.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// The common case: few digits, no exponent. Whole part and fraction form an integer that a double holds
// exactly, as it does the power of ten; one division of exact values rounds once and so correctly.
std::optional<double> simpleDecimal(std::string_view text) {
  constexpr std::size_t longest = 16;
  constexpr std::array<double, longest> powersOfTen{1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                    1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  const bool isNegative = text.front() == '-';
  if (isNegative) text.remove_prefix(1);
  if (text.size() > longest) return std::nullopt;
  std::int64_t digits = 0;
  std::size_t decimals = 0;
  bool isFraction = false;
  for (const char c : text) {
    if (c == '.') {
      isFraction = true;
      continue;
    }
    if (!isDigit(c)) return std::nullopt;
    digits = digits * 10 + (c - '0');
    decimals += isFraction ? 1 : 0;
  }
  if (digits >= std::int64_t{1} << 53) return std::nullopt;
  const double value = static_cast<double>(digits) / powersOfTen[decimals];
  return isNegative ? -value : value;
}

// Whether a number outside the range of double is too small and not too large. `text` is a valid number with
// a digit other than 0.
bool isBelowOne(std::string_view text) {
  std::int64_t exponent = 0;
  const std::size_t e = text.find_first_of("eE");
  if (e != std::string_view::npos) {
    const bool isNegative = text[e + 1] == '-';
    for (const char c : text.substr(e + 1))
      if (isDigit(c) && exponent < 1'000'000'000'000) exponent = exponent * 10 + (c - '0');
    if (isNegative) exponent = -exponent;
  }
  const std::string_view mantissa = text.substr(0, e);
  const std::size_t firstDigit = mantissa.find_first_of("123456789");
  std::size_t point = mantissa.find('.');
  if (point == std::string_view::npos) point = mantissa.size();
  return static_cast<std::int64_t>(point) - static_cast<std::int64_t>(firstDigit) + exponent <= 0;
}

}  // namespace

JsonReader::JsonReader(ByteView json, Values values)
    : position_(reinterpret_cast<const char*>(json.data())), end_(position_ + json.size()), values_(values) {}

bool JsonReader::fail(std::string_view text) {
  if (!failed_) error_ = text;
  failed_ = true;
  return false;
}

bool JsonReader::failAtByte() {
  return fail(position_ == end_ ? "unexpected end of JSON" : "malformed JSON");
}

void JsonReader::rewind(Mark mark) {
  position_ = mark.position;
  depth_ = mark.depth;
  failed_ = false;
  error_.clear();
}

void JsonReader::skipSpace() {
  while (position_ != end_ &&
         (*position_ == ' ' || *position_ == '\n' || *position_ == '\t' || *position_ == '\r'))
    ++position_;
}

bool JsonReader::consume(char expected) {
  skipSpace();
  if (position_ == end_ || *position_ != expected) return false;
  ++position_;
  return true;
}

bool JsonReader::consumeWord(std::string_view word) {
  if (static_cast<std::size_t>(end_ - position_) < word.size()) return false;
  if (std::memcmp(position_, word.data(), word.size()) != 0) return false;
  position_ += word.size();
  return true;
}

JsonReader::Kind JsonReader::peek() {
  skipSpace();
  if (failed_ || position_ == end_) return Kind::nothing;
  switch (*position_) {
    case '{':
      return Kind::object;
    case '[':
      return Kind::array;
    case '"':
      return Kind::string;
    case 't':
    case 'f':
      return Kind::boolean;
    case 'n':
      return Kind::null;
    default:
      return *position_ == '-' || isDigit(*position_) ? Kind::number : Kind::nothing;
  }
}

bool JsonReader::enter(char opening) {
  if (failed_) return false;
  if (!consume(opening)) {
    if (peek() == Kind::nothing) return failAtByte();
    return fail(opening == '{' ? "expected an object" : "expected an array");
  }
  if (depth_ == maxDepth) return fail("JSON is nested too deeply");
  ++depth_;
  return true;
}

bool JsonReader::beginObject() {
  return enter('{');
}

bool JsonReader::beginArray() {
  return enter('[');
}

JsonReader::Step JsonReader::nextItem(Walk& walk, char closing) {
  if (failed_) return Step::failed;
  if (consume(closing)) {
    --depth_;
    return Step::end;
  }
  if (!walk.isFirst && !consume(',')) {
    failAtByte();
    return Step::failed;
  }
  walk.isFirst = false;
  return Step::item;
}

bool JsonReader::consumeExpectedKey(std::string_view expected) {
  skipSpace();
  const std::size_t length = expected.size();
  if (expected.empty() || static_cast<std::size_t>(end_ - position_) < length + 2) return false;
  if (position_[0] != '"' || position_[length + 1] != '"') return false;
  if (std::memcmp(position_ + 1, expected.data(), length) != 0) return false;
  position_ += length + 2;
  return true;
}

JsonReader::Step JsonReader::nextKey(Walk& walk, std::string_view& key, std::string_view expected) {
  const Step step = nextItem(walk, '}');
  if (step != Step::item) return step;
  if (consumeExpectedKey(expected)) {
    key = expected;
  } else if (!readStringView(key)) {
    return Step::failed;
  }
  if (consume(':')) return Step::item;
  failAtByte();
  return Step::failed;
}

JsonReader::Step JsonReader::nextElement(Walk& walk) {
  return nextItem(walk, ']');
}

bool JsonReader::readNull() {
  if (peek() == Kind::null && consumeWord("null")) return true;
  return fail("expected null");
}

bool JsonReader::readBool(bool& value) {
  if (peek() != Kind::boolean) return fail("expected a Boolean");
  value = *position_ == 't';
  return consumeWord(value ? "true" : "false") || failAtByte();
}

bool JsonReader::scanNumber(Number& number) {
  if (peek() != Kind::number) return fail("expected a number");
  const char* const start = position_;
  const auto digits = [this] {
    const char* const first = position_;
    while (position_ != end_ && isDigit(*position_)) ++position_;
    return position_ != first;
  };
  if (*position_ == '-') ++position_;
  if (position_ != end_ && *position_ == '0') {
    ++position_;
    if (position_ != end_ && isDigit(*position_)) return failAtByte();
  } else if (!digits()) {
    return failAtByte();
  }
  if (position_ != end_ && *position_ == '.') {
    number.isWhole = false;
    ++position_;
    if (!digits()) return failAtByte();
  }
  if (position_ != end_ && (*position_ == 'e' || *position_ == 'E')) {
    number.isWhole = false;
    ++position_;
    if (position_ != end_ && (*position_ == '+' || *position_ == '-')) ++position_;
    if (!digits()) return failAtByte();
  }
  number.text = {start, static_cast<std::size_t>(position_ - start)};
  return true;
}

bool JsonReader::toDouble(const Number& number, double& value) {
  if (const auto simple = simpleDecimal(number.text)) {
    value = *simple;
    return true;
  }
  const char* const last = number.text.data() + number.text.size();
  const auto [end, code] = std::from_chars(number.text.data(), last, value);
  if (code == std::errc()) return std::isfinite(value) || fail("number out of range");
  if (!isBelowOne(number.text)) return fail("number out of range");
  value = number.text.front() == '-' ? -0.0 : 0.0;
  return true;
}

bool JsonReader::readDouble(double& value) {
  Number number;
  return scanNumber(number) && toDouble(number, value);
}

bool JsonReader::wholeDouble(const Number& number, double& value) {
  if (!toDouble(number, value)) return false;
  return std::trunc(value) == value || fail("expected a whole number");
}

bool JsonReader::readSigned(std::int64_t& value) {
  Number number;
  if (!scanNumber(number)) return false;
  if (number.isWhole) {
    const char* const last = number.text.data() + number.text.size();
    return std::from_chars(number.text.data(), last, value).ec == std::errc() || fail("number out of range");
  }
  double wide = 0;
  if (!wholeDouble(number, wide)) return false;
  if (!(wide >= -0x1p63 && wide < 0x1p63)) return fail("number out of range");
  value = static_cast<std::int64_t>(wide);
  return true;
}

bool JsonReader::readUnsigned(std::uint64_t& value) {
  Number number;
  if (!scanNumber(number)) return false;
  if (number.text == "-0") number.text.remove_prefix(1);
  if (number.isWhole) {
    const char* const last = number.text.data() + number.text.size();
    return std::from_chars(number.text.data(), last, value).ec == std::errc() || fail("number out of range");
  }
  double wide = 0;
  if (!wholeDouble(number, wide)) return false;
  if (!(wide >= 0 && wide < 0x1p64)) return fail("number out of range");
  value = static_cast<std::uint64_t>(wide);
  return true;
}

void JsonReader::scanPlain() {
  position_ = jsonText::plainEnd(position_, end_);
}

bool JsonReader::readString(std::string& value) {
  std::string_view text;
  if (!readStringView(text)) return false;
  value.assign(text);
  return true;
}

void JsonReader::wipeScratch() {
  overwrite(scratch_);
  scratch_.clear();
}

// A string without escapes is a piece of the input; the first escape moves the work to `scratch_`.
bool JsonReader::readStringView(std::string_view& value) {
  if (failed_) return false;
  if (!consume('"')) return peek() == Kind::nothing ? failAtByte() : fail("expected text");
  const char* const start = position_;
  for (;;) {
    scanPlain();
    if (position_ == end_) return failAtByte();
    if (*position_ == '"') {
      value = {start, static_cast<std::size_t>(position_ - start)};
      ++position_;
      return true;
    }
    if (*position_ == '\\') return unescape(value, start);
    const std::size_t length = utf8SequenceLength({position_, static_cast<std::size_t>(end_ - position_)});
    if (length < 2) return fail(length == 0 ? "text is not UTF-8" : "control character in text");
    position_ += length;
  }
}

bool JsonReader::unescape(std::string_view& value, const char* start) {
  // One allocation: growing could take up to three times the room. No escape is shorter than its character.
  scratch_.clear();
  scratch_.reserve(static_cast<std::size_t>(position_ - start) + restOfText());
  scratch_.append(start, position_);
  for (;;) {
    const char* const run = position_;
    scanPlain();
    scratch_.append(run, position_);
    if (position_ == end_) return failAtByte();
    if (*position_ == '"') {
      ++position_;
      value = scratch_;
      return true;
    }
    if (*position_ == '\\') {
      ++position_;
      if (!readEscape()) return false;
      continue;
    }
    const std::size_t length = utf8SequenceLength({position_, static_cast<std::size_t>(end_ - position_)});
    if (length < 2) return fail(length == 0 ? "text is not UTF-8" : "control character in text");
    scratch_.append(position_, length);
    position_ += length;
  }
}

// The number of bytes up to the closing quote, or to the end of the input.
std::size_t JsonReader::restOfText() const {
  const char* at = position_;
  while (at != end_ && *at != '"') {
    at += *at == '\\' && end_ - at > 1 ? 2 : 1;
    at = jsonText::plainEnd(at, end_);
  }
  return static_cast<std::size_t>(at - position_);
}

bool JsonReader::readEscape() {
  if (position_ == end_) return failAtByte();
  constexpr std::string_view letters = "\"\\/bfnrt";
  constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
  const char letter = *position_;
  if (const std::size_t known = letters.find(letter); known != std::string_view::npos) {
    scratch_ += meanings[known];
    ++position_;
    return true;
  }
  if (letter != 'u') return failAtByte();
  ++position_;
  std::uint32_t unit = 0;
  if (!readHex4(unit)) return false;
  if (unit < 0xD800 || unit > 0xDFFF) {
    appendUTF8(scratch_, unit);
    return true;
  }
  std::uint32_t low = 0;
  if (unit > 0xDBFF || !consumeWord("\\u")) return fail("unpaired surrogate in text");
  if (!readHex4(low)) return false;
  if (low < 0xDC00 || low > 0xDFFF) return fail("unpaired surrogate in text");
  appendUTF8(scratch_, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
  return true;
}

bool JsonReader::readHex4(std::uint32_t& unit) {
  if (end_ - position_ < 4) {
    position_ = end_;
    return failAtByte();
  }
  const auto [end, code] = std::from_chars(position_, position_ + 4, unit, 16);
  if (code != std::errc() || end != position_ + 4) return failAtByte();
  position_ += 4;
  return true;
}

bool JsonReader::skipValue() {
  std::array<bool, maxDepth> isObject{};
  std::array<Walk, maxDepth> walks{};
  const std::size_t floor = depth_;
  for (;;) {
    std::string_view text;
    Number number;
    bool truth = false;
    switch (peek()) {
      case Kind::object:
      case Kind::array: {
        const bool opensObject = *position_ == '{';
        if (!enter(*position_)) return false;
        isObject[depth_ - 1] = opensObject;
        walks[depth_ - 1] = {};
        break;
      }
      case Kind::string:
        if (!readStringView(text)) return false;
        break;
      case Kind::number:
        if (!scanNumber(number)) return false;
        break;
      case Kind::boolean:
        if (!readBool(truth)) return false;
        break;
      case Kind::null:
        if (!readNull()) return false;
        break;
      case Kind::nothing:
        return failAtByte();
    }
    // Continue with the next value of the innermost list that has one.
    Step step = Step::end;
    while (step == Step::end && depth_ > floor) {
      const std::size_t level = depth_ - 1;
      step = isObject[level] ? nextKey(walks[level], text) : nextElement(walks[level]);
    }
    if (step == Step::failed) return false;
    if (step == Step::end) return true;
  }
}

bool JsonReader::finish() {
  if (failed_) return false;
  skipSpace();
  return position_ == end_ || fail("bytes after the JSON value");
}

}  // namespace quorl
