// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include <QuorlHostLinux/Pictures/DirtyRegion.h>
#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// Pixels in memory: blue, green, red, unused; rows from the top. Borrowed.
struct PixelView {
  const std::uint8_t* pixels = nullptr;
  std::size_t stride = 0;
  PixelSize size;
};

/// Waits until the rows of a source above `bottom` can be read.
using AwaitRows = std::function<void(int bottom)>;

/// A picture of two planes (NV12) to write into. Borrowed.
struct PlanesView {
  std::uint8_t* luma = nullptr;
  std::size_t lumaStride = 0;
  std::uint8_t* chroma = nullptr;
  std::size_t chromaStride = 0;
};

/// Converts changed parts of a source to parts of a picture: scaled if their sizes differ, in BT.601 limited
/// range (ITU-R BT.601-7), 4:2:0.
///
/// A source one pixel larger than the picture is cut, not scaled: pictures have even sides, and scaling by a
/// pixel would blur every letter.
///
/// *Queue*: one thread at a time.
/// *Ownership*: owns the scaled copies; borrows source and picture for the call.
class FrameConverter {
 public:
  FrameConverter(PixelSize source, PixelSize picture);

  /// Takes the changes of the source and returns the rectangles of the picture that differ. Their corners are
  /// even. Reads the source's pixels only if it scales.
  DirtyRegion update(const PixelView& source, const DirtyRegion& changed);

  /// Writes these rectangles of the picture (even corners) as of the last `update` of `source`. Awaits rows
  /// of the source just before reading them.
  void convert(const PixelView& source, const DirtyRegion& rects, const PlanesView& picture,
               const AwaitRows& await) const;

  bool isScaling() const { return isScaling_; }

 private:
  struct Level {
    PixelSize size;
    std::vector<std::uint8_t> pixels;
    PixelView view() const;
  };
  PixelRect scaledRect(const PixelRect& rect, PixelSize from, PixelSize to) const;
  PixelRect halve(const PixelView& from, Level& to, const PixelRect& rect) const;
  PixelRect evenRect(const PixelRect& rect) const;
  static void convertPart(const PixelView& from, const PixelRect& part, const PlanesView& picture);

  PixelSize source_;
  PixelSize picture_;
  bool isScaling_;
  std::vector<Level> halves_;  // each half the size of the one before, while more than twice the picture
  Level scaled_;               // of the picture's size
};

}  // namespace quorl
