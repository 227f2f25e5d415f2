// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <expected>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

#include <QuorlHostCore/Ports/VideoCompressor.h>

namespace quorl {

/// One kind of encoder.
struct VideoBackend {
  using Make = std::function<std::expected<std::unique_ptr<VideoCompressor>, PortError>(
      const CompressorSpecification&, VideoCompressor::Output)>;

  std::string_view name;
  VideoCodec codec = VideoCodec::h264;
  bool (*isThere)() = nullptr;  // on this machine; called once
  Make make;
  /// The encoder is not used for sizes at which a picture of a moving screen takes longer than this. 0: not
  /// measured.
  std::chrono::microseconds longestPictureTime{0};
};

/// The encoders that the host knows, the best of each codec first.
std::span<const VideoBackend> videoBackends();

}  // namespace quorl
