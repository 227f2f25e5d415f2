// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include <QuorlHostLinux/Icons/IconImage.h>

namespace quorl {

/// Numbers of a list of icons from an offset on; fewer than asked for at its end.
using ReadIconNumbers = std::function<std::vector<std::uint32_t>(std::uint32_t offset, std::uint32_t count)>;

/// The best icon for a side from a list as the property _NET_WM_ICON holds it: for each icon its width, its
/// height and its pixels. That is the smallest one that need not be enlarged, else the largest.
///
/// The list comes from another program and may change while it is read. It ends at the first icon of an
/// absurd size or without all its pixels, and after 32 icons. Only the headers and the chosen icon are read.
std::optional<IconImage> bestWindowIcon(std::uint64_t length, const ReadIconNumbers& read, int side);

}  // namespace quorl
