// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Windows/WindowFrame.h>

#include <algorithm>

namespace quorl {

namespace {

constexpr std::uint32_t widestExtent = 1'000;

PixelRect grown(const PixelRect& rect, const FrameExtents& by) {
  return {rect.x - by.left, rect.y - by.top, rect.width + by.left + by.right,
          rect.height + by.top + by.bottom};
}

bool isShadow(const std::optional<FrameExtents>& extents) {
  return extents && *extents != FrameExtents{};
}

}  // namespace

PixelRect shrunk(const PixelRect& rect, const FrameExtents& by) {
  return grown(rect, {-by.left, -by.right, -by.top, -by.bottom});
}

FrameExtents between(const PixelRect& inner, const PixelRect& outer) {
  return {inner.x - outer.x, outer.maxX() - inner.maxX(), inner.y - outer.y, outer.maxY() - inner.maxY()};
}

std::optional<FrameExtents> frameExtentsOf(const std::vector<std::uint32_t>& property) {
  if (property.size() != 4) return std::nullopt;
  if (std::ranges::any_of(property, [](std::uint32_t value) { return value > widestExtent; }))
    return std::nullopt;
  return FrameExtents{static_cast<int>(property[0]), static_cast<int>(property[1]),
                      static_cast<int>(property[2]), static_cast<int>(property[3])};
}

WindowOutline outlineOf(const WindowShape& shape) {
  PixelRect decorated = shape.frame;
  FrameExtents decoration = between(shape.client, shape.frame);
  if (shape.isFramed && shape.decoration) {
    decoration = *shape.decoration;
    decorated = grown(shape.client, decoration);
    if (shape.isViewable) {
      const PixelRect common = decorated.intersectionWith(shape.frame);
      decorated = common.isEmpty() ? shape.frame : common;
    }
  }
  const PixelRect withoutShadow = isShadow(shape.shadow) ? shrunk(shape.client, *shape.shadow) : PixelRect{};
  if (withoutShadow.isEmpty()) return {.visible = decorated, .padding = decoration, .frameOffset = {}};
  const FrameExtents& shadow = *shape.shadow;
  return {.visible = withoutShadow,
          .padding = {-shadow.left, -shadow.right, -shadow.top, -shadow.bottom},
          .frameOffset = {decoration.left + shadow.left, decoration.top + shadow.top}};
}

}  // namespace quorl
