// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>

#include <quorl-client/Base/Waiter.h>

namespace quorl::client {

/// Relates the time stamps of a host to this machine's clock. The two clocks begin at different moments, so
/// one delay cannot be measured, but the least delay of the last seconds is the fixed part of all of them.
/// What exceeds it is the time that an event has waited.
///
/// Old measurements expire, because two clocks drift apart by up to 0.1 ms each second.
///
/// *Queue*: a value. Pure.
class LeastDelay {
 public:
  static constexpr std::chrono::seconds window{20};

  /// How much longer this event took than the fastest one of the window.
  Clock::duration excess(std::uint64_t ptsMicros, Clock::time_point arrival) {
    const auto delay = delayOf(ptsMicros, arrival);
    const auto second = std::chrono::floor<std::chrono::seconds>(arrival);
    if (seconds_.empty() || seconds_.back().begin < second)
      seconds_.push_back({second, delay});
    else
      seconds_.back().least = std::min(seconds_.back().least, delay);
    while (seconds_.front().begin <= second - window) seconds_.pop_front();
    return delay - *least();
  }

  /// When the time stamp was made, if the fastest event took no time.
  std::optional<Clock::time_point> timeOf(std::uint64_t ptsMicros) const {
    const auto delay = least();
    if (!delay) return std::nullopt;
    return Clock::time_point(*delay + stamp(ptsMicros));
  }

  void forget() { seconds_.clear(); }

 private:
  struct Second {
    std::chrono::time_point<Clock, std::chrono::seconds> begin;
    Clock::duration least;
  };

  // Wraps like the time stamps of a host that sends nonsense.
  static Clock::duration stamp(std::uint64_t ptsMicros) {
    return std::chrono::microseconds(static_cast<std::int64_t>(ptsMicros % (1ULL << 52U)));
  }
  static Clock::duration delayOf(std::uint64_t ptsMicros, Clock::time_point arrival) {
    return arrival.time_since_epoch() - stamp(ptsMicros);
  }
  std::optional<Clock::duration> least() const {
    if (seconds_.empty()) return std::nullopt;
    return std::ranges::min_element(seconds_, {}, &Second::least)->least;
  }

  std::deque<Second> seconds_;
};

}  // namespace quorl::client
