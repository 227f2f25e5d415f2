// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/PicturePainter.h>

#include <cstring>

#include <quorl-viewer/Picture/PictureRows.h>

namespace quorl::viewer {
namespace {

bool isWholeMultiple(const PixelRect& source, const PixelRect& destination) {
  return destination.width % source.width == 0 && destination.height % source.height == 0;
}

bool isOneToOne(const PixelRect& source, const PixelRect& destination) {
  return destination.width == source.width && destination.height == source.height;
}

}  // namespace

void PicturePainter::paint(const client::PicturePlanes& picture, const Canvas& canvas,
                           const PixelRect& source, const PixelRect& destination, const PixelRect& damaged,
                           Scaling scaling) {
  if (source.isEmpty() || !PixelRect::of(picture.size).contains(source)) return;
  const auto clip = damaged.intersectionWith(destination).intersectionWith(PixelRect::of(canvas.size));
  if (clip.isEmpty()) return;
  auto* const pixels = canvas.pixels + static_cast<std::size_t>(clip.y) * canvas.stride +
                       static_cast<std::size_t>(clip.x) * bytesPerPixel;
  if (isOneToOne(source, destination))
    convertPart(
        picture,
        {source.x + clip.x - destination.x, source.y + clip.y - destination.y, clip.width, clip.height},
        pixels, canvas.stride);
  else if (scaling == Scaling::sharp && isWholeMultiple(source, destination))
    repeat(picture, source, destination, clip, pixels, canvas.stride);
  else
    scaler_.scale(picture, source, destination, clip, pixels, canvas.stride);
}

void PicturePainter::repeat(const client::PicturePlanes& picture, const PixelRect& source,
                            const PixelRect& destination, const PixelRect& clip, std::uint8_t* pixels,
                            std::size_t stride) {
  const int across = destination.width / source.width;
  const int down = destination.height / source.height;
  const int left = clip.x - destination.x;
  const int first = left / across;
  const int count = (left + clip.width - 1) / across + 1 - first;
  row_.resize(static_cast<std::size_t>(count));
  wideRow_.resize(row_.size() * static_cast<std::size_t>(across));
  const auto* const shown = wideRow_.data() + (left - first * across);
  const auto size = static_cast<std::size_t>(clip.width) * bytesPerPixel;
  int converted = -1;
  for (int y = 0; y < clip.height; ++y, pixels += stride) {
    const int number = (clip.y - destination.y + y) / down;
    if (number != converted) {
      converted = number;
      convertPart(picture, {source.x + first, source.y + number, count, 1},
                  reinterpret_cast<std::uint8_t*>(row_.data()), row_.size() * bytesPerPixel);
      auto* wide = wideRow_.data();
      for (const auto pixel : row_)
        for (int repeated = 0; repeated < across; ++repeated) *wide++ = pixel;
    }
    std::memcpy(pixels, shown, size);
  }
}

}  // namespace quorl::viewer
