// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/FitGeometry.h>

#include <algorithm>
#include <cmath>

namespace quorl {

namespace {

constexpr double minimumScale = 0.2;
constexpr double minimumWidth = 320;

bool isFinite(const PointRect& rect) {
  return std::isfinite(rect.origin.x) && std::isfinite(rect.origin.y) && std::isfinite(rect.size.width) &&
         std::isfinite(rect.size.height);
}

// The start of a span of `length` around `middle`, inside the limits. If it is longer than they are apart,
// its end is at `high`.
double placedStart(double middle, double length, double low, double high) {
  return std::min(std::max(middle - length / 2, low), high - length);
}

}  // namespace

const ScreenFrames* screenContaining(const std::vector<ScreenFrames>& screens, const PointRect& rect) {
  const PointXY centre{rect.midX(), rect.midY()};
  const auto around = std::ranges::find_if(
      screens, [&](const ScreenFrames& screen) { return screen.frame.contains(centre); });
  if (around != screens.end()) return &*around;
  const auto main = std::ranges::find_if(screens, &ScreenFrames::isMain);
  return main == screens.end() ? nullptr : &*main;
}

std::optional<PointRect> fittedFrame(const PointRect& visible, const PointRect& current, double aspect,
                                     double scale) {
  if (visible.isEmpty() || !isFinite(visible) || !isFinite(current)) return std::nullopt;
  if (!(aspect > 0) || !std::isfinite(aspect)) return std::nullopt;
  const double share = scale > minimumScale ? std::min(scale, 1.0) : minimumScale;
  const double largest = std::min(aspect * visible.size.height, visible.size.width);
  const double width = std::max(largest * share, minimumWidth);
  const double height = width / aspect;
  const PointRect frame{{std::round(placedStart(current.midX(), width, visible.minX(), visible.maxX())),
                         std::round(placedStart(current.midY(), height, visible.minY(), visible.maxY()))},
                        {std::round(width), std::round(height)}};
  if (frame.isEmpty() || !isFinite(frame)) return std::nullopt;
  return frame;
}

double sizeDrift(const PointRect& one, const PointRect& other) {
  return std::abs(one.size.width - other.size.width) + std::abs(one.size.height - other.size.height);
}

double frameDrift(const PointRect& one, const PointRect& other) {
  return std::abs(one.minX() - other.minX()) + std::abs(one.minY() - other.minY()) + sizeDrift(one, other);
}

}  // namespace quorl
