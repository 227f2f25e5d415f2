// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/EncodedSize.h>

#include <algorithm>

namespace quorl {

namespace {

constexpr std::int64_t minimumSide = 2;
// Far above any screen. Keeps invalid values of a platform within the arithmetic.
constexpr double maximumSourceSide = 1 << 20;

std::int64_t truncatedSide(double side) {
  if (!(side > 0)) return 0;
  return static_cast<std::int64_t>(std::min(side, maximumSourceSide));
}

int evenSide(std::int64_t side) {
  return static_cast<int>(std::max(side - side % 2, minimumSide));
}

}  // namespace

PixelSize encodedSizeFor(PointSize points, double pointPixelScale, std::int64_t maxDimension) {
  std::int64_t width = std::max(truncatedSide(points.width * pointPixelScale), minimumSide);
  std::int64_t height = std::max(truncatedSide(points.height * pointPixelScale), minimumSide);
  const std::int64_t longer = std::max(width, height);
  if (maxDimension < longer) {
    const std::int64_t limit = std::max<std::int64_t>(maxDimension, 0);
    width = width * limit / longer;
    height = height * limit / longer;
  }
  return {evenSide(width), evenSide(height)};
}

}  // namespace quorl
