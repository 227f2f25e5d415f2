// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

/// Pure functions over the text of HTTP heads, any thread.
namespace quorl {

/// ISO Latin 1 as UTF-8.
std::string utf8OfLatin1(ByteView bytes);

std::vector<std::string_view> splitAt(std::string_view text, std::string_view separator);

/// Without blanks, tabs and no-break spaces at both ends.
std::string_view trimmedHeaderText(std::string_view text);

/// Whether `text` begins with `prefix`, which is in lower case, in any case of its ASCII letters.
bool beginsWithIgnoringCase(std::string_view text, std::string_view prefix);

/// Nothing if an escape is malformed or the result is not UTF-8 (RFC 3986, section 2.1).
std::optional<std::string> percentDecoded(std::string_view text);

/// Escapes everything but the letters, marks and numbers of Unicode.
std::string percentEncoded(std::string_view text);

}  // namespace quorl
