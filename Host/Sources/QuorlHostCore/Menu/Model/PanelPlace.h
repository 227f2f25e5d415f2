// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// Where a panel goes. Points, y downwards.
struct PanelSurroundings {
  PointRect screen;   // whole
  PointRect visible;  // without the desktop's own panels
};

/// The place of an icon in a menu bar, for a session that does not say where the icon is. `pointer`: where
/// the icon was clicked, if it was; only near an edge of the screen, where desktops have their bars.
PointRect fallbackAnchor(const std::optional<PointRect>& screen, const std::optional<PointXY>& pointer);

/// The panel's top left corner, in whole points: centred at the anchor, within the visible part. It hangs
/// from the top, or rises from the bottom if the anchor is in the lower half of the screen. Absent for a
/// panel that has no size yet.
std::optional<PointXY> panelPlace(PointSize panel, const PointRect& anchor, const PanelSurroundings& around);

}  // namespace quorl
