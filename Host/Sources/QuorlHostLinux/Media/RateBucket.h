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
/// An encoder's own model of its buffer counts pictures and not time; it is kept in step by choosing how much
/// is filled in for each picture. It knows this bucket as it was behind the picture before, so it never
/// believes in bits that are not there.
///
/// *Queue*: none of its own; a value of its owner's.
class RateBucket {
 public:
  using Time = std::chrono::microseconds;

  /// In bits. The encoder's buffer is the smaller one, so that after a picture as large as it allows enough
  /// is left for the next.
  static constexpr double capacitySeconds = 0.45;
  static constexpr double encoderBufferSeconds = 0.3;

  explicit RateBucket(std::int64_t bitsPerSecond);

  void setRate(std::int64_t bitsPerSecond);
  std::int64_t encoderBuffer() const { return static_cast<std::int64_t>(rate_ * encoderBufferSeconds); }

  /// A picture of this time comes next: what the encoder's model must be filled with for it.
  std::int64_t refillFor(Time presentationTime);
  /// The picture took this many bits.
  void spend(std::int64_t bits);

  double available() const { return fill_; }
  double encoderFill() const { return encoderFill_; }

 private:
  double rate_;
  double fill_;
  double encoderFill_;
  double refill_ = 0;
  std::optional<Time> lastTime_;
};

}  // namespace quorl
