// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/Base64.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace quorl {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint32_t noDigit = 0x80;

constexpr std::array<std::uint8_t, 256> digitOf = [] {
  std::array<std::uint8_t, 256> table{};
  table.fill(static_cast<std::uint8_t>(noDigit));
  for (std::size_t value = 0; value < alphabet.size(); ++value)
    table[static_cast<std::uint8_t>(alphabet[value])] = static_cast<std::uint8_t>(value);
  return table;
}();

// Two characters for each 12 bits, which halves the look-ups.
constexpr std::array<std::array<char, 2>, 4096> pairOf = [] {
  std::array<std::array<char, 2>, 4096> table{};
  for (std::size_t value = 0; value < table.size(); ++value)
    table[value] = {alphabet[value >> 6], alphabet[value & 63]};
  return table;
}();

std::uint32_t digit(char character) {
  return digitOf[static_cast<std::uint8_t>(character)];
}

}  // namespace

void base64Write(ByteView data, char* out) {
  std::size_t at = 0;
  for (; at + 3 <= data.size(); at += 3, out += 4) {
    const std::uint32_t group =
        (std::uint32_t{data[at]} << 16) | (std::uint32_t{data[at + 1]} << 8) | data[at + 2];
    const auto& high = pairOf[group >> 12];
    const auto& low = pairOf[group & 0xFFF];
    out[0] = high[0];
    out[1] = high[1];
    out[2] = low[0];
    out[3] = low[1];
  }
  if (at == data.size()) return;
  const bool hasSecond = at + 1 < data.size();
  const std::uint32_t group =
      (std::uint32_t{data[at]} << 16) | (hasSecond ? std::uint32_t{data[at + 1]} << 8 : 0U);
  out[0] = alphabet[group >> 18];
  out[1] = alphabet[(group >> 12) & 63];
  out[2] = hasSecond ? alphabet[(group >> 6) & 63] : '=';
  out[3] = '=';
}

std::string base64Encoded(ByteView data) {
  std::string text(base64Length(data.size()), '\0');
  base64Write(data, text.data());
  return text;
}

std::string base64ForURL(std::string text) {
  std::ranges::replace(text, '+', '-');
  std::ranges::replace(text, '/', '_');
  std::erase(text, '=');
  return text;
}

std::optional<Bytes> base64Decoded(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  if (text.empty()) return Bytes();
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  const std::size_t wholeGroups = text.size() / 4 - (padding > 0 ? 1 : 0);
  Bytes data(text.size() / 4 * 3 - padding);
  std::uint8_t* out = data.data();
  std::uint32_t wrong = 0;
  for (std::size_t group = 0; group < wholeGroups; ++group, out += 3) {
    const char* const in = text.data() + group * 4;
    const std::uint32_t a = digit(in[0]), b = digit(in[1]), c = digit(in[2]), d = digit(in[3]);
    wrong |= a | b | c | d;
    out[0] = static_cast<std::uint8_t>(a << 2 | b >> 4);
    out[1] = static_cast<std::uint8_t>(b << 4 | c >> 2);
    out[2] = static_cast<std::uint8_t>(c << 6 | d);
  }
  if (padding > 0) {
    const char* const in = text.data() + wholeGroups * 4;
    const std::uint32_t a = digit(in[0]), b = digit(in[1]), c = padding == 1 ? digit(in[2]) : 0;
    wrong |= a | b | c;
    const std::uint32_t unused = padding == 1 ? c & 0x3 : b & 0xF;
    if (unused != 0) return std::nullopt;
    out[0] = static_cast<std::uint8_t>(a << 2 | b >> 4);
    if (padding == 1) out[1] = static_cast<std::uint8_t>(b << 4 | c >> 2);
  }
  if ((wrong & noDigit) != 0) return std::nullopt;
  return data;
}

}  // namespace quorl
