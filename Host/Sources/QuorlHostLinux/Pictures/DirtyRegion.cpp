// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Pictures/DirtyRegion.h>

#include <algorithm>
#include <limits>

namespace quorl {

namespace {

long areaOf(const PixelRect& rect) {
  return static_cast<long>(rect.width) * rect.height;
}

/// What one rectangle around both covers beyond them: negative where they overlap enough.
long waste(const PixelRect& a, const PixelRect& b) {
  return areaOf(unionOf(a, b)) - areaOf(a) - areaOf(b);
}

/// Below this, one larger rectangle is cheaper to fetch and convert than two.
constexpr long negligibleWaste = 1024;

}  // namespace

PixelRect unionOf(const PixelRect& a, const PixelRect& b) {
  if (a.isEmpty()) return b;
  if (b.isEmpty()) return a;
  const int x = std::min(a.x, b.x);
  const int y = std::min(a.y, b.y);
  return {x, y, std::max(a.x + a.width, b.x + b.width) - x, std::max(a.y + a.height, b.y + b.height) - y};
}

PixelRect intersectionOf(const PixelRect& a, const PixelRect& b) {
  const int x = std::max(a.x, b.x);
  const int y = std::max(a.y, b.y);
  const PixelRect common{x, y, std::min(a.x + a.width, b.x + b.width) - x,
                         std::min(a.y + a.height, b.y + b.height) - y};
  return common.isEmpty() ? PixelRect{} : common;
}

bool contains(const PixelRect& outer, const PixelRect& inner) {
  return inner.x >= outer.x && inner.y >= outer.y && inner.x + inner.width <= outer.x + outer.width &&
         inner.y + inner.height <= outer.y + outer.height;
}

void DirtyRegion::add(PixelRect rect) {
  if (rect.isEmpty()) return;
  for (bool grown = true; grown;) {
    grown = false;
    for (auto known = rects_.begin(); known != rects_.end(); ++known) {
      if (contains(*known, rect)) return;
      if (waste(*known, rect) > negligibleWaste) continue;
      rect = unionOf(*known, rect);
      rects_.erase(known);
      grown = true;
      break;
    }
  }
  if (rects_.size() < maxRects) {
    rects_.push_back(rect);
    return;
  }
  const auto best =
      std::ranges::min_element(rects_, {}, [&](const auto& known) { return waste(known, rect); });
  rect = unionOf(*best, rect);
  rects_.erase(best);
  add(rect);
}

void DirtyRegion::add(const DirtyRegion& other) {
  for (const auto& rect : other.rects_) add(rect);
}

long DirtyRegion::area() const {
  long sum = 0;
  for (const auto& rect : rects_) sum += areaOf(rect);
  return sum;
}

}  // namespace quorl
