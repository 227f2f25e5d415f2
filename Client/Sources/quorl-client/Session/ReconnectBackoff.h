// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <optional>

#include <quorl-client/Base/Waiter.h>

namespace quorl::client {

// How long to wait before the next attempt to connect: soon at first, as most breaks are short, then more
// and more seldom.
// Queue: one at a time. Ownership: a value.
class ReconnectBackoff {
 public:
  static constexpr Clock::duration first = std::chrono::milliseconds(250);
  static constexpr Clock::duration last = std::chrono::seconds(8);
  // A connection that held so long was a good one.
  static constexpr Clock::duration stable = std::chrono::seconds(10);

  Clock::duration next() {
    const auto delay = delay_;
    delay_ = std::min(delay_ * 2, last);
    return delay;
  }
  void connected(Clock::time_point now) { connectedAt_ = now; }
  void lost(Clock::time_point now) {
    if (connectedAt_ && now - *connectedAt_ >= stable) delay_ = first;
    connectedAt_.reset();
  }

 private:
  Clock::duration delay_ = first;
  std::optional<Clock::time_point> connectedAt_;
};

}  // namespace quorl::client
