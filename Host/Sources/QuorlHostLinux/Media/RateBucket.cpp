// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/RateBucket.h>

#include <algorithm>

namespace quorl {

RateBucket::RateBucket(std::int64_t bitsPerSecond)
    : rate_(static_cast<double>(bitsPerSecond)),
      fill_(rate_ * capacitySeconds),
      encoderFill_(rate_ * encoderBufferSeconds) {}

void RateBucket::setRate(std::int64_t bitsPerSecond) {
  rate_ = static_cast<double>(bitsPerSecond);
  fill_ = std::min(fill_, rate_ * capacitySeconds);
  encoderFill_ = std::min(encoderFill_, rate_ * encoderBufferSeconds);
}

std::int64_t RateBucket::refillFor(Time presentationTime) {
  if (lastTime_ && presentationTime > *lastTime_) {
    const double seconds = std::chrono::duration<double>(presentationTime - *lastTime_).count();
    fill_ = std::min(fill_ + seconds * rate_, rate_ * capacitySeconds);
  }
  lastTime_ = lastTime_ ? std::max(*lastTime_, presentationTime) : presentationTime;
  refill_ = std::clamp(fill_ - encoderFill_, 0.0, rate_ * encoderBufferSeconds);
  return static_cast<std::int64_t>(refill_);
}

void RateBucket::spend(std::int64_t bits) {
  const auto spent = static_cast<double>(bits);
  fill_ -= spent;
  // As the encoder counts: never below zero, never above its buffer.
  encoderFill_ = std::min(std::max(encoderFill_ - spent, 0.0) + refill_, rate_ * encoderBufferSeconds);
}

}  // namespace quorl
