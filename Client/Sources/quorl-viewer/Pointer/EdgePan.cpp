// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Pointer/EdgePan.h>

#include <algorithm>
#include <cmath>

namespace quorl::viewer {
namespace {

double speedIn(double depth) {
  if (!(depth > 0)) return 0;
  const double share = std::min(depth / EdgePan::margin, 1.0);
  return EdgePan::slowest + (EdgePan::fastest - EdgePan::slowest) * share * share;
}

/// For one axis. A view that has no room between its margins does not move the picture.
double speedOf(double position, double length) {
  if (!(length > 2 * EdgePan::margin)) return 0;
  return speedIn(EdgePan::margin - position) - speedIn(position - (length - EdgePan::margin));
}

int wholeOf(double distance, double& rest) {
  const double whole = std::trunc(distance + rest);
  rest += distance - whole;
  return static_cast<int>(whole);
}

}  // namespace

PointXY EdgePan::speedAt(PointXY position, PointSize view) {
  return {speedOf(position.x, view.width), speedOf(position.y, view.height)};
}

EdgePan::Motion EdgePan::step(PointXY position, PointSize view, double viewScale,
                              std::chrono::duration<double> elapsed) {
  const PointXY speed = speedAt(position, view);
  const double scale = viewScale * std::clamp(elapsed.count(), 0.0, longestPause);
  return {wholeOf(speed.x * scale, restX_), wholeOf(speed.y * scale, restY_)};
}

}  // namespace quorl::viewer
