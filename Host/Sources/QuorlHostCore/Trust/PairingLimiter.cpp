// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Trust/PairingLimiter.h>

namespace quorl {

bool PairingLimiter::isLockedOut(Date now) {
  if (!lockedUntil_) return false;
  if (now < *lockedUntil_) return true;
  lockedUntil_.reset();
  return false;
}

void PairingLimiter::recordFailure(Date now) {
  recentFailures_.push_back(now);
  std::erase_if(recentFailures_, [&](Date failure) {
    return now.secondsSince1970 - failure.secondsSince1970 > windowSeconds;
  });
  if (recentFailures_.size() < threshold) return;
  lockedUntil_ = Date{now.secondsSince1970 + lockSeconds};
  recentFailures_.clear();
}

void PairingLimiter::recordSuccess() {
  recentFailures_.clear();
  lockedUntil_.reset();
}

}  // namespace quorl
