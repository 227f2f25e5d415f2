// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <optional>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>

namespace quorl {

/// Decides when the last picture is encoded once more because it came out coarse and the screen has gone
/// quiet. A state machine without a clock: events and times in, the next due time out.
///
/// *Queue*: none of its own; a value of its owner's.
class RefinementPolicy {
 public:
  struct Limits {
    float coarseAbove = 26.0F;  // mean quantiser that still looks sharp
    Duration quiet = std::chrono::milliseconds(60);
    Duration betweenPasses = std::chrono::milliseconds(25);
    int maximumPasses = 3;   // in one quiet period
    float leastGain = 1.0F;  // a pass that gains less shows that there is nothing to gain
  };

  RefinementPolicy() = default;
  explicit RefinementPolicy(const Limits& limits) : limits_(limits) {}

  /// A picture with a change goes to the encoder: a new quiet period begins.
  void changed(MonotonicTime now);
  /// The last picture goes to the encoder again, as `due` asked or for another reason.
  void repeated(MonotonicTime now);
  /// A picture came out; a negative quantiser means that the encoder does not say.
  void encoded(float meanQuantizer);

  /// When to encode the last picture again; nothing while it is sharp enough or not out yet.
  std::optional<MonotonicTime> due() const;

 private:
  Limits limits_;
  MonotonicTime notBefore_{};
  std::optional<float> quantizer_;        // of the last picture that came out, none while one is on its way
  std::optional<float> quantizerBefore_;  // of the pass before
  int passes_ = 0;
};

}  // namespace quorl
