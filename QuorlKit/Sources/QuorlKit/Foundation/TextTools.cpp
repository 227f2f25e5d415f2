// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/TextTools.h>

#include <algorithm>
#include <cstdint>
#include <memory>

#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

namespace {

struct CloseBreaks {
  void operator()(UBreakIterator* breaks) const { ubrk_close(breaks); }
};
struct CloseText {
  void operator()(UText* text) const { utext_close(text); }
};

// Iterates over the boundaries of user-perceived characters.
class CharacterWalk {
 public:
  explicit CharacterWalk(std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    source_.reset(utext_openUTF8(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status));
    breaks_.reset(ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status));
    ubrk_setUText(breaks_.get(), source_.get(), &status);
    QUORL_CHECK(U_SUCCESS(status), "the Unicode library's break rules are installed");
  }

  UBreakIterator* breaks() const { return breaks_.get(); }

 private:
  std::unique_ptr<UText, CloseText> source_;
  std::unique_ptr<UBreakIterator, CloseBreaks> breaks_;
};

}  // namespace

std::string_view trimmedWhiteSpace(std::string_view text) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  const auto size = static_cast<std::int64_t>(text.size());
  std::int64_t first = size;
  std::int64_t last = size;
  for (std::int64_t at = 0; at < size;) {
    const std::int64_t start = at;
    UChar32 character = 0;
    U8_NEXT(bytes, at, size, character);
    if (character >= 0 && u_isUWhiteSpace(character) != 0) continue;
    first = std::min(first, start);
    last = at;
  }
  return text.substr(static_cast<std::size_t>(first), static_cast<std::size_t>(last - first));
}

std::string_view trimmedBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
  // A character has at least one byte.
  if (text.size() <= count) return text;
  const CharacterWalk walk(text);
  std::int32_t end = 0;
  while (count > 0) {
    const std::int32_t next = ubrk_next(walk.breaks());
    if (next == UBRK_DONE) return text;
    end = next;
    --count;
  }
  return text.substr(0, static_cast<std::size_t>(end));
}

std::string_view lastCharacters(std::string_view text, std::size_t count) {
  if (text.size() <= count) return text;
  if (count == 0) return {};
  const CharacterWalk walk(text);
  std::int32_t start = ubrk_last(walk.breaks());
  while (count > 0 && start > 0) {
    start = ubrk_previous(walk.breaks());
    if (start == UBRK_DONE) return text;
    --count;
  }
  return text.substr(static_cast<std::size_t>(start));
}

std::string_view firstBytes(std::string_view text, std::size_t size) {
  if (text.size() <= size) return text;
  while (size > 0 && U8_IS_TRAIL(text[size])) --size;
  return text.substr(0, size);
}

std::string_view lastPathComponent(std::string_view path) {
  const std::size_t last = path.find_last_not_of('/');
  if (last == std::string_view::npos) return path.substr(0, 1);
  path = path.substr(0, last + 1);
  return path.substr(path.find_last_of('/') + 1);
}

}  // namespace quorl
