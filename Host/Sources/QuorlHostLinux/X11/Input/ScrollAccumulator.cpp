// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Input/ScrollAccumulator.h>

#include <algorithm>
#include <cmath>

namespace quorl {

int boundedSteps(double steps) {
  if (std::isnan(steps)) return 0;
  return static_cast<int>(std::clamp(std::trunc(steps), -double(ScrollAccumulator::mostSteps),
                                     double(ScrollAccumulator::mostSteps)));
}

int ScrollAccumulator::add(double distance) {
  if (!std::isfinite(distance) || distance == 0) return 0;
  if (rest_ * distance < 0) rest_ = 0;
  const double sum = rest_ + distance;
  rest_ = std::fmod(sum, distancePerStep_);
  return boundedSteps((sum - rest_) / distancePerStep_ + std::copysign(0.5, sum));
}

}  // namespace quorl
