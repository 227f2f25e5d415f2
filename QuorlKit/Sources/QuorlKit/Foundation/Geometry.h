// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>

namespace quorl {

// Points: global, the origin at the top left of the main display, y downwards.
struct PointXY {
  double x = 0;
  double y = 0;

  bool operator==(const PointXY&) const = default;
};

struct PointSize {
  double width = 0;
  double height = 0;

  bool operator==(const PointSize&) const = default;
};

// A rectangle of points. One without area (a side of 0, below 0 or not a number) is empty.
struct PointRect {
  PointXY origin;
  PointSize size;

  double minX() const { return origin.x; }
  double minY() const { return origin.y; }
  double maxX() const { return origin.x + size.width; }
  double maxY() const { return origin.y + size.height; }
  double midX() const { return origin.x + size.width / 2; }
  double midY() const { return origin.y + size.height / 2; }
  bool isEmpty() const { return !(size.width > 0 && size.height > 0); }

  // Half-open: the left and the upper edge belong to the rectangle, the right and the lower one do not.
  bool contains(PointXY point) const {
    return point.x >= minX() && point.x < maxX() && point.y >= minY() && point.y < maxY();
  }

  // The smallest rectangle around both; an empty one adds nothing.
  PointRect unionWith(const PointRect& other) const {
    if (isEmpty()) return other;
    if (other.isEmpty()) return *this;
    const PointXY low{std::min(minX(), other.minX()), std::min(minY(), other.minY())};
    const PointXY high{std::max(maxX(), other.maxX()), std::max(maxY(), other.maxY())};
    return {low, {high.x - low.x, high.y - low.y}};
  }

  // The common part; without one, an empty rectangle at the origin.
  PointRect intersectionWith(const PointRect& other) const {
    const PointXY low{std::max(minX(), other.minX()), std::max(minY(), other.minY())};
    const PointXY high{std::min(maxX(), other.maxX()), std::min(maxY(), other.maxY())};
    const PointRect common{low, {high.x - low.x, high.y - low.y}};
    return common.isEmpty() ? PointRect{} : common;
  }

  bool operator==(const PointRect&) const = default;
};

// Pixels: of a picture or a screen, the origin at its top left.
struct PixelSize {
  int width = 0;
  int height = 0;

  bool operator==(const PixelSize&) const = default;
};

struct PixelRect {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;

  bool isEmpty() const { return width <= 0 || height <= 0; }

  bool operator==(const PixelRect&) const = default;
};

}  // namespace quorl
