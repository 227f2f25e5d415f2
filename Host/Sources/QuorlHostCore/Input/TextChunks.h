// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace quorl {

/// UTF-8 text that is cut into pieces of UTF-16 as they are taken. One keyboard event can carry a piece: at
/// most 20 code units, no user-perceived character (Unicode Standard Annex 29) cut, a single longer one
/// alone. Invalid bytes become U+FFFD.
///
/// *Queue*: one thread at a time.
class TextChunks {
 public:
  explicit TextChunks(std::string_view text);
  ~TextChunks();
  TextChunks(TextChunks&& other) noexcept;
  TextChunks& operator=(TextChunks&& other) noexcept;

  bool isAtEnd() const { return rest().empty(); }
  /// Takes the next piece; empty at the end.
  std::u16string next();
  /// What has not been taken; valid until the next call of `next` and across moves of this object.
  std::u16string_view rest() const;

 private:
  struct Text;
  std::unique_ptr<Text> text_;
};

}  // namespace quorl
