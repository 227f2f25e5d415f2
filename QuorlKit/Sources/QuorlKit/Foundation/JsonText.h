// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// What the JSON reader and writer share: finding the end of a run of bytes that a string holds as they are.
namespace quorl::jsonText {

// Neither a quote, a backslash, a control character nor part of a sequence of several bytes.
inline bool isPlain(char c) {
  const auto byte = static_cast<std::uint8_t>(c);
  return byte >= 0x20 && byte < 0x80 && c != '"' && c != '\\';
}

// Eight bytes at once. The tests for a byte below n and equal to n are the usual borrows into the top bit of
// each byte; a borrow from a byte that is not plain can reach its neighbours, which changes nothing.
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
