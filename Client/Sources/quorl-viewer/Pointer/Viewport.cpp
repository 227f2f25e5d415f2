// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Pointer/Viewport.h>

#include <algorithm>
#include <cmath>

namespace quorl::viewer {
namespace {

constexpr double smallestFactor = 0.05;
constexpr double largestFactor = 20;

double factorOf(const Viewport::Layout& layout) {
  switch (layout.mode) {
    case ScaleMode::exact:
      return 1;
    case ScaleMode::fixed:
      return std::isfinite(layout.factor) ? std::clamp(layout.factor, smallestFactor, largestFactor) : 1;
    case ScaleMode::fit:
      break;
  }
  return std::min(double(layout.view.width) / layout.picture.width,
                  double(layout.view.height) / layout.picture.height);
}

/// Where a side of the picture begins: in the middle of the view, or within it so that no gap appears.
int startOf(int length, int view, double middle) {
  if (length <= view) return (view - length) / 2;
  return std::clamp(static_cast<int>(std::lround(view / 2.0 - middle * length)), view - length, 0);
}

}  // namespace

void Viewport::set(const Layout& layout) {
  double middleX = 0.5;
  double middleY = 0.5;
  if (!target_.isEmpty()) {
    middleX = (layout_.view.width / 2.0 - target_.x) / target_.width;
    middleY = (layout_.view.height / 2.0 - target_.y) / target_.height;
  }
  layout_ = layout;
  if (!(layout_.viewScale > 0) || !std::isfinite(layout_.viewScale)) layout_.viewScale = 1;
  placePicture(middleX, middleY);
}

void Viewport::placePicture(double middleX, double middleY) {
  const auto& [picture, view, viewScale, mode, factor] = layout_;
  target_ = {};
  if (picture.width <= 0 || picture.height <= 0 || view.width <= 0 || view.height <= 0) return;
  const double scale = factorOf(layout_);
  const auto length = [scale](int side) { return std::max(1, static_cast<int>(std::lround(side * scale))); };
  target_.width = length(picture.width);
  target_.height = length(picture.height);
  target_.x = startOf(target_.width, view.width, middleX);
  target_.y = startOf(target_.height, view.height, middleY);
}

bool Viewport::pan(int dx, int dy) {
  const auto moved = [](int start, int by, int length, int view) {
    return length <= view ? start : std::clamp(start + by, view - length, 0);
  };
  const PixelRect before = target_;
  target_.x = moved(target_.x, dx, target_.width, layout_.view.width);
  target_.y = moved(target_.y, dy, target_.height, layout_.view.height);
  return target_ != before;
}

PixelRect Viewport::visible() const {
  return target_.intersectionWith(PixelRect::of(layout_.view));
}

bool Viewport::isWholePixels() const {
  const auto& picture = layout_.picture;
  return !target_.isEmpty() && target_.width % picture.width == 0 && target_.height % picture.height == 0 &&
         target_.width / picture.width == target_.height / picture.height;
}

/// The middle of the device pixel: a position of the window is the corner of a pixel.
PointXY Viewport::devicePoint(PointXY windowPoint) const {
  const auto middle = [&](double points) { return std::floor(points * layout_.viewScale + 1e-6) + 0.5; };
  return {middle(windowPoint.x), middle(windowPoint.y)};
}

std::optional<Viewport::Place> Viewport::placeAt(PointXY windowPoint) const {
  const auto [x, y] = devicePoint(windowPoint);
  const PixelRect part = visible();
  if (part.isEmpty() || !(x >= part.x && x < part.maxX() && y >= part.y && y < part.maxY()))
    return std::nullopt;
  return nearestPlace(windowPoint);
}

std::optional<Viewport::Place> Viewport::nearestPlace(PointXY windowPoint) const {
  if (target_.isEmpty() || !std::isfinite(windowPoint.x) || !std::isfinite(windowPoint.y))
    return std::nullopt;
  const auto [x, y] = devicePoint(windowPoint);
  // Never the edge itself, which belongs to the next pixel.
  const auto within = [](double position, int start, int length, int pixels) {
    const double half = 0.5 / pixels;
    return static_cast<float>(std::clamp((position - start) / length, half, 1 - half));
  };
  return Place{within(x, target_.x, target_.width, layout_.picture.width),
               within(y, target_.y, target_.height, layout_.picture.height)};
}

PointXY Viewport::windowPointOf(Place place) const {
  return {(target_.x + double(place.x) * target_.width) / layout_.viewScale,
          (target_.y + double(place.y) * target_.height) / layout_.viewScale};
}

}  // namespace quorl::viewer
