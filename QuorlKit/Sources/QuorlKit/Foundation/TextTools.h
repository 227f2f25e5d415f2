// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string_view>

/// Pure functions over UTF-8 text, any thread. All results are views into the input.
namespace quorl {

/// Without the white space (Unicode's White_Space, which includes newlines) at both ends.
std::string_view trimmedWhiteSpace(std::string_view text);

/// Without the blanks and tabs at both ends.
std::string_view trimmedBlanks(std::string_view text);

/// The first `count` user-perceived characters (extended grapheme clusters, Unicode UAX #29), or the whole
/// text if it has no more.
std::string_view firstCharacters(std::string_view text, std::size_t count);

/// The last `count` of them. Reads only the end of the text.
std::string_view lastCharacters(std::string_view text, std::size_t count);

/// At most `size` bytes from the beginning, cut between two code points.
std::string_view firstBytes(std::string_view text, std::size_t size);

/// The last component of a slash-separated path, trailing slashes ignored: "proj" of "/a/proj/", "/" of "/",
/// empty of empty.
std::string_view lastPathComponent(std::string_view path);

}  // namespace quorl
