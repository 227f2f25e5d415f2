// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <compare>

namespace quorl {

// A wall-clock instant as records carry it: seconds since 1970-01-01 00:00:00 UTC, fractions kept. Delays
// and throttles are measured with the scheduler's monotonic time instead.
struct Date {
  double secondsSince1970 = 0;

  auto operator<=>(const Date&) const = default;
};

}  // namespace quorl
