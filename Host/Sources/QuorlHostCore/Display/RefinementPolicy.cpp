// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/RefinementPolicy.h>

namespace quorl {

void RefinementPolicy::changed(MonotonicTime now) {
  notBefore_ = now + limits_.quiet;
  quantizer_.reset();
  quantizerBefore_.reset();
  passes_ = 0;
}

void RefinementPolicy::repeated(MonotonicTime now) {
  notBefore_ = now + limits_.betweenPasses;
  quantizerBefore_ = quantizer_;
  quantizer_.reset();
  ++passes_;
}

void RefinementPolicy::encoded(float meanQuantizer) {
  quantizer_ = meanQuantizer;
  const bool gainedNothing = quantizerBefore_ && *quantizerBefore_ - meanQuantizer < limits_.leastGain;
  if (gainedNothing) passes_ = limits_.maximumPasses;
}

std::optional<MonotonicTime> RefinementPolicy::due() const {
  if (!quantizer_ || *quantizer_ <= limits_.coarseAbove) return std::nullopt;
  if (passes_ >= limits_.maximumPasses) return std::nullopt;
  return notBefore_;
}

}  // namespace quorl
