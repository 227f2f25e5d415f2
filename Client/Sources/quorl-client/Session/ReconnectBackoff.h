// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <optional>

#include <quorl-client/Base/Waiter.h>

namespace quorl::client {

/// The delay before the next attempt to connect: short at first, because most breaks are short, then doubled
/// up to a limit.
///
/// *Queue*: one at a time. *Ownership*: a value.
class ReconnectBackoff {
 public:
  static constexpr Clock::duration first = std::chrono::milliseconds(250);
  static constexpr Clock::duration last = std::chrono::seconds(8);
  /// After a connection that lasted this long, the delay starts from `first`.
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
