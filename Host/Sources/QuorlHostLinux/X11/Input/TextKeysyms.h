// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace quorl {

/// The keysyms that type a text, in order. A line end (CR, LF or CR LF) is Return; tab and backspace are
/// their keys; other control characters are omitted. An unpaired surrogate is U+FFFD.
std::vector<std::uint32_t> keysymsOf(std::u16string_view text);

/// The keysym of the same character by its code point (0x1000000 and up), for symbols that are bound to a
/// key: some libraries do not know the characters of the older, named keysyms. Latin-1 and keys without a
/// character stay as they are.
std::uint32_t unicodeKeysymOf(std::uint32_t keysym);

}  // namespace quorl
