// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>

namespace quorl {

/// Spaces bytes out to a rate, with a small burst. Time in, bytes out.
///
/// *Queue*: the owner's; a value.
class PacingBucket {
 public:
  explicit PacingBucket(double burst) : burst_(burst), fill_(burst) {}

  void setRate(double bytesPerSecond) { rate_ = bytesPerSecond; }

  /// Whether bytes may be sent now. If so they are taken, which may leave a debt.
  bool take(MonotonicTime now, std::size_t bytes) {
    refill(now);
    if (fill_ <= 0) return false;
    fill_ -= static_cast<double>(bytes);
    return true;
  }
  /// The time until something may be sent.
  Duration wait() const {
    if (fill_ > 0) return Duration::zero();
    const double seconds = std::min((1 - fill_) / rate_, 1.0);
    return std::chrono::ceil<std::chrono::microseconds>(std::chrono::duration<double>(seconds));
  }

 private:
  void refill(MonotonicTime now) {
    if (last_) {
      const double seconds = std::chrono::duration<double>(now - *last_).count();
      fill_ = std::min(burst_, fill_ + rate_ * seconds);
    }
    last_ = now;
  }

  const double burst_;
  double rate_ = 250'000;
  double fill_;
  std::optional<MonotonicTime> last_;
};

}  // namespace quorl
