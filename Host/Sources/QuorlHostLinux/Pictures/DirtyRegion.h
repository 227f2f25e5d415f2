// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <span>
#include <vector>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// An area that covers at least what was added to it, as few rectangles. They may overlap, and cover more
/// than was added where that makes fewer of them.
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
  /// Pixels of all rectangles, those in several counted several times.
  long area() const;

 private:
  std::vector<PixelRect> rects_;
};

}  // namespace quorl
