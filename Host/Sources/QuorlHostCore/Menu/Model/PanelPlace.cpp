// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Menu/Model/PanelPlace.h>

#include <algorithm>
#include <cmath>

namespace quorl {

namespace {

constexpr PointSize iconSize{30, 22};
constexpr double iconFromRight = 100;
constexpr double leftWithoutScreen = 700;
constexpr double smallestSide = 10;
constexpr double sideGap = 8;
constexpr double barGap = 6;
constexpr double widestBar = 64;

// A compositor may not say where the pointer is that has clicked the icon; the last place that it has said is
// then anywhere.
bool isInBar(const PointXY& pointer, const PointRect& screen) {
  return pointer.x < screen.minX() + widestBar || pointer.x > screen.maxX() - widestBar ||
         pointer.y < screen.minY() + widestBar || pointer.y > screen.maxY() - widestBar;
}

}  // namespace

PointRect fallbackAnchor(const std::optional<PointRect>& screen, const std::optional<PointXY>& pointer) {
  if (pointer && (!screen || isInBar(*pointer, *screen)))
    return {{pointer->x - iconSize.width / 2, pointer->y - iconSize.height / 2}, iconSize};
  return {{screen ? screen->maxX() - iconFromRight : leftWithoutScreen, screen ? screen->minY() : 0},
          iconSize};
}

std::optional<PointXY> panelPlace(PointSize panel, const PointRect& anchor, const PanelSurroundings& around) {
  if (!(panel.width > smallestSide) || !(panel.height > smallestSide)) return std::nullopt;
  const PointRect& visible = around.visible;
  const double leftmost = visible.minX() + sideGap;
  const double rightmost = std::max(leftmost, visible.maxX() - panel.width - sideGap);
  const double x = std::clamp(anchor.midX() - panel.width / 2, leftmost, rightmost);
  const bool isAtBottom = anchor.midY() > around.screen.midY();
  // A desktop panel that covers windows instead of leaving them less room is within the visible part.
  const double top = std::max(visible.minY(), std::min(anchor.maxY(), around.screen.midY()));
  const double bottom = std::min(visible.maxY(), std::max(anchor.minY(), around.screen.midY()));
  const double lowest = (isAtBottom ? bottom : visible.maxY()) - panel.height - barGap;
  const double y = isAtBottom ? lowest : std::min(top + barGap, lowest);
  return PointXY{std::round(x), std::round(std::max(visible.minY(), y))};
}

}  // namespace quorl
