// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string_view>

#include <QuorlHostLinux/Media/VideoBackends.h>

namespace quorl {

/// The time that an encoder takes on this machine for a picture of a moving screen, a scrolling page of text.
/// Measured with a separate encoder for a quarter of a full-HD screen. The result is kept for ten minutes,
/// because the other load of the machine changes.
///
/// *Queue*: any; a query waits for a running measurement.
/// *Blocking*: some 200 ms where it measures.
class EncodingPace {
 public:
  using Now = std::function<std::chrono::microseconds()>;

  /// `now` is a monotonic clock.
  explicit EncodingPace(Now now) : now_(std::move(now)) {}

  /// In proportion to the pixels. The fastest of the measured pictures counts, so that other load does not
  /// distort it. Nothing if no encoder of this kind can be made.
  std::optional<std::chrono::microseconds> pictureTime(const VideoBackend& backend, PixelSize size);

 private:
  struct Measured {
    std::chrono::microseconds time;
    std::chrono::microseconds at;
  };

  std::optional<std::chrono::microseconds> measure(const VideoBackend& backend) const;

  const Now now_;
  std::mutex mutex_;
  std::map<std::string_view, Measured> measured_;  // by the backend's name
};

}  // namespace quorl
