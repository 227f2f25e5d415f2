// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <optional>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>
#include <QuorlHostCore/Ports/VideoCompressor.h>

namespace quorl {

/// Decides when the last picture is encoded again because it is coarse and the screen is quiet. A state
/// machine without a clock: events and times in, the next due time out.
///
/// *Queue*: the owner's; a value.
class RefinementPolicy {
 public:
  struct Limits {
    Duration quiet = std::chrono::milliseconds(60);           // after a single change
    Duration longestMotion = std::chrono::milliseconds(150);  // changes further apart are not motion
    double quietIntervals = 1.5;                              // in intervals of motion or of the frame rate
    Duration firstGap = std::chrono::milliseconds(25);        // between two passes; doubled each time
    int maximumGapDoublings = 4;
    int maximumPasses = 10;     // in one quiet period
    int passesWithoutGain = 2;  // consecutive; then the policy stops
    float leastGain = 1.0F;     // in quantiser steps
  };

  RefinementPolicy() = default;
  explicit RefinementPolicy(const Limits& limits) : limits_(limits) {}

  /// The minimum interval of captured changes.
  void setFrameInterval(Duration interval) { frameInterval_ = interval; }
  /// The capture was asked for the next change. Earlier changes are not known.
  void asked(MonotonicTime now);
  /// A changed picture goes to the encoder. This begins a new quiet period.
  void changed(MonotonicTime now);
  /// The last picture goes to the encoder again, because of `due` or for another reason.
  void repeated(MonotonicTime now);
  /// The encoder put out a picture.
  void encoded(const Coarseness& coarseness);

  /// When to encode the last picture again. Nothing while it is sharp enough or in the encoder.
  std::optional<MonotonicTime> due() const;

 private:
  Duration quiet() const;

  Limits limits_;
  Duration frameInterval_{};
  std::optional<MonotonicTime> changedAt_;
  std::optional<Duration> changeInterval_;  // between the last two changes
  MonotonicTime notBefore_{};
  std::optional<Coarseness> coarseness_;  // of the last output; absent while a picture is in the encoder
  std::optional<float> quantizerBefore_;  // of the previous pass
  int passes_ = 0;
  int passesWithoutGain_ = 0;
};

}  // namespace quorl
