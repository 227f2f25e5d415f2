// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// `rect` in global points with the origin at the top left of the main display. AppKit counts from the bottom
/// left of the primary screen, the first one in `screens` (frames, as AppKit gives them) at (0, 0). Without
/// such a screen `rect` takes its place. A pure function; any thread.
PointRect rectFromAppKit(const PointRect& rect, const std::vector<PointRect>& screens);

}  // namespace quorl
