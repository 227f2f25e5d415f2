// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <compare>

namespace quorl {

/// A wall-clock time in a record: seconds since 1970-01-01 00:00:00 UTC, with fractions. Delays and throttles
/// use the scheduler's monotonic time instead.
struct Date {
  double secondsSince1970 = 0;

  auto operator<=>(const Date&) const = default;
};

}  // namespace quorl
