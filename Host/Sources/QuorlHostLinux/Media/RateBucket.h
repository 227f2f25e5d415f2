// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace quorl {

/// The bits that the next picture may take, so that the average rate and the limit for any second hold for
/// pictures at irregular times. A leaky bucket in presentation time: it fills at the average rate up to half
/// a second (a little less, for pictures that miss their size), and each picture takes its bits from it. A
/// picture that takes too many leaves a debt.
///
/// *Queue*: that of its owner.
class RateBucket {
 public:
  using Time = std::chrono::microseconds;

  static constexpr double capacitySeconds = 0.45;

  explicit RateBucket(std::int64_t bitsPerSecond);

  /// Before the first picture the bucket is full.
  void setRate(std::int64_t bitsPerSecond);
  /// Sets the time of the next picture. A time before the last one changes nothing.
  void advance(Time presentationTime);
  /// The picture took this many bits.
  void spend(std::int64_t bits) { fill_ -= static_cast<double>(bits); }

  double available() const { return fill_; }

 private:
  double rate_;
  double fill_;
  std::optional<Time> lastTime_;
};

}  // namespace quorl
