// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string_view>

// Small pure functions over UTF-8 text. All results are pieces of the input.
namespace quorl {

// Without the white space and newlines (Unicode's White_Space) at both ends.
std::string_view trimmedWhiteSpace(std::string_view text);

// Without the blanks and tabs at both ends.
std::string_view trimmedBlanks(std::string_view text);

// The first user-perceived characters (extended grapheme clusters, Unicode UAX #29); the whole text where it
// has no more than `count`.
std::string_view firstCharacters(std::string_view text, std::size_t count);

// The last of them, likewise. Only the end of the text is looked at.
std::string_view lastCharacters(std::string_view text, std::size_t count);

// At most `size` bytes from the beginning, cut between two encoded characters of UTF-8.
std::string_view firstBytes(std::string_view text, std::size_t size);

// Of a slash-separated path, trailing slashes not counted: "proj" of "/a/proj/", "/" of "/", empty of empty.
std::string_view lastPathComponent(std::string_view path);

}  // namespace quorl
