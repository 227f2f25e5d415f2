// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl::viewer {

/// Where the pointer wants a picture that is larger than its view. At an edge of the view the picture moves,
/// and the faster the nearer the pointer is to the edge.
///
/// *Queue*: a value; one thread at a time.
class EdgePan {
 public:
  static constexpr double margin = 16;          // points along each edge
  static constexpr double slowest = 200;        // points a second, at the inner side of the margin
  static constexpr double fastest = 2'000;      // at the edge and outside
  static constexpr double longestPause = 0.05;  // seconds: a busy thread does not make the picture jump

  struct Motion {
    int dx = 0;
    int dy = 0;

    bool operator==(const Motion&) const = default;
  };

  /// Points a second for the picture, positive to the right and downwards. `position` may be outside `view`.
  static PointXY speedAt(PointXY position, PointSize view);

  /// Device pixels by which the picture moves in `elapsed`. Fractions count towards the next step.
  Motion step(PointXY position, PointSize view, double viewScale, std::chrono::duration<double> elapsed);
  void reset() { restX_ = restY_ = 0; }

 private:
  double restX_ = 0;
  double restY_ = 0;
};

}  // namespace quorl::viewer
