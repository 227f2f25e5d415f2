// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Base/Printable.h>

#include <cstdint>

#include <QuorlKit/Foundation/UTF8.h>
#include <fmt/format.h>

namespace quorl::client {
namespace {

char32_t decode(std::string_view sequence) {
  const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(sequence[index]); };
  if (sequence.size() == 1) return byte(0);
  char32_t value = byte(0) & (0x7FU >> sequence.size());
  for (std::size_t index = 1; index < sequence.size(); ++index) value = value << 6U | (byte(index) & 0x3FU);
  return value;
}

bool isDangerous(char32_t point) {
  return point < 0x20 || (point >= 0x7F && point < 0xA0) || point == 0x200E || point == 0x200F ||
         (point >= 0x2028 && point <= 0x202E) || (point >= 0x2066 && point <= 0x2069);
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const auto length = utf8SequenceLength(text);
    if (length == 0) {
      result += fmt::format("\\x{:02x}", static_cast<unsigned char>(text.front()));
      text.remove_prefix(1);
      continue;
    }
    const auto sequence = text.substr(0, length);
    const auto point = decode(sequence);
    if (!isDangerous(point))
      result += sequence;
    else if (point < 0x100)
      result += fmt::format("\\x{:02x}", static_cast<std::uint32_t>(point));
    else
      result += fmt::format("\\u{:04x}", static_cast<std::uint32_t>(point));
    text.remove_prefix(length);
  }
  return result;
}

}  // namespace quorl::client
