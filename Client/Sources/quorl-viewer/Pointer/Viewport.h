// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl::viewer {

enum class ScaleMode : std::uint8_t {
  fit,    // the whole picture in the view
  exact,  // a pixel of the picture is a device pixel
  fixed,  // `Viewport::Layout::factor` device pixels a pixel
};

/// Places the picture in the view, and maps between them. The view counts device pixels: points of the window
/// times its scale factor, rounded.
///
/// *Queue*: a value; one thread at a time.
class Viewport {
 public:
  struct Layout {
    PixelSize picture;     // of the host
    PixelSize view;        // in device pixels
    double viewScale = 1;  // device pixels a point of the window
    ScaleMode mode = ScaleMode::fit;
    double factor = 1;
  };
  /// A position in the picture, 0 to 1 from its upper left corner.
  struct Place {
    float x = 0;
    float y = 0;

    bool operator==(const Place&) const = default;
  };

  Viewport() = default;
  explicit Viewport(const Layout& layout) { set(layout); }

  /// Keeps the middle of what is seen.
  void set(const Layout& layout);
  /// Moves what is seen by device pixels, as far as the picture goes. True if it moved.
  bool pan(int dx, int dy);

  const Layout& layout() const { return layout_; }
  /// The picture in the view, in device pixels. Parts may be outside.
  PixelRect target() const { return target_; }
  /// The part of the target that is seen.
  PixelRect visible() const;
  bool isWholePixels() const;  // each pixel of the picture is the same whole number of device pixels

  /// The place under a position of the window, in points. Nothing outside the picture.
  std::optional<Place> placeAt(PointXY windowPoint) const;
  /// The nearest place in the picture.
  std::optional<Place> nearestPlace(PointXY windowPoint) const;
  /// In points of the window.
  PointXY windowPointOf(Place place) const;

 private:
  void placePicture(double middleX, double middleY);
  PointXY devicePoint(PointXY windowPoint) const;

  Layout layout_;
  PixelRect target_;
};

}  // namespace quorl::viewer
