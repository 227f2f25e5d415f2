// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/PicturePainter.h>

#include <algorithm>
#include <cstring>
#include <system_error>
#include <thread>

#include <quorl-viewer/Picture/PictureRows.h>

namespace quorl::viewer {
namespace {

// Below this, a thread costs more than it saves: its start takes some 50 µs, such a strip about 500 µs.
constexpr int smallestStrip = 100'000;  // pixels
constexpr int mostStrips = 4;

int stripsOf(const PixelRect& clip) {
  static const int processors = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  const int worthwhile = std::max(1, clip.width * clip.height / smallestStrip);
  return std::min({worthwhile, processors, mostStrips, clip.height});
}

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
    filter(picture, source, destination, clip, pixels, canvas.stride);
}

void PicturePainter::filter(const client::PicturePlanes& picture, const PixelRect& source,
                            const PixelRect& destination, const PixelRect& clip, std::uint8_t* pixels,
                            std::size_t stride) {
  const int strips = stripsOf(clip);
  scalers_.resize(std::max(scalers_.size(), static_cast<std::size_t>(strips)));
  const auto paintStrip = [&, strips](int strip) {
    const int top = clip.height * strip / strips;
    const int bottom = clip.height * (strip + 1) / strips;
    scalers_[static_cast<std::size_t>(strip)].scale(picture, source, destination,
                                                    {clip.x, clip.y + top, clip.width, bottom - top},
                                                    pixels + static_cast<std::size_t>(top) * stride, stride);
  };
  std::vector<std::jthread> threads;
  int here = 1;  // strips painted on this thread: the first, and those that get none
  for (int strip = strips - 1; strip > 0; --strip) try {
      threads.emplace_back(paintStrip, strip);
    } catch (const std::system_error&) {
      here = strip + 1;
      break;
    }
  for (int strip = 0; strip < here; ++strip) paintStrip(strip);
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
