// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/PictureChanges.h>

#include <algorithm>
#include <cstring>

namespace quorl::viewer {
namespace {

using client::PicturePlanes;
using client::PlaneFormat;

struct Plane {
  const std::uint8_t* before;
  const std::uint8_t* after;
  std::ptrdiff_t beforeStride;
  std::ptrdiff_t afterStride;
  int width;  // bytes
  int height;
};

// In bytes and rows of the plane.
PixelRect changedPart(const Plane& plane) {
  const auto isEqual = [&](int row, int begin, int end) {
    return std::memcmp(plane.before + row * plane.beforeStride + begin,
                       plane.after + row * plane.afterStride + begin,
                       static_cast<std::size_t>(end - begin)) == 0;
  };
  int top = 0;
  while (top < plane.height && isEqual(top, 0, plane.width)) ++top;
  if (top == plane.height) return {};
  int bottom = plane.height;
  while (isEqual(bottom - 1, 0, plane.width)) --bottom;
  int left = plane.width;
  int right = 0;
  for (int row = top; row < bottom && (left > 0 || right < plane.width); ++row) {
    const auto* before = plane.before + row * plane.beforeStride;
    const auto* after = plane.after + row * plane.afterStride;
    if (!isEqual(row, 0, left))
      left = static_cast<int>(std::mismatch(before, before + left, after).first - before);
    if (!isEqual(row, right, plane.width)) {
      int last = plane.width - 1;
      while (before[last] == after[last]) --last;
      right = last + 1;
    }
  }
  return {left, top, right - left, bottom - top};
}

}  // namespace

PixelRect changedPart(const PicturePlanes& before, const PicturePlanes& after) {
  if (before.format != after.format || before.matrix != after.matrix || before.range != after.range ||
      !(before.size == after.size))
    return PixelRect::of(after.size);
  const bool isWide = after.format == PlaneFormat::i010 || after.format == PlaneFormat::p010;
  const bool isInterleaved = after.format == PlaneFormat::nv12 || after.format == PlaneFormat::p010;
  PixelRect changed;
  for (std::size_t number = 0; number < (isInterleaved ? 2U : 3U); ++number) {
    const int pixels = number == 0 ? 1 : 2;  // that share a sample, along each axis
    const int bytes = (isWide ? 2 : 1) * (number > 0 && isInterleaved ? 2 : 1);
    const auto part = changedPart(Plane{.before = before.planes[number],
                                        .after = after.planes[number],
                                        .beforeStride = before.strides[number],
                                        .afterStride = after.strides[number],
                                        .width = (after.size.width + pixels - 1) / pixels * bytes,
                                        .height = (after.size.height + pixels - 1) / pixels});
    if (part.isEmpty()) continue;
    const int left = part.x / bytes * pixels;
    const int right = (part.maxX() + bytes - 1) / bytes * pixels;
    changed = changed.unionWith({left, part.y * pixels, right - left, part.height * pixels});
  }
  return changed.intersectionWith(PixelRect::of(after.size));
}

PixelRect shownPart(const PixelRect& part, PixelSize picture, const PixelRect& destination) {
  if (part.isEmpty() || picture.width <= 0 || picture.height <= 0) return {};
  // Interpolation reaches a source pixel further; see tapsOf.
  const auto begin = [](std::int64_t first, std::int64_t source, std::int64_t length) {
    return source == length ? first : std::max<std::int64_t>(0, (first - 1) * length / source - 1);
  };
  const auto end = [](std::int64_t last, std::int64_t source, std::int64_t length) {
    return source == length ? last : std::min(length, ((last + 1) * length + source - 1) / source + 1);
  };
  const auto left = static_cast<int>(begin(part.x, picture.width, destination.width));
  const auto top = static_cast<int>(begin(part.y, picture.height, destination.height));
  return {destination.x + left, destination.y + top,
          static_cast<int>(end(part.maxX(), picture.width, destination.width)) - left,
          static_cast<int>(end(part.maxY(), picture.height, destination.height)) - top};
}

}  // namespace quorl::viewer
