// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/RefinementPolicy.h>

namespace quorl {

void RefinementPolicy::changed(MonotonicTime now) {
  notBefore_ = now + limits_.quiet;
  coarseness_.reset();
  quantizerBefore_.reset();
  passes_ = 0;
  passesWithoutGain_ = 0;
}

void RefinementPolicy::repeated(MonotonicTime now) {
  notBefore_ = now + limits_.firstGap * (std::int64_t{1} << passes_);
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
