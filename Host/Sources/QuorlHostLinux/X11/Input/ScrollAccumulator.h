// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace quorl {

/// Converts fine scroll distances along one axis to whole wheel steps: the wheel of X's synthetic pointer has
/// clicks only. The remainder counts towards the next distance, unless the direction changes.
class ScrollAccumulator {
 public:
  /// The most steps from one distance, which a client may choose freely.
  static constexpr int mostSteps = 100;

  explicit ScrollAccumulator(double distancePerStep) : distancePerStep_(distancePerStep) {}

  /// Steps to make now, with the sign of the distance.
  int add(double distance);
  void reset() { rest_ = 0; }

 private:
  double distancePerStep_;
  double rest_ = 0;
};

/// A count of steps within the limit.
int boundedSteps(double steps);

}  // namespace quorl
