// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorl {

/// UTF-8 text cut into pieces of UTF-16 that one keyboard event each can carry: at most 20 code units, no
/// user-perceived character (Unicode Standard Annex 29) cut, a single longer one alone. Invalid bytes become
/// U+FFFD.
std::vector<std::u16string> keyboardTextChunks(std::string_view text);

}  // namespace quorl
