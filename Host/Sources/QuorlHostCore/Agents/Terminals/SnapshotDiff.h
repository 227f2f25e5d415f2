// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quorl {

/// The new text between two snapshots of a terminal that gives its screen and history as one text without
/// sequence numbers.
namespace SnapshotDiff {

/// The most lines that a text may have scrolled between two snapshots and still be recognised.
inline constexpr std::size_t overlapLimit = 512;

/// The lines of `current` after the longest run of lines that ends `previous` and begins `current`; a part of
/// `current`. All of `current` if there is no such run, because a repetition is better than a loss. Takes
/// time linear in the two texts.
std::string_view newTail(std::string_view previous, std::string_view current);

/// The text with CR LF for each line end (CR LF, CR or LF), as a terminal needs it.
std::string normalised(std::string_view text);

}  // namespace SnapshotDiff

}  // namespace quorl
