// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/RateControl.h>

#include <algorithm>

namespace quorl {

namespace {

constexpr double minimumBitsPerPixel = 0.02;
constexpr double bitsPerPixelSpan = 0.18;
constexpr double minimumBitRate = 2'000'000;
constexpr double maximumBitRate = 80'000'000;

constexpr double leastBitsPerPixel = 0.08;
constexpr double leastFrameRate = 8;
// On a link that is faster than the rate by this factor even the largest picture leaves in time.
constexpr double ampleLink = 20;
// One picture may take the link for this long. If fewer fit into a second, each may take longer.
constexpr double pictureSeconds = 0.033;

}  // namespace

CompressionRates compressionRates(PixelSize size, int fps, double quality) {
  // The comparison also turns NaN into 0.
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

std::optional<LinkRates> linkRates(const CompressionRates& rates, PixelSize size, double bytesPerSecond) {
  const double bits = bytesPerSecond * 8;
  if (bytesPerSecond <= 0 || bits >= static_cast<double>(rates.averageBitRate) * ampleLink)
    return std::nullopt;
  const double leastBits = leastBitsPerPixel * size.width * size.height;
  const double most = std::max(rates.expectedFrameRate, 1);
  const double frameRate = std::clamp(bits / leastBits, std::min(leastFrameRate, most), most);
  LinkRates link;
  link.bitRate = std::min(static_cast<std::int64_t>(bits), rates.averageBitRate);
  link.frameRate = static_cast<int>(frameRate);
  link.pictureBytes = static_cast<std::int64_t>(bytesPerSecond * std::max(1 / frameRate, pictureSeconds));
  return link;
}

}  // namespace quorl
