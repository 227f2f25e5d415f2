// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quorl {

/// What is new between two looks at a terminal that gives its screen and history as one text without sequence
/// numbers.
namespace SnapshotDiff {

/// The furthest that a text may have scrolled between two looks and still be recognised, in lines.
inline constexpr std::size_t overlapLimit = 512;

/// The lines of `current` that follow the longest run of lines which ends `previous` and begins `current`.
/// All of `current` where there is no such run: a repeat rather than a loss. A piece of `current`. Time is
/// linear in the two texts.
std::string_view newTail(std::string_view previous, std::string_view current);

/// The text with each line end (CR LF, CR or LF) as CR LF, which a terminal needs.
std::string normalised(std::string_view text);

}  // namespace SnapshotDiff

}  // namespace quorl
