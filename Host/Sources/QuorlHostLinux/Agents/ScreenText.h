// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quorl {

/// The most lines of a tab's text that are read: more cannot be compared with a later reading.
inline constexpr std::size_t screenLineLimit = 512;

/// The last `lines` lines of captured text, without the blank lines below the last written one; valid UTF-8.
/// Pure.
std::string screenText(std::string_view captured, std::size_t lines);

}  // namespace quorl
