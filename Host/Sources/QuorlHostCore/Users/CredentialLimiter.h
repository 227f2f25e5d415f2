// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>

namespace quorl {

/// Decides when wrong passwords stop further checks: too many within a window, counted for the whole process
/// and not per client, so that reconnecting does not help a client that guesses. Pure: times in, verdicts
/// out.
class CredentialLimiter {
 public:
  static constexpr Duration window = std::chrono::seconds(60);
  static constexpr Duration lockTime = std::chrono::seconds(60);
  static constexpr std::size_t threshold = 10;

  bool mayCheck(MonotonicTime now) const { return !lockedUntil_ || now >= *lockedUntil_; }
  /// Returns whether checks are locked now.
  bool recordFailure(MonotonicTime now);

 private:
  std::deque<MonotonicTime> failures_;
  std::optional<MonotonicTime> lockedUntil_;
};

}  // namespace quorl
