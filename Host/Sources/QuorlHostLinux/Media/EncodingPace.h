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

/// How long encoders take for a picture of a moving screen on this machine: a page of text that scrolls.
/// Measured with an encoder of its own for a quarter of a full-HD screen, and remembered for ten minutes,
/// since the other work of the machine changes.
///
/// *Queue*: any; a question waits for a measurement that runs. *Blocking*: some 200 ms where it measures.
class EncodingPace {
 public:
  using Now = std::function<std::chrono::microseconds()>;

  /// `now` is a monotonic clock.
  explicit EncodingPace(Now now) : now_(std::move(now)) {}

  /// In proportion to the pixels. The quickest of the measured pictures counts, so that a moment of other
  /// work does not. Nothing where no encoder of this kind can be made.
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
