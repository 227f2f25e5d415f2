// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

/// Shared by the JSON reader and writer: finds the end of a run of bytes that a string holds unescaped.
namespace quorl::jsonText {

/// ASCII, but no quote, no backslash and no control character.
inline bool isPlain(char c) {
  const auto byte = static_cast<std::uint8_t>(c);
  return byte >= 0x20 && byte < 0x80 && c != '"' && c != '\\';
}

/// Tests eight bytes at once: a subtraction borrows into the top bit of each byte that is below n, or equal
/// to it after an exclusive or. A borrow can spread only from a byte that is not plain, so the result is
/// exact.
inline bool areEightPlain(const char* text) {
  constexpr std::uint64_t ones = 0x0101010101010101ULL;
  constexpr std::uint64_t tops = 0x8080808080808080ULL;
  std::uint64_t word = 0;
  std::memcpy(&word, text, 8);
  const std::uint64_t control = word - ones * 0x20;
  const std::uint64_t quote = (word ^ (ones * '"')) - ones;
  const std::uint64_t backslash = (word ^ (ones * '\\')) - ones;
  return ((word | control | quote | backslash) & tops) == 0;
}

inline const char* plainEnd(const char* begin, const char* end) {
  while (end - begin >= 8 && areEightPlain(begin)) begin += 8;
  while (begin != end && isPlain(*begin)) ++begin;
  return begin;
}

}  // namespace quorl::jsonText
