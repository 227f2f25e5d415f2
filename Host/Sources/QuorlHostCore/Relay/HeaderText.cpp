// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Relay/HeaderText.h>

#include <algorithm>

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <QuorlKit/Foundation/ASCII.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

constexpr std::string_view noBreakSpace = "\u00A0";

int hexValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  const char lowered = loweredASCII(digit);
  return lowered >= 'a' && lowered <= 'f' ? lowered - 'a' + 10 : -1;
}

bool isLetterMarkOrNumber(std::string_view sequence) {
  std::int32_t at = 0;
  UChar32 character = 0;
  U8_NEXT(sequence.data(), at, static_cast<std::int32_t>(sequence.size()), character);
  return character >= 0 && (U_GET_GC_MASK(character) & (U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK)) != 0;
}

}  // namespace

std::string utf8OfLatin1(ByteView bytes) {
  const auto isASCII = [](std::uint8_t byte) { return byte < 0x80; };
  if (std::ranges::all_of(bytes, isASCII)) return textOf(bytes);
  std::string text;
  text.reserve(bytes.size() + bytes.size() / 8);
  for (const std::uint8_t byte : bytes) {
    if (isASCII(byte)) {
      text += static_cast<char>(byte);
    } else {
      text += static_cast<char>(0xC0 | byte >> 6);
      text += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return text;
}

std::vector<std::string_view> splitAt(std::string_view text, std::string_view separator) {
  std::vector<std::string_view> pieces;
  for (;;) {
    const std::size_t end = text.find(separator);
    pieces.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + separator.size());
  }
}

std::string_view trimmedHeaderText(std::string_view text) {
  for (;;) {
    const std::size_t before = text.size();
    if (text.starts_with(' ') || text.starts_with('\t')) text.remove_prefix(1);
    if (text.ends_with(' ') || text.ends_with('\t')) text.remove_suffix(1);
    if (text.starts_with(noBreakSpace)) text.remove_prefix(noBreakSpace.size());
    if (text.ends_with(noBreakSpace)) text.remove_suffix(noBreakSpace.size());
    if (text.size() == before) return text;
  }
}

bool beginsWithIgnoringCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && std::ranges::equal(text.substr(0, prefix.size()), prefix, {},
                                                            [](char letter) { return loweredASCII(letter); });
}

std::optional<std::string> percentDecoded(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '%') {
      result += text[at];
      continue;
    }
    if (text.size() - at < 3) return std::nullopt;
    const int high = hexValue(text[at + 1]);
    const int low = hexValue(text[at + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    result += static_cast<char>(high << 4 | low);
    at += 2;
  }
  if (!isValidUTF8(result)) return std::nullopt;
  return result;
}

std::string percentEncoded(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string result;
  while (!text.empty()) {
    const std::string_view sequence = text.substr(0, std::max<std::size_t>(utf8SequenceLength(text), 1));
    if (isLetterMarkOrNumber(sequence)) {
      result += sequence;
    } else {
      for (const char byte : sequence) {
        result += '%';
        result += digits[static_cast<std::uint8_t>(byte) >> 4];
        result += digits[static_cast<std::uint8_t>(byte) & 0x0F];
      }
    }
    text.remove_prefix(sequence.size());
  }
  return result;
}

}  // namespace quorl
