// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace quorl {

/// Makes whole wheel steps of fine scroll distances along one axis: X's synthetic pointer has a wheel that
/// only clicks. What is left over counts for the next distance, until the direction turns.
class ScrollAccumulator {
 public:
  /// More steps than this are not made of one distance: a distance may come from anywhere.
  static constexpr int mostSteps = 100;

  explicit ScrollAccumulator(double distancePerStep) : distancePerStep_(distancePerStep) {}

  /// Steps to make now, positive as the distance is.
  int add(double distance);
  void reset() { rest_ = 0; }

 private:
  double distancePerStep_;
  double rest_ = 0;
};

/// A count of steps as the host may make them.
int boundedSteps(double steps);

}  // namespace quorl
