// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace quorl {

/// The keysyms that type a text, in order: a line end (any of CR, LF, CR LF) is Return, tab and backspace are
/// their keys, other control characters are left out; half a surrogate pair is U+FFFD.
std::vector<std::uint32_t> keysymsOf(std::u16string_view text);

/// The same character's keysym by its code point (0x1000000 and up), for symbols that are bound to a key:
/// some libraries do not know the characters of the older, named ones. Latin-1 and keys without a character
/// stay.
std::uint32_t unicodeKeysymOf(std::uint32_t keysym);

}  // namespace quorl
