// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Input/TextKeysyms.h>

#include <optional>

#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon.h>

namespace quorl {

namespace {

constexpr char32_t replacement = 0xFFFD;

/// Removes and returns the first code point (RFC 2781, section 2.2).
char32_t takeCodePoint(std::u16string_view& text) {
  const char16_t first = text.front();
  text.remove_prefix(1);
  if (first < 0xD800 || first > 0xDFFF) return first;
  if (first > 0xDBFF || text.empty() || text.front() < 0xDC00 || text.front() > 0xDFFF) return replacement;
  const char16_t second = text.front();
  text.remove_prefix(1);
  return 0x10000 + ((char32_t{first} - 0xD800) << 10) + (char32_t{second} - 0xDC00);
}

std::optional<std::uint32_t> keysymOf(char32_t codePoint) {
  switch (codePoint) {
    case U'\r':
    case U'\n':
      return XKB_KEY_Return;
    case U'\t':
      return XKB_KEY_Tab;
    case U'\b':
      return XKB_KEY_BackSpace;
    case 0x1B:
      return XKB_KEY_Escape;
    case 0x7F:
      return XKB_KEY_Delete;
    default:
      break;
  }
  if (codePoint < 0x20 || (codePoint >= 0x80 && codePoint < 0xA0)) return std::nullopt;
  const auto keysym = xkb_utf32_to_keysym(codePoint);
  if (keysym == XKB_KEY_NoSymbol) return std::nullopt;
  return keysym;
}

}  // namespace

std::vector<std::uint32_t> keysymsOf(std::u16string_view text) {
  std::vector<std::uint32_t> keysyms;
  char32_t before = 0;
  while (!text.empty()) {
    const char32_t codePoint = takeCodePoint(text);
    const bool isSecondOfLineEnd = codePoint == U'\n' && before == U'\r';
    before = codePoint;
    if (isSecondOfLineEnd) continue;
    if (const auto keysym = keysymOf(codePoint)) keysyms.push_back(*keysym);
  }
  return keysyms;
}

std::uint32_t unicodeKeysymOf(std::uint32_t keysym) {
  constexpr std::uint32_t firstBeyondLatin1 = 0x100;
  constexpr std::uint32_t unicode = 0x0100'0000;
  const std::uint32_t codePoint = xkb_keysym_to_utf32(keysym);
  return codePoint >= firstBeyondLatin1 ? unicode | codePoint : keysym;
}

}  // namespace quorl
