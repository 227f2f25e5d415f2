// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// UTF-8 as RFC 3629 defines it: no surrogates, no overlong forms, nothing above U+10FFFF.
namespace quorl {

// The length of the valid sequence at the start of `text` (1 to 4), or 0 where there is none.
std::size_t utf8SequenceLength(std::string_view text);

bool isValidUTF8(std::string_view text);

// The text with every byte that belongs to no valid sequence replaced by U+FFFD.
std::string repairedUTF8(std::string_view text);

void appendUTF8(std::string& out, char32_t codePoint);

}  // namespace quorl
