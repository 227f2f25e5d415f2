// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>

namespace quorl {

using Duration = std::chrono::nanoseconds;

/// The clock of delays, throttles and timers. It has no `now()`: only a `Scheduler` reads the time, so that
/// tests control it. Unrelated to the wall clock, whose instants are `Date`.
struct MonotonicClock {
  using duration = Duration;
  using rep = duration::rep;
  using period = duration::period;
  using time_point = std::chrono::time_point<MonotonicClock>;
  static constexpr bool is_steady = true;
};

using MonotonicTime = MonotonicClock::time_point;

}  // namespace quorl
