// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

// Reads one JSON text (RFC 8259) from front to back, straight into the caller's fields, without a tree of
// values. Strict: no comments, no trailing commas, UTF-8 only, no byte order mark. Every read returns false
// once something is wrong; the first cause stands in `error`. It never recurses, so nesting costs the sender
// more than the reader.
// Queue: one at a time. Lifetime: the text outlives the reader.
class JsonReader {
 public:
  static constexpr std::size_t maxDepth = 128;

  enum class Kind : std::uint8_t { object, array, string, number, boolean, null, nothing };
  enum class Step : std::uint8_t { item, end, failed };
  // Whether what is decoded is wanted, or only whether it could be decoded. Decoders then leave texts, lists
  // and dictionaries empty, so that judging a text costs no memory that grows with what it says.
  enum class Values : std::uint8_t { kept, judged };
  // Where in a list of members or elements a walk stands.
  struct Walk {
    bool isFirst = true;
  };
  // A place to come back to.
  struct Mark {
    const char* position = nullptr;
    std::size_t depth = 0;
  };

  explicit JsonReader(ByteView json, Values values = Values::kept);

  // What the next value is, by its first character; the value may still turn out to be malformed.
  Kind peek();

  [[nodiscard]] bool beginObject();
  // The next key, valid until the next read; its value must be read or skipped next. `expected`, a key
  // without characters to escape, is only a guess that saves reading the key where it is right.
  [[nodiscard]] Step nextKey(Walk& walk, std::string_view& key, std::string_view expected = {});
  [[nodiscard]] bool beginArray();
  [[nodiscard]] Step nextElement(Walk& walk);

  [[nodiscard]] bool readNull();
  [[nodiscard]] bool readBool(bool& value);
  [[nodiscard]] bool readDouble(double& value);
  // A whole number in range, written in whatever way (3, 3.0, 3e0).
  [[nodiscard]] bool readSigned(std::int64_t& value);
  [[nodiscard]] bool readUnsigned(std::uint64_t& value);
  [[nodiscard]] bool readString(std::string& value);
  // Valid until the next read.
  [[nodiscard]] bool readStringView(std::string_view& value);
  [[nodiscard]] bool skipValue();
  // Only white space is left.
  [[nodiscard]] bool finish();

  bool keepsValues() const { return values_ == Values::kept; }

  Mark mark() const { return {position_, depth_}; }
  // Back to the mark, the failure since then forgotten.
  void rewind(Mark mark);

  // Records the first cause; always false.
  bool fail(std::string_view text);
  bool hasFailed() const { return failed_; }
  const std::string& error() const { return error_; }

 private:
  struct Number {
    std::string_view text;
    bool isWhole = true;  // neither a fraction nor an exponent is written
  };

  void skipSpace();
  bool consume(char expected);
  bool consumeWord(std::string_view word);
  bool consumeExpectedKey(std::string_view expected);
  bool enter(char opening);
  Step nextItem(Walk& walk, char closing);
  bool scanNumber(Number& number);
  bool wholeDouble(const Number& number, double& value);
  bool toDouble(const Number& number, double& value);
  void scanPlain();
  bool unescape(std::string_view& value, const char* start);
  std::size_t restOfText() const;
  bool readEscape();
  bool readHex4(std::uint32_t& unit);
  bool failAtByte();

  const char* position_;
  const char* end_;
  Values values_;
  std::size_t depth_ = 0;
  std::string scratch_;
  std::string error_;
  bool failed_ = false;
};

}  // namespace quorl
