// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/RefinementPolicy.h>

#include <algorithm>

namespace quorl {

// Slow motion is not a quiet screen: if the screen changed at a regular interval, the wait is a little longer
// than that interval.
Duration RefinementPolicy::quiet() const {
  const auto times = [this](Duration interval) {
    return std::chrono::duration_cast<Duration>(interval * limits_.quietIntervals);
  };
  const bool isMotion = changeInterval_ && *changeInterval_ <= limits_.longestMotion;
  return std::max({limits_.quiet, times(frameInterval_), isMotion ? times(*changeInterval_) : limits_.quiet});
}

void RefinementPolicy::asked(MonotonicTime now) {
  notBefore_ = std::max(notBefore_, now + std::max(limits_.firstGap, frameInterval_));
}

void RefinementPolicy::changed(MonotonicTime now) {
  if (changedAt_) changeInterval_ = now - *changedAt_;
  changedAt_ = now;
  notBefore_ = now + quiet();
  coarseness_.reset();
  quantizerBefore_.reset();
  passes_ = 0;
  passesWithoutGain_ = 0;
}

void RefinementPolicy::repeated(MonotonicTime now) {
  notBefore_ = now + limits_.firstGap * (std::int64_t{1} << std::min(passes_, limits_.maximumGapDoublings));
  if (coarseness_) quantizerBefore_ = coarseness_->quantizer;
  coarseness_.reset();
  ++passes_;
}

void RefinementPolicy::encoded(const Coarseness& coarseness) {
  coarseness_ = coarseness;
  if (!quantizerBefore_) return;
  const bool hasGained = *quantizerBefore_ - coarseness.quantizer >= limits_.leastGain;
  passesWithoutGain_ = hasGained ? 0 : passesWithoutGain_ + 1;
}

std::optional<MonotonicTime> RefinementPolicy::due() const {
  if (!coarseness_ || !coarseness_->isWorthRepeating()) return std::nullopt;
  if (passes_ >= limits_.maximumPasses || passesWithoutGain_ >= limits_.passesWithoutGain)
    return std::nullopt;
  return notBefore_;
}

}  // namespace quorl
