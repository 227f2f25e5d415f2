// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace quorl {

/// How many bits the next picture may take, so that the average rate and the limit of any second hold for
/// pictures that come whenever something changes. A leaky bucket in presentation time: it fills at the
/// average rate up to half a second's worth (a little less, for the pictures that miss their size), and each
/// picture takes its bits out of it. A picture that takes too much leaves a debt.
///
/// *Queue*: none of its own; a value of its owner's.
class RateBucket {
 public:
  using Time = std::chrono::microseconds;

  static constexpr double capacitySeconds = 0.45;

  explicit RateBucket(std::int64_t bitsPerSecond);

  /// Before the first picture the bucket is full.
  void setRate(std::int64_t bitsPerSecond);
  /// A picture of this time comes next. A time before the last one changes nothing.
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
