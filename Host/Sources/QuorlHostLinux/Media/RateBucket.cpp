// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/RateBucket.h>

#include <algorithm>

namespace quorl {

RateBucket::RateBucket(std::int64_t bitsPerSecond)
    : rate_(static_cast<double>(bitsPerSecond)), fill_(rate_ * capacitySeconds) {}

void RateBucket::setRate(std::int64_t bitsPerSecond) {
  rate_ = static_cast<double>(bitsPerSecond);
  const double capacity = rate_ * capacitySeconds;
  fill_ = lastTime_ ? std::min(fill_, capacity) : capacity;
}

void RateBucket::advance(Time presentationTime) {
  if (lastTime_ && presentationTime > *lastTime_) {
    const double seconds = std::chrono::duration<double>(presentationTime - *lastTime_).count();
    fill_ = std::min(fill_ + seconds * rate_, rate_ * capacitySeconds);
  }
  lastTime_ = lastTime_ ? std::max(*lastTime_, presentationTime) : presentationTime;
}

}  // namespace quorl
