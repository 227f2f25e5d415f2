// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostMac/Windows/AppKitGeometry.h>

#include <algorithm>

namespace quorl {

PointRect rectFromAppKit(const PointRect& rect, const std::vector<PointRect>& screens) {
  const auto primary = std::ranges::find(screens, PointXY{0, 0}, &PointRect::origin);
  // In AppKit's coordinates the upper edge of a rectangle is its greatest y.
  const double top = primary == screens.end() ? rect.maxY() : primary->maxY();
  return {{rect.minX(), top - rect.maxY()}, rect.size};
}

}  // namespace quorl
