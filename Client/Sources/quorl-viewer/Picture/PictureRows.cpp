// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/PictureRows.h>

#include <libyuv/convert_argb.h>
#include <quorl-viewer/Picture/ColourMatrices.h>

namespace quorl::viewer {
namespace {

using client::PicturePlanes;
using client::PlaneFormat;

const std::uint8_t* at(const PicturePlanes& picture, std::size_t plane, int x, int y,
                       std::size_t sampleSize) {
  return picture.planes[plane] + static_cast<std::ptrdiff_t>(y) * picture.strides[plane] +
         static_cast<std::ptrdiff_t>(x) * static_cast<std::ptrdiff_t>(sampleSize);
}

const std::uint16_t* wide(const std::uint8_t* samples) {
  return reinterpret_cast<const std::uint16_t*>(samples);
}

// The conversions begin with a whole chroma sample: `part` has an even corner, or is one pixel wide or high
// on the side whose corner is odd.
void convertAligned(const PicturePlanes& picture, const PixelRect& part, std::uint8_t* pixels, int stride) {
  const auto& constants = yuvConstants(picture.matrix, picture.range);
  const auto& strides = picture.strides;
  const int chromaX = part.x / 2;
  const int chromaY = part.y / 2;
  switch (picture.format) {
    case PlaneFormat::i420:
      libyuv::I420ToARGBMatrix(at(picture, 0, part.x, part.y, 1), strides[0],
                               at(picture, 1, chromaX, chromaY, 1), strides[1],
                               at(picture, 2, chromaX, chromaY, 1), strides[2], pixels, stride, &constants,
                               part.width, part.height);
      return;
    case PlaneFormat::nv12:
      libyuv::NV12ToARGBMatrix(at(picture, 0, part.x, part.y, 1), strides[0],
                               at(picture, 1, chromaX, chromaY, 2), strides[1], pixels, stride, &constants,
                               part.width, part.height);
      return;
    case PlaneFormat::i010:
      libyuv::I010ToARGBMatrix(wide(at(picture, 0, part.x, part.y, 2)), strides[0] / 2,
                               wide(at(picture, 1, chromaX, chromaY, 2)), strides[1] / 2,
                               wide(at(picture, 2, chromaX, chromaY, 2)), strides[2] / 2, pixels, stride,
                               &constants, part.width, part.height);
      return;
    case PlaneFormat::p010:
      libyuv::P010ToARGBMatrix(wide(at(picture, 0, part.x, part.y, 2)), strides[0] / 2,
                               wide(at(picture, 1, chromaX, chromaY, 4)), strides[1] / 2, pixels, stride,
                               &constants, part.width, part.height);
      return;
  }
}

}  // namespace

void convertPart(const PicturePlanes& picture, const PixelRect& part, std::uint8_t* pixels,
                 std::size_t stride) {
  if (part.isEmpty()) return;
  const int oddColumn = part.x % 2;
  const int oddRow = part.y % 2;
  for (const int bottom : {0, 1}) {
    const int y = part.y + (bottom ? oddRow : 0);
    const int height = bottom ? part.height - oddRow : oddRow;
    if (height <= 0) continue;
    for (const int right : {0, 1}) {
      const int x = part.x + (right ? oddColumn : 0);
      const int width = right ? part.width - oddColumn : oddColumn;
      if (width <= 0) continue;
      convertAligned(picture, {x, y, width, height},
                     pixels + static_cast<std::size_t>(y - part.y) * stride +
                         static_cast<std::size_t>(x - part.x) * bytesPerPixel,
                     static_cast<int>(stride));
    }
  }
}

}  // namespace quorl::viewer
