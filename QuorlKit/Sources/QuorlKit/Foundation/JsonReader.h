// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// Reads one JSON text (RFC 8259) from front to back into the caller's fields. Strict: no comments, no
/// trailing commas, UTF-8 only, no byte order mark. After the first failure every read returns false, and
/// `error` has its cause. It never recurses: a deeply nested text costs the sender more than the reader.
///
/// Own code, because peers that have not authenticated send these texts:
/// - No tree of values is built. A text can be judged without keeping anything (`Values::judged`), so its
/// cost
///   is bounded by its size and not by what it contains.
/// - Records are read in one pass, with the expected key as a guess; a tree would copy each text twice.
/// - Whole numbers are exact over all of 64 bits, 3.0 and 3e0 read as 3, and a number too large for a double
/// is
///   an error, not infinity.
/// - A value that does not fit can be skipped from a mark, which the rule of one key per tagged union needs.
///
/// *Queue*: one at a time. *Lifetime*: the text outlives the reader.
class JsonReader {
 public:
  static constexpr std::size_t maxDepth = 128;

  enum class Kind : std::uint8_t { object, array, string, number, boolean, null, nothing };
  enum class Step : std::uint8_t { item, end, failed };
  /// `judged`: only whether the text can be decoded. Decoders leave texts, lists and dictionaries empty, so
  /// the memory does not grow with the content.
  enum class Values : std::uint8_t { kept, judged };
  /// The position of a walk in a list of members or elements.
  struct Walk {
    bool isFirst = true;
  };
  /// A position for `rewind`.
  struct Mark {
    const char* position = nullptr;
    std::size_t depth = 0;
  };

  explicit JsonReader(ByteView json, Values values = Values::kept);

  /// The kind of the next value by its first character; the value may still be malformed.
  Kind peek();

  [[nodiscard]] bool beginObject();
  /// The next key, valid until the next read; its value must be read or skipped next. `expected` is a guess
  /// without characters to escape; a right guess saves the scan of the key.
  [[nodiscard]] Step nextKey(Walk& walk, std::string_view& key, std::string_view expected = {});
  [[nodiscard]] bool beginArray();
  [[nodiscard]] Step nextElement(Walk& walk);

  [[nodiscard]] bool readNull();
  [[nodiscard]] bool readBool(bool& value);
  [[nodiscard]] bool readDouble(double& value);
  /// A whole number in range, in any notation (3, 3.0, 3e0).
  [[nodiscard]] bool readSigned(std::int64_t& value);
  [[nodiscard]] bool readUnsigned(std::uint64_t& value);
  [[nodiscard]] bool readString(std::string& value);
  /// Valid until the next read.
  [[nodiscard]] bool readStringView(std::string_view& value);
  /// Overwrites what a text with escapes left in the reader. Views of that text end.
  void wipeScratch();
  [[nodiscard]] bool skipValue();
  /// True if only white space is left.
  [[nodiscard]] bool finish();

  bool keepsValues() const { return values_ == Values::kept; }

  Mark mark() const { return {position_, depth_}; }
  /// Returns to the mark and forgets a failure after it.
  void rewind(Mark mark);

  /// Records the first cause. Always false.
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
