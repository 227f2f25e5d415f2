// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// UTF-8 as RFC 3629 defines it: no surrogates, no overlong forms, nothing above U+10FFFF. The steps are the
/// macros of ICU's <unicode/utf8.h>, which need no library at run time. Pure functions, any thread.
namespace quorl {

/// The length of the valid sequence at the start of `text` (1 to 4), or 0 if there is none.
std::size_t utf8SequenceLength(std::string_view text);

bool isValidUTF8(std::string_view text);

/// The text with every byte that is not part of a valid sequence replaced by U+FFFD.
std::string repairedUTF8(std::string_view text);

/// How many bytes at the end of `text` begin a sequence that is valid so far and lacks its rest: 0 to 3.
std::size_t unfinishedUTF8Length(std::string_view text);

void appendUTF8(std::string& out, char32_t codePoint);

}  // namespace quorl
