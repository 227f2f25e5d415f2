// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>

namespace quorl {

/// A position in points, in global coordinates: the origin is the top left of the main display, y grows
/// downwards.
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

/// A rectangle in points. It is empty if a side is 0, negative or not a number.
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

  /// Half-open: the left and the top edge belong to the rectangle, the right and the bottom edge do not.
  bool contains(PointXY point) const {
    return point.x >= minX() && point.x < maxX() && point.y >= minY() && point.y < maxY();
  }

  /// The smallest rectangle around both; an empty one is ignored.
  PointRect unionWith(const PointRect& other) const {
    if (isEmpty()) return other;
    if (other.isEmpty()) return *this;
    const PointXY low{std::min(minX(), other.minX()), std::min(minY(), other.minY())};
    const PointXY high{std::max(maxX(), other.maxX()), std::max(maxY(), other.maxY())};
    return {low, {high.x - low.x, high.y - low.y}};
  }

  /// The common part, or an empty rectangle at the origin.
  PointRect intersectionWith(const PointRect& other) const {
    const PointXY low{std::max(minX(), other.minX()), std::max(minY(), other.minY())};
    const PointXY high{std::min(maxX(), other.maxX()), std::min(maxY(), other.maxY())};
    const PointRect common{low, {high.x - low.x, high.y - low.y}};
    return common.isEmpty() ? PointRect{} : common;
  }

  bool operator==(const PointRect&) const = default;
};

/// A size in pixels of a picture or a screen.
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

  // The rectangle of a whole picture of this size.
  static PixelRect of(PixelSize size) { return {0, 0, size.width, size.height}; }

  int maxX() const { return x + width; }
  int maxY() const { return y + height; }
  bool isEmpty() const { return width <= 0 || height <= 0; }

  bool contains(const PixelRect& inner) const {
    return inner.x >= x && inner.y >= y && inner.maxX() <= maxX() && inner.maxY() <= maxY();
  }

  // The smallest rectangle around both; an empty one adds nothing.
  PixelRect unionWith(const PixelRect& other) const {
    if (isEmpty()) return other;
    if (other.isEmpty()) return *this;
    const int left = std::min(x, other.x);
    const int top = std::min(y, other.y);
    return {left, top, std::max(maxX(), other.maxX()) - left, std::max(maxY(), other.maxY()) - top};
  }

  // The common part; without one, an empty rectangle at the origin.
  PixelRect intersectionWith(const PixelRect& other) const {
    const int left = std::max(x, other.x);
    const int top = std::max(y, other.y);
    const PixelRect common{left, top, std::min(maxX(), other.maxX()) - left,
                           std::min(maxY(), other.maxY()) - top};
    return common.isEmpty() ? PixelRect{} : common;
  }

  bool operator==(const PixelRect&) const = default;
};

}  // namespace quorl
