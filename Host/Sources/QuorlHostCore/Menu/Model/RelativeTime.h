// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QuorlKit/Foundation/Date.h>

namespace quorl {

/// The age of `since` in its largest unit, truncated: "59s", "59m", "3h". A date in the future is "0s".
std::string shortAge(Date since, Date now);

/// The same with " ago".
std::string longAge(Date since, Date now);

}  // namespace quorl
