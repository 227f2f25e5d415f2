// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include <QuorlKit/Foundation/Date.h>

namespace quorl {

/// Decides when wrong PINs lock pairing: too many within a window, counted for the whole process and not per
/// client, so that reconnecting does not help an attacker. Pure: dates in, verdicts out.
class PairingLimiter {
 public:
  static constexpr double windowSeconds = 60;
  static constexpr double lockSeconds = 60;
  static constexpr std::size_t threshold = 10;

  PairingLimiter() = default;
  /// Continues another one.
  PairingLimiter(std::vector<Date> recentFailures, std::optional<Date> lockedUntil)
      : recentFailures_(std::move(recentFailures)), lockedUntil_(lockedUntil) {}

  bool isLockedOut(Date now);
  void recordFailure(Date now);
  void recordSuccess();

  const std::vector<Date>& recentFailures() const { return recentFailures_; }
  std::size_t failureCount() const { return recentFailures_.size(); }
  std::optional<Date> lockedUntil() const { return lockedUntil_; }

 private:
  std::vector<Date> recentFailures_;
  std::optional<Date> lockedUntil_;
};

}  // namespace quorl
