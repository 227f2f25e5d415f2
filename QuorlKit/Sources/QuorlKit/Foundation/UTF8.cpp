// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/UTF8.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

#include <unicode/utf8.h>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

// The length of the run of ASCII bytes at the start.
std::size_t asciiLength(std::string_view text) {
  std::size_t at = 0;
  for (; at + 8 <= text.size(); at += 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data() + at, 8);
    if ((word & 0x8080808080808080ULL) != 0) break;
  }
  while (at < text.size() && U8_IS_SINGLE(text[at])) ++at;
  return at;
}

}  // namespace

std::size_t utf8SequenceLength(std::string_view text) {
  if (text.empty()) return 0;
  const ByteView bytes = viewOf(text);
  std::size_t length = 0;
  UChar32 codePoint = 0;
  U8_NEXT(bytes.data(), length, bytes.size(), codePoint);
  return codePoint < 0 ? 0 : length;
}

std::size_t unfinishedUTF8Length(std::string_view text) {
  const ByteView bytes = viewOf(text);
  // Signed, because the macro looks at up to three bytes before the end by subtraction.
  std::ptrdiff_t whole = std::ssize(bytes);
  U8_TRUNCATE_IF_INCOMPLETE(bytes.data(), 0, whole);
  return static_cast<std::size_t>(std::ssize(bytes) - whole);
}

bool isValidUTF8(std::string_view text) {
  const ByteView bytes = viewOf(text);
  for (std::size_t at = asciiLength(text); at < bytes.size();) {
    UChar32 codePoint = 0;
    U8_NEXT(bytes.data(), at, bytes.size(), codePoint);
    if (codePoint < 0) return false;
    if (codePoint < 0x80) at += asciiLength(text.substr(at));
  }
  return true;
}

std::string repairedUTF8(std::string_view text) {
  std::string repaired;
  repaired.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = utf8SequenceLength(text);
    repaired.append(length == 0 ? replacement : text.substr(0, length));
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return repaired;
}

void appendUTF8(std::string& out, char32_t codePoint) {
  std::array<std::uint8_t, U8_MAX_LENGTH> bytes{};
  std::size_t length = 0;
  U8_APPEND_UNSAFE(bytes.data(), length, codePoint);
  out.append(textViewOf({bytes.data(), length}));
}

}  // namespace quorl
