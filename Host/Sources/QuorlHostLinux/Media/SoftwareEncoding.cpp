// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/SoftwareEncoding.h>

#include <algorithm>
#include <cmath>
#include <thread>

namespace quorl {

namespace {

constexpr unsigned mostThreads = 4;
// The factor at the middle of the rates' range, and how many steps a doubling of the rate is worth.
constexpr double middleBitsPerPixel = 0.11;
constexpr double middleFactor = 22;
constexpr double stepsPerDoubling = 2;
constexpr std::uint8_t grey = 128;

}  // namespace

int encodingThreads() {
  return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, mostThreads));
}

float constantRateFactor(const CompressionRates& rates, PixelSize size) {
  const double pixelsPerSecond =
      static_cast<double>(std::max(rates.expectedFrameRate, 1)) * size.width * size.height;
  const double bitsPerPixel = static_cast<double>(rates.averageBitRate) / pixelsPerSecond;
  const double factor = middleFactor - stepsPerDoubling * std::log2(bitsPerPixel / middleBitsPerPixel);
  return static_cast<float>(std::clamp(factor, 18.0, 26.0));
}

GreyPicture::GreyPicture(PixelSize pictureSize)
    : bytes_(
          static_cast<std::size_t>(pictureSize.width) * static_cast<std::size_t>(pictureSize.height) * 3 / 2,
          grey) {
  size = pictureSize;
  lumaStride = static_cast<std::size_t>(pictureSize.width);
  chromaStride = lumaStride;
  luma = bytes_.data();
  chroma = bytes_.data() + lumaStride * static_cast<std::size_t>(pictureSize.height);
}

}  // namespace quorl
