// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quorl {

/// What of a tab's text is looked at, at most: more lines than this cannot be compared with a later look
/// anyhow.
inline constexpr std::size_t screenLineLimit = 512;

/// Captured text without the blank lines that fill the screen below the last one written, and of that the
/// last `lines` lines; valid UTF-8. Pure.
std::string screenText(std::string_view captured, std::size_t lines);

}  // namespace quorl
