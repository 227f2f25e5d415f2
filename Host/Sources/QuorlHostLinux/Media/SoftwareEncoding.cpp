// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/SoftwareEncoding.h>

#include <algorithm>
#include <random>
#include <thread>

namespace quorl {

namespace {

constexpr unsigned mostThreads = 4;
constexpr std::uint8_t paper = 235;
constexpr std::uint8_t ink = 30;
constexpr std::uint8_t noColour = 128;
constexpr int glyphWidth = 8;
constexpr int glyphHeight = 14;
constexpr int lineHeight = 18;

}  // namespace

int encodingThreads() {
  return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, mostThreads));
}

WarmUpPicture::WarmUpPicture(PixelSize pictureSize, std::uint32_t page)
    : bytes_(
          static_cast<std::size_t>(pictureSize.width) * static_cast<std::size_t>(pictureSize.height) * 3 / 2,
          paper) {
  size = pictureSize;
  lumaStride = static_cast<std::size_t>(pictureSize.width);
  chromaStride = lumaStride;
  luma = bytes_.data();
  const std::size_t lumaSize = lumaStride * static_cast<std::size_t>(pictureSize.height);
  chroma = bytes_.data() + lumaSize;
  std::fill(bytes_.begin() + static_cast<std::ptrdiff_t>(lumaSize), bytes_.end(), noColour);

  std::minstd_rand random(page + 1);
  for (int y = 0; y + glyphHeight <= size.height; y += lineHeight) {
    const int length =
        size.width / 4 + static_cast<int>(random() % static_cast<unsigned>(size.width / 2 + 1));
    for (int x = 0; x + glyphWidth <= length; x += glyphWidth)
      drawGlyph(x, y, static_cast<std::uint32_t>(random()));
  }
}

void WarmUpPicture::drawGlyph(int x, int y, std::uint32_t strokes) {
  const auto at = [this](int column, int row) -> std::uint8_t& {
    return bytes_[static_cast<std::size_t>(row) * lumaStride + static_cast<std::size_t>(column)];
  };
  const int upright = x + static_cast<int>(strokes % 6);
  const int level = y + static_cast<int>(strokes / 8 % glyphHeight);
  for (int row = y + 1; row < y + glyphHeight - 1; ++row) at(upright, row) = ink;
  for (int column = x; column < x + glyphWidth - 1; ++column) at(column, level) = ink;
}

}  // namespace quorl
