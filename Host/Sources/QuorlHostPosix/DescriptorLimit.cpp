// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/DescriptorLimit.h>

#include <sys/resource.h>

#include <algorithm>

namespace quorl {

std::optional<std::uint64_t> raiseDescriptorLimit(std::uint64_t wanted) {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return std::nullopt;
  const rlim_t possible = std::min<rlim_t>(limit.rlim_max, wanted);
  const rlim_t before = limit.rlim_cur;
  if (before >= possible) return std::nullopt;
  limit.rlim_cur = possible;
  if (::setrlimit(RLIMIT_NOFILE, &limit) != 0) return std::nullopt;
  return before;
}

void lowerDescriptorLimit(std::uint64_t earlier) {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, earlier);
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace quorl
