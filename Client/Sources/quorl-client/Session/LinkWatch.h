// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstdint>

#include <quorl-client/Base/Waiter.h>

namespace quorl::client {

/// Detects a host that vanished: after a silence it is pinged, and without an answer it is given up.
///
/// *Queue*: one at a time. *Ownership*: a value.
class LinkWatch {
 public:
  static constexpr auto askAfter = std::chrono::seconds(5);
  static constexpr auto lostAfter = std::chrono::seconds(15);

  enum class Action : std::uint8_t { none, ask, giveUp };

  explicit LinkWatch(Clock::time_point now) : heardAt_(now), askAt_(now + askAfter) {}

  void heard(Clock::time_point now) {
    heardAt_ = now;
    askAt_ = now + askAfter;
  }
  Action act(Clock::time_point now) {
    if (now - heardAt_ >= lostAfter) return Action::giveUp;
    if (now < askAt_) return Action::none;
    askAt_ = now + askAfter;
    return Action::ask;
  }
  Clock::time_point due() const { return std::min<Clock::time_point>(askAt_, heardAt_ + lostAfter); }

 private:
  Clock::time_point heardAt_;
  Clock::time_point askAt_;
};

}  // namespace quorl::client
