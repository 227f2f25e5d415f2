// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>

#include <quorl-client/Base/Waiter.h>
#include <quorl-client/Video/Decoder.h>

namespace quorl::viewer {

/// When a picture passed each step, on this machine's clock.
struct PictureTiming {
  std::uint64_t ptsMicros = 0;  // the host's clock, when the picture was taken
  std::size_t bytes = 0;
  bool isKeyframe = false;
  client::Clock::time_point arrival;
  client::Clock::time_point decodeBegin;
  client::Clock::time_point decodeEnd;
};

struct TimedPicture {
  client::DecodedPicture picture;
  PictureTiming timing;
};

/// Room for one picture between the decode thread and the window: the newest wins.
///
/// *Queue*: any. *Ownership*: owns the picture that waits.
class PictureSlot {
 public:
  enum class Put : std::uint8_t { first, replaced };

  /// `first`: the slot was empty, so that the window must be notified.
  Put put(TimedPicture picture) {
    std::optional<TimedPicture> old(std::move(picture));
    const std::lock_guard lock(mutex_);
    std::swap(old, waiting_);
    if (!old) return Put::first;
    ++replaced_;
    return Put::replaced;
  }

  std::optional<TimedPicture> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(waiting_, std::nullopt);
  }

  /// Pictures that a newer one replaced before they were taken.
  std::uint64_t replaced() const {
    const std::lock_guard lock(mutex_);
    return replaced_;
  }

 private:
  mutable std::mutex mutex_;
  std::optional<TimedPicture> waiting_;
  std::uint64_t replaced_ = 0;
};

}  // namespace quorl::viewer
