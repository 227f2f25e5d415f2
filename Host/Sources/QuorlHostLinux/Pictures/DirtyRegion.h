// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <span>
#include <vector>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// An area that covers at least what was added to it, as a few rectangles. They may overlap, and may cover
/// more than was added to keep their number small.
class DirtyRegion {
 public:
  /// More rectangles than this cost more than the pixels they save.
  static constexpr std::size_t maxRects = 12;

  DirtyRegion() = default;
  explicit DirtyRegion(const PixelRect& rect) { add(rect); }

  void add(PixelRect rect);
  void add(const DirtyRegion& other);
  void clear() { rects_.clear(); }

  bool isEmpty() const { return rects_.empty(); }
  std::span<const PixelRect> rects() const { return rects_; }
  /// The sum of the rectangles' pixels. Overlaps count several times.
  long area() const;

 private:
  std::vector<PixelRect> rects_;
};

}  // namespace quorl
