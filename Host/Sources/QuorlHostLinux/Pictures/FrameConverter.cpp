// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Pictures/FrameConverter.h>

#include <algorithm>
#include <cmath>

#include <libyuv/convert_from_argb.h>
#include <libyuv/scale_argb.h>

namespace quorl {

namespace {

constexpr std::size_t bytesPerPixel = 4;
// Even, and small enough that no row waits for rows far below it.
constexpr int bandRows = 64;

bool isCutOnly(PixelSize source, PixelSize picture) {
  const int wider = source.width - picture.width;
  const int higher = source.height - picture.height;
  return wider >= 0 && wider <= 1 && higher >= 0 && higher <= 1;
}

const std::uint8_t* at(const PixelView& view, int x, int y) {
  return view.pixels + static_cast<std::size_t>(y) * view.stride +
         static_cast<std::size_t>(x) * bytesPerPixel;
}

int intStride(std::size_t stride) {
  return static_cast<int>(stride);
}

}  // namespace

PixelView FrameConverter::Level::view() const {
  return {pixels.data(), static_cast<std::size_t>(size.width) * bytesPerPixel, size};
}

FrameConverter::FrameConverter(PixelSize source, PixelSize picture)
    : source_(source), picture_(picture), isScaling_(!isCutOnly(source, picture)) {
  if (!isScaling_) return;
  const auto makeLevel = [](PixelSize size) {
    // The scaler may read one row beyond the last.
    return Level{size, std::vector<std::uint8_t>(static_cast<std::size_t>(size.width) *
                                                 static_cast<std::size_t>(size.height + 1) * bytesPerPixel)};
  };
  // A bilinear filter sees two pixels each way: beyond a factor of two it would skip some.
  PixelSize size = source;
  while (size.width > 2 * picture.width && size.height > 2 * picture.height) {
    size = {size.width / 2, size.height / 2};
    halves_.push_back(makeLevel(size));
  }
  scaled_ = makeLevel(picture);
}

PixelRect FrameConverter::evenRect(const PixelRect& rect) const {
  const int x = rect.x & ~1;
  const int y = rect.y & ~1;
  const PixelRect even{x, y, (rect.x + rect.width + 1 - x) & ~1, (rect.y + rect.height + 1 - y) & ~1};
  return even.intersectionWith(PixelRect::of(picture_));
}

PixelRect FrameConverter::scaledRect(const PixelRect& rect, PixelSize from, PixelSize to) const {
  // Two more pixels on each side, for the filter's neighbours and for rounding.
  constexpr int margin = 2;
  const double fx = double(to.width) / from.width;
  const double fy = double(to.height) / from.height;
  const int x0 = static_cast<int>(std::floor((rect.x - margin) * fx));
  const int y0 = static_cast<int>(std::floor((rect.y - margin) * fy));
  const int x1 = static_cast<int>(std::ceil((rect.x + rect.width + margin) * fx));
  const int y1 = static_cast<int>(std::ceil((rect.y + rect.height + margin) * fy));
  return PixelRect{x0, y0, x1 - x0, y1 - y0}.intersectionWith(PixelRect::of(to));
}

PixelRect FrameConverter::halve(const PixelView& from, Level& to, const PixelRect& rect) const {
  const PixelRect rounded{rect.x / 2, rect.y / 2, (rect.x % 2 + rect.width + 1) / 2,
                          (rect.y % 2 + rect.height + 1) / 2};
  const PixelRect half = rounded.intersectionWith(PixelRect::of(to.size));
  if (half.isEmpty()) return half;
  const std::size_t stride = static_cast<std::size_t>(to.size.width) * bytesPerPixel;
  libyuv::ARGBScale(at(from, half.x * 2, half.y * 2), intStride(from.stride), half.width * 2, half.height * 2,
                    to.pixels.data() + static_cast<std::size_t>(half.y) * stride +
                        static_cast<std::size_t>(half.x) * bytesPerPixel,
                    intStride(stride), half.width, half.height, libyuv::kFilterBox);
  return half;
}

DirtyRegion FrameConverter::update(const PixelView& source, const DirtyRegion& changed) {
  DirtyRegion result;
  if (!isScaling_) {
    for (const auto& rect : changed.rects()) result.add(evenRect(rect));
    return result;
  }
  DirtyRegion dirty = changed;
  PixelView from = source;
  for (auto& level : halves_) {
    DirtyRegion halved;
    for (const auto& rect : dirty.rects()) halved.add(halve(from, level, rect));
    dirty = halved;
    from = level.view();
  }
  for (const auto& rect : dirty.rects()) result.add(evenRect(scaledRect(rect, from.size, picture_)));
  const auto stride = intStride(static_cast<std::size_t>(picture_.width) * bytesPerPixel);
  // Enlarging reads beyond the clip's last row, so the whole picture is scaled. This happens for tiny sources
  // only.
  const bool isEnlarging = from.size.width < picture_.width || from.size.height < picture_.height;
  if (isEnlarging && !result.isEmpty()) {
    result = DirtyRegion(PixelRect::of(picture_));
    libyuv::ARGBScale(from.pixels, intStride(from.stride), from.size.width, from.size.height,
                      scaled_.pixels.data(), stride, picture_.width, picture_.height,
                      libyuv::kFilterBilinear);
    return result;
  }
  for (const auto& rect : result.rects()) {
    libyuv::ARGBScaleClip(from.pixels, intStride(from.stride), from.size.width, from.size.height,
                          scaled_.pixels.data(), stride, picture_.width, picture_.height, rect.x, rect.y,
                          rect.width, rect.height, libyuv::kFilterBilinear);
  }
  return result;
}

void FrameConverter::convert(const PixelView& source, const DirtyRegion& rects, const PlanesView& picture,
                             const AwaitRows& await) const {
  const PixelView from = isScaling_ ? scaled_.view() : source;
  for (const auto& rect : rects.rects()) {
    for (int top = 0; top < rect.height; top += bandRows) {
      const PixelRect band{rect.x, rect.y + top, rect.width, std::min(bandRows, rect.height - top)};
      if (!isScaling_) await(band.y + band.height);
      convertPart(from, band, picture);
    }
  }
}

void FrameConverter::convertPart(const PixelView& from, const PixelRect& part, const PlanesView& picture) {
  const auto x = static_cast<std::size_t>(part.x);
  const auto y = static_cast<std::size_t>(part.y);
  // libyuv's "ARGB" names the bytes of a little-endian word: blue first, as X has them.
  libyuv::ARGBToNV12(at(from, part.x, part.y), intStride(from.stride),
                     picture.luma + y * picture.lumaStride + x, intStride(picture.lumaStride),
                     picture.chroma + y / 2 * picture.chromaStride + x, intStride(picture.chromaStride),
                     part.width, part.height);
}

}  // namespace quorl
