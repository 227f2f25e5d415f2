// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <quorl-client/Video/PicturePlanes.h>
#include <quorl-viewer/Picture/SmoothScaler.h>

namespace quorl::viewer {

/// Pixels to paint on: blue, green, red, unused; rows from the top. Borrowed.
struct Canvas {
  std::uint8_t* pixels = nullptr;
  std::size_t stride = 0;  // bytes
  PixelSize size;
};

/// `sharp`: whole multiples of the source's size repeat its pixels, everything else is filtered. `smooth`:
/// whole multiples are filtered too. At 1:1 both are exact.
enum class Scaling : std::uint8_t { sharp, smooth };

/// Paints pictures: converts their colours and scales them in one pass over the canvas. A large canvas is
/// filtered in strips, on as many threads as the processor has, for the time of the call.
///
/// *Queue*: one at a time. *Blocking*: until everything is painted. *Ownership*: owns tables and rows;
/// borrows picture and canvas for the call.
class PicturePainter {
 public:
  /// Paints the part `damaged` of the canvas, as far as `destination` covers it, with the part `source` of
  /// the picture. A repaint of a part gives the same pixels as a repaint of everything. `destination` may
  /// extend beyond the canvas. Paints nothing if `source` is empty or not within the picture.
  void paint(const client::PicturePlanes& picture, const Canvas& canvas, const PixelRect& source,
             const PixelRect& destination, const PixelRect& damaged, Scaling scaling = Scaling::sharp);

 private:
  void filter(const client::PicturePlanes& picture, const PixelRect& source, const PixelRect& destination,
              const PixelRect& clip, std::uint8_t* pixels, std::size_t stride);
  void repeat(const client::PicturePlanes& picture, const PixelRect& source, const PixelRect& destination,
              const PixelRect& clip, std::uint8_t* pixels, std::size_t stride);

  std::vector<SmoothScaler> scalers_;  // one a strip
  std::vector<std::uint32_t> row_;
  std::vector<std::uint32_t> wideRow_;
};

}  // namespace quorl::viewer
