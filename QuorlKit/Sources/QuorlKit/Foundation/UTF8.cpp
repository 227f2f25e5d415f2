// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/UTF8.h>

#include <cstdint>
#include <cstring>

namespace quorl {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

std::uint8_t byteAt(std::string_view text, std::size_t index) {
  return static_cast<std::uint8_t>(text[index]);
}

bool continues(std::string_view text, std::size_t index) {
  return index < text.size() && (byteAt(text, index) & 0xC0) == 0x80;
}

// The length of the run of ASCII bytes at the start.
std::size_t asciiLength(std::string_view text) {
  std::size_t at = 0;
  for (; at + 8 <= text.size(); at += 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data() + at, 8);
    if ((word & 0x8080808080808080ULL) != 0) break;
  }
  while (at < text.size() && byteAt(text, at) < 0x80) ++at;
  return at;
}

}  // namespace

std::size_t utf8SequenceLength(std::string_view text) {
  if (text.empty()) return 0;
  const std::uint8_t lead = byteAt(text, 0);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4 || !continues(text, 1)) return 0;
  if (lead < 0xE0) return 2;
  const std::uint8_t second = byteAt(text, 1);
  if (lead < 0xF0) {
    if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F)) return 0;
    return continues(text, 2) ? 3 : 0;
  }
  if ((lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F)) return 0;
  return continues(text, 2) && continues(text, 3) ? 4 : 0;
}

bool isValidUTF8(std::string_view text) {
  for (;;) {
    text.remove_prefix(asciiLength(text));
    if (text.empty()) return true;
    const std::size_t length = utf8SequenceLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
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
  const auto tail = [&out, codePoint](unsigned shift) {
    out += static_cast<char>(0x80 | ((codePoint >> shift) & 0x3F));
  };
  if (codePoint < 0x80) {
    out += static_cast<char>(codePoint);
  } else if (codePoint < 0x800) {
    out += static_cast<char>(0xC0 | (codePoint >> 6));
    tail(0);
  } else if (codePoint < 0x10000) {
    out += static_cast<char>(0xE0 | (codePoint >> 12));
    tail(6);
    tail(0);
  } else {
    out += static_cast<char>(0xF0 | (codePoint >> 18));
    tail(12);
    tail(6);
    tail(0);
  }
}

}  // namespace quorl
