// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Menu/Model/RelativeTime.h>

#include <algorithm>
#include <cstdint>

#include <fmt/format.h>

namespace quorl {

std::string shortAge(Date since, Date now) {
  // Within the range of the integer, and 0 for a date that is not a number.
  constexpr double longest = 9e15;
  const double age = now.secondsSince1970 - since.secondsSince1970;
  const auto seconds = age > 0 ? static_cast<std::int64_t>(std::min(age, longest)) : 0;
  if (seconds < 60) return fmt::format("{}s", seconds);
  if (seconds < 3600) return fmt::format("{}m", seconds / 60);
  return fmt::format("{}h", seconds / 3600);
}

std::string longAge(Date since, Date now) {
  return shortAge(since, now) + " ago";
}

}  // namespace quorl
