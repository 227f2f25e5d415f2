// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Users/CredentialLimiter.h>

namespace quorl {

bool CredentialLimiter::recordFailure(MonotonicTime now) {
  while (!failures_.empty() && now - failures_.front() > window) failures_.pop_front();
  failures_.push_back(now);
  if (failures_.size() < threshold) return false;
  failures_.clear();
  lockedUntil_ = now + lockTime;
  return true;
}

}  // namespace quorl
