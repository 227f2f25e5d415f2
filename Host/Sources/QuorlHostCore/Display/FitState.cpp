// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/FitState.h>

#include <algorithm>
#include <cmath>

namespace quorl {

namespace {

constexpr double leastChange = 0.01;
constexpr double minimumScale = 0.3;
constexpr double leastUsefulAspect = 0.1;
constexpr double fullScale = 0.999;  // from here on a scale changes nothing

}  // namespace

FitState::Change FitState::takeAspect(double pointsWide, double pointsHigh) {
  if (!(pointsWide > 0 && pointsHigh > 0)) return Change::no;
  const double aspect = pointsWide / pointsHigh;
  if (!std::isfinite(pointsHigh) || !std::isfinite(aspect)) return Change::no;
  if (!(std::abs(aspect - clientAspect.value_or(0)) > leastChange)) return Change::no;
  clientAspect = aspect;
  return Change::yes;
}

FitState::Change FitState::takeAutoFit(bool enabled) {
  if (enabled == autoFit) return Change::no;
  autoFit = enabled;
  return Change::yes;
}

FitState::Change FitState::takeScale(double scale) {
  const double clamped = std::clamp(scale, minimumScale, 1.0);
  if (!(std::abs(clamped - fitScale) > leastChange)) return Change::no;
  fitScale = clamped;
  return Change::yes;
}

FitState::Mode FitState::mode() const {
  if (autoFit && clientAspect && *clientAspect > leastUsefulAspect) return Mode::aspect;
  if (fitScale < fullScale) return Mode::scale;
  return Mode::none;
}

}  // namespace quorl
