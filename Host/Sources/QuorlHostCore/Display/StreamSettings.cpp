// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/StreamSettings.h>

#include <algorithm>
#include <chrono>

namespace quorl {

namespace {

constexpr int captureQueueDepth = 5;
// Faster than any screen. Keeps invalid values within the arithmetic.
constexpr std::int64_t maximumFrameRate = 1'000;

int frameRateOf(const StreamConfig& config) {
  return static_cast<int>(std::clamp<std::int64_t>(config.maxFPS, 1, maximumFrameRate));
}

}  // namespace

Duration frameIntervalFor(const StreamConfig& config) {
  return Duration(std::chrono::seconds(1)) / frameRateOf(config);
}

CaptureSettings captureSettingsFor(const StreamConfig& config, PixelSize size) {
  return {.size = size,
          .minimumFrameInterval = std::chrono::round<std::chrono::microseconds>(frameIntervalFor(config)),
          .showsCursor = config.showsCursor,
          .queueDepth = captureQueueDepth};
}

VideoEncoder::Parameters encoderParametersFor(const StreamConfig& config, PixelSize size) {
  return {.size = size, .codec = config.codec, .fps = frameRateOf(config), .quality = config.quality};
}

}  // namespace quorl
