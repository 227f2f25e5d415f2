// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace quorl {

/// UTF-8 text, cut into pieces of UTF-16 as they are taken. One keyboard event carries one piece: at most 20
/// code units of whole user-perceived characters (Unicode Standard Annex 29); a longer single character is a
/// piece of its own. Invalid bytes become U+FFFD.
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
  /// The rest. Valid until the next call of `next`, also after this object was moved.
  std::u16string_view rest() const;

 private:
  struct Text;
  std::unique_ptr<Text> text_;
};

}  // namespace quorl
