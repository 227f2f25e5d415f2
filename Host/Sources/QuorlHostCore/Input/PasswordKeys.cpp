// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Input/PasswordKeys.h>

#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

std::optional<char16_t> PasswordKeys::next() {
  const auto rest = password_.view().substr(position_);
  if (rest.empty()) return std::nullopt;
  const std::size_t length = utf8SequenceLength(rest);
  if (length == 0) {
    ++position_;
    return u'\xFFFD';
  }
  position_ += length;
  // The first byte has 7, 5, 4 or 3 bits of the character, each further one 6 (RFC 3629, section 3).
  const auto first = static_cast<unsigned char>(rest[0]);
  char32_t scalar = length == 1 ? first : first & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i)
    scalar = (scalar << 6) | (static_cast<unsigned char>(rest[i]) & 0x3FU);
  return static_cast<char16_t>(scalar & 0xFFFF);
}

}  // namespace quorl
