// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

enum class JsonStyle : std::uint8_t {
  compact,       // for the wire: no white space
  prettySorted,  // for files: two blanks per level, the keys of every record in byte order
};

/// Writes JSON (RFC 8259) into one growing buffer. The caller gives keys and values in a valid order.
///
/// Own code, because the records are written straight from their fields: a tree of values would copy every
/// terminal frame, and Base64 is written in place here.
///
/// *Queue*: one at a time. *Ownership*: a value.
class JsonWriter {
 public:
  explicit JsonWriter(JsonStyle style = JsonStyle::compact) : style_(style) {}

  void beginObject() { begin('{'); }
  void endObject() { end('}'); }
  void beginArray() { begin('['); }
  void endArray() { end(']'); }
  void key(std::string_view name);
  /// For a key without characters to escape.
  void plainKey(std::string_view name);
  /// Before each value of an array.
  void element();

  void writeNull();
  void writeBool(bool value);
  void writeSigned(std::int64_t value);
  void writeUnsigned(std::uint64_t value);
  /// The shortest text that reads back as the same value. Writes nothing and returns false if it is not
  /// finite.
  [[nodiscard]] bool writeDouble(double value);
  /// Bytes that are not UTF-8 become U+FFFD.
  void writeString(std::string_view text);
  void writeBase64(ByteView data);

  JsonStyle style() const { return style_; }
  Bytes take();

 private:
  void begin(char opening);
  void end(char closing);
  void newLine();
  // Makes room for `count` bytes at the returned place.
  char* room(std::size_t count) {
    if (buffer_.size() - used_ < count) grow(count);
    return reinterpret_cast<char*>(buffer_.data()) + used_;
  }
  void grow(std::size_t count);
  void append(std::string_view text);
  void append(char character);
  void appendEscaped(std::string_view text);

  JsonStyle style_;
  bool isFirst_ = true;
  std::size_t depth_ = 0;
  // Longer than what is written, so that most writes need no growth. `used_` bytes are written.
  Bytes buffer_;
  std::size_t used_ = 0;
};

}  // namespace quorl
