// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/RateControl.h>

#include <algorithm>

namespace quorl {

namespace {

constexpr double minimumBitsPerPixel = 0.02;
constexpr double bitsPerPixelSpan = 0.18;
constexpr double minimumBitRate = 2'000'000;
constexpr double maximumBitRate = 80'000'000;

}  // namespace

CompressionRates compressionRates(PixelSize size, int fps, double quality) {
  // The comparison also turns a quality that is not a number into 0.
  const double clamped = quality > 0 ? std::min(quality, 1.0) : 0.0;
  const double bitsPerPixel = minimumBitsPerPixel + bitsPerPixelSpan * clamped;
  const double rate = bitsPerPixel * fps * size.width * size.height;

  CompressionRates rates;
  rates.expectedFrameRate = fps;
  rates.averageBitRate = static_cast<std::int64_t>(std::clamp(rate, minimumBitRate, maximumBitRate));
  rates.dataRateLimitBytes = rates.averageBitRate * 3 / 16;
  rates.dataRateLimitWindow = std::chrono::seconds(1);
  return rates;
}

}  // namespace quorl
