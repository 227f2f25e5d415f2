// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/UUID.h>

#include <QuorlKit/Foundation/SecureRandom.h>

namespace quorl {

namespace {

constexpr std::size_t textLength = 36;

constexpr bool isHyphenPlace(std::size_t index) {
  return index == 8 || index == 13 || index == 18 || index == 23;
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

}  // namespace

std::optional<UUID> UUID::parse(std::string_view text) {
  if (text.size() != textLength) return std::nullopt;
  UUID id;
  std::size_t at = 0;
  for (std::uint8_t& byte : id.bytes) {
    if (isHyphenPlace(at) && text[at++] != '-') return std::nullopt;
    const int high = hexDigit(text[at]);
    const int low = hexDigit(text[at + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    byte = static_cast<std::uint8_t>(high << 4 | low);
    at += 2;
  }
  return id;
}

UUID UUID::random(SecureRandom& source) {
  UUID id;
  source.fill(id.bytes);
  id.bytes[6] = static_cast<std::uint8_t>((id.bytes[6] & 0x0F) | 0x40);
  id.bytes[8] = static_cast<std::uint8_t>((id.bytes[8] & 0x3F) | 0x80);
  return id;
}

UUID UUID::random() {
  return random(SystemSecureRandom::shared());
}

std::string UUID::text() const {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  text.reserve(textLength);
  for (const std::uint8_t byte : bytes) {
    if (isHyphenPlace(text.size())) text += '-';
    text += digits[byte >> 4];
    text += digits[byte & 0xF];
  }
  return text;
}

}  // namespace quorl
