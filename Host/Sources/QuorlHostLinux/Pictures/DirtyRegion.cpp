// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Pictures/DirtyRegion.h>

#include <algorithm>
#include <limits>

namespace quorl {

namespace {

long areaOf(const PixelRect& rect) {
  return static_cast<long>(rect.width) * rect.height;
}

/// The pixels of one rectangle around both less those of the two: negative if they overlap enough.
long waste(const PixelRect& a, const PixelRect& b) {
  return areaOf(a.unionWith(b)) - areaOf(a) - areaOf(b);
}

/// Below this, one larger rectangle is cheaper to fetch and convert than two.
constexpr long negligibleWaste = 1024;

}  // namespace

void DirtyRegion::add(PixelRect rect) {
  if (rect.isEmpty()) return;
  for (bool grown = true; grown;) {
    grown = false;
    for (auto known = rects_.begin(); known != rects_.end(); ++known) {
      if (known->contains(rect)) return;
      if (waste(*known, rect) > negligibleWaste) continue;
      rect = known->unionWith(rect);
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
  rect = best->unionWith(rect);
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
