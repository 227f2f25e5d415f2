// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <optional>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>
#include <QuorlHostCore/Ports/VideoCompressor.h>

namespace quorl {

/// Decides when the last picture is encoded once more because it came out coarse and the screen has gone
/// quiet. A state machine without a clock: events and times in, the next due time out.
///
/// *Queue*: none of its own; a value of its owner's.
class RefinementPolicy {
 public:
  struct Limits {
    Duration quiet = std::chrono::milliseconds(60);           // after a change by itself
    Duration longestMotion = std::chrono::milliseconds(150);  // changes further apart are not motion
    double quietIntervals = 1.5;                              // of motion, and of the frame rate
    Duration firstGap =
        std::chrono::milliseconds(25);  // between two passes; each further one is twice as long
    int maximumGapDoublings = 4;
    int maximumPasses = 10;     // in one quiet period
    int passesWithoutGain = 2;  // in a row: there is nothing to gain
    float leastGain = 1.0F;     // of the quantiser
  };

  RefinementPolicy() = default;
  explicit RefinementPolicy(const Limits& limits) : limits_(limits) {}

  /// Changes are captured no faster than this.
  void setFrameInterval(Duration interval) { frameInterval_ = interval; }
  /// The capture is asked for the next change: before this nothing is known of any.
  void asked(MonotonicTime now);
  /// A picture with a change goes to the encoder: a new quiet period begins.
  void changed(MonotonicTime now);
  /// The last picture goes to the encoder again, as `due` asked or for another reason.
  void repeated(MonotonicTime now);
  /// A picture came out.
  void encoded(const Coarseness& coarseness);

  /// When to encode the last picture again; nothing while it is sharp enough or not out yet.
  std::optional<MonotonicTime> due() const;

 private:
  Duration quiet() const;

  Limits limits_;
  Duration frameInterval_{};
  std::optional<MonotonicTime> changedAt_;
  std::optional<Duration> changeInterval_;  // between the last two changes
  MonotonicTime notBefore_{};
  std::optional<Coarseness> coarseness_;  // of the last picture that came out, none while one is on its way
  std::optional<float> quantizerBefore_;  // of the pass before
  int passes_ = 0;
  int passesWithoutGain_ = 0;
};

}  // namespace quorl
