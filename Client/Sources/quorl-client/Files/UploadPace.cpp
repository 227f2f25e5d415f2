// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Files/UploadPace.h>

#include <algorithm>

namespace quorl::client {

void UploadPace::observe(const PathState& path, Clock::time_point now) {
  if (now < next_) return;
  const auto delay = path.roundTrip - path.shortestRoundTrip;
  if (delay > longDelay) {
    isStarting_ = false;
    window_ = std::max(smallestWindow, window_ / 4 * 3);
  } else if (delay < shortDelay && path.bytesUnderWay >= window_ / 2) {
    window_ = std::min(largestWindow, isStarting_ ? window_ * 2 : window_ + window_ / 8);
  } else {
    return;
  }
  next_ = now + path.roundTrip;
}

}  // namespace quorl::client
