// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Link/LinkEstimator.h>

#include <algorithm>
#include <cmath>

namespace quorl {

namespace {

using std::chrono::milliseconds;

constexpr Duration measurement = milliseconds(50);
// A longer time without any acknowledgement is a stall and says nothing about the rate.
constexpr Duration shortestStall = milliseconds(250);
constexpr int stallRoundTrips = 4;

constexpr Duration longQueue = milliseconds(50);
constexpr Duration shortQueue = milliseconds(25);
constexpr double cutShare = 0.85;
constexpr double growthPerSecond = 1.1;  // exponent: a factor of three per second
constexpr Duration longestGrowthStep = milliseconds(100);
// A rate that is not used is not raised, and a rate that the link refuses is not exceeded by much.
constexpr double leastUse = 0.5;
constexpr double headroomAtLimit = 1.0;
constexpr Duration limitMemory = milliseconds(500);
constexpr Duration useMemory = milliseconds(250);

// Always admitted, so that one small answer in flight does not hold a picture back: two segments.
constexpr double leastAllowance = 3'000;
// For an unknown link: TCP's initial window (RFC 6928).
constexpr double unknownAllowance = 14'600;

// Less than this may pass a router's token bucket at any speed, or may be all there was to send.
constexpr std::uint64_t smallestBurst = 16'384;
constexpr double largestRise = 4;
constexpr Duration shortestBurst = std::chrono::microseconds(100);

constexpr double learning = 0.5;
// Above this multiple of the wanted rate the link is not the limit, and observing it gains nothing.
constexpr double ample = 2;

constexpr Duration shortestWait = milliseconds(1);
constexpr Duration longestWait = milliseconds(20);
constexpr Duration longestIdleWait = milliseconds(250);
constexpr int patience = 3;  // observations without progress before the intervals grow

double seconds(Duration duration) {
  return std::chrono::duration<double>(duration).count();
}

Duration durationOf(double seconds) {
  return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(std::min(seconds, 3'600.0)));
}

}  // namespace

void LinkEstimator::accepted(MonotonicTime now, std::size_t bytes) {
  if (underWay() == 0) {
    burst_ = Mark{now, acknowledged_};
    // The first byte's travel time is not part of any rate.
    beginWindow(now + roundTrip_);
    progressAt_ = now;
    idleObservations_ = 0;
  }
  accepted_ += bytes;
  noteUse(now, bytes);
}

void LinkEstimator::discarded(std::size_t bytes) {
  accepted_ -= std::min<std::uint64_t>(bytes, underWay());
}

void LinkEstimator::noteUse(MonotonicTime now, std::size_t bytes) {
  const double elapsed = useNotedAt_ ? seconds(now - *useNotedAt_) : 0;
  use_ *= std::exp(-elapsed / seconds(useMemory));
  use_ += static_cast<double>(bytes) / seconds(useMemory);
  useNotedAt_ = now;
}

void LinkEstimator::observed(MonotonicTime now, std::uint64_t acknowledged, Duration shortestRoundTrip) {
  if (shortestRoundTrip > Duration::zero()) roundTrip_ = shortestRoundTrip;
  const bool hasProgress = acknowledged > acknowledged_;
  acknowledged_ = std::clamp(acknowledged, acknowledged_, accepted_);
  if (underWay() == 0) {
    if (burst_) measureBurst(now);
    burst_.reset();
    window_.reset();
    idleObservations_ = 0;
    return;
  }
  if (!hasProgress) {
    ++idleObservations_;
    return;
  }
  idleObservations_ = 0;
  const Duration stall = std::max(shortestStall, roundTrip_ * stallRoundTrips);
  if (progressAt_ && now - *progressAt_ > stall) {
    beginWindow(now);
    burst_.reset();
  }
  progressAt_ = now;
  measure(now);
}

// The link has been busy since the mark and had a queue at each observation: this is its rate. Without a
// queue, the rate is at least this.
void LinkEstimator::measure(MonotonicTime now) {
  windowHadQueue_ = windowHadQueue_ && hasQueue();
  ++looks_;
  if (!isOpen()) ++closedLooks_;
  if (!window_ || now - window_->time < measurement) return;
  const std::uint64_t bytes = acknowledged_ - window_->acknowledged;
  const double sample = static_cast<double>(bytes) / seconds(now - window_->time);
  if (windowHadQueue_ || closedLooks_ * 2 > looks_) {
    rate_ = rate_ > 0 ? rate_ + (sample - rate_) * learning : sample;
  } else if (bytes >= smallestBurst) {
    rate_ = std::max(rate_, sample);
  }
  beginWindow(now);
}

void LinkEstimator::beginWindow(MonotonicTime from) {
  window_ = Mark{from, acknowledged_};
  windowHadQueue_ = true;
  looks_ = 0;
  closedLooks_ = 0;
}

void LinkEstimator::measureBurst(MonotonicTime now) {
  const std::uint64_t bytes = acknowledged_ - burst_->acknowledged;
  if (bytes < smallestBurst) return;
  const Duration span = std::max(now - burst_->time - roundTrip_, shortestBurst);
  raiseTo(static_cast<double>(bytes) / seconds(span));
}

void LinkEstimator::raiseTo(double rate) {
  if (rate <= rate_) return;
  rate_ = rate_ > 0 ? std::min(rate, rate_ * largestRise) : rate;
  pictureRate_ = std::max(pictureRate_, rate_ * cutShare);
}

Duration LinkEstimator::delayOf(std::uint64_t bytes) const {
  if (rate_ <= 0) return Duration::zero();
  return std::max(durationOf(static_cast<double>(bytes) / rate_) - roundTrip_, Duration::zero());
}

bool LinkEstimator::hasQueue() const {
  return static_cast<double>(underWay()) > rate_ * seconds(roundTrip_) + leastAllowance;
}

void LinkEstimator::pictureWanted(MonotonicTime now, double wantedRate) {
  wantedRate_ = wantedRate;
  const Duration step = wantedAt_ ? std::min(now - *wantedAt_, longestGrowthStep) : Duration::zero();
  wantedAt_ = now;
  if (rate_ <= 0) return;
  const Duration queue = delayOf(acceptedBefore_ - std::min(acceptedBefore_, acknowledged_));
  if (isOpen())
    acceptedBefore_ = accepted_;
  else
    limitedAt_ = now;
  if (queue > longQueue) {
    pictureRate_ = std::min(pictureRate_, rate_ * cutShare);
  } else if (queue < shortQueue && pictureRate_ < wantedRate * ample) {
    noteUse(now, 0);
    if (use_ >= pictureRate_ * leastUse) pictureRate_ *= std::exp(growthPerSecond * seconds(step));
  }
  const bool isLimited = limitedAt_ && now - *limitedAt_ < limitMemory;
  if (isLimited) pictureRate_ = std::min(pictureRate_, rate_ * headroomAtLimit);
}

double LinkEstimator::allowance() const {
  if (rate_ <= 0) return unknownAllowance;
  return std::max(rate_ * seconds(roundTrip_ + slack), leastAllowance);
}

bool LinkEstimator::isOpen() const {
  return static_cast<double>(underWay()) <= allowance();
}

std::optional<Duration> LinkEstimator::nextObservation() const {
  if (underWay() == 0) return std::nullopt;
  const bool teaches = rate_ < wantedRate_ * ample;
  if (isOpen() && !teaches) return std::nullopt;
  const double excess = static_cast<double>(underWay()) - (isOpen() ? 0 : allowance());
  Duration wait =
      rate_ > 0 ? std::clamp(durationOf(excess / rate_), shortestWait, longestWait) : shortestWait;
  for (int extra = patience; extra < idleObservations_ && wait < longestIdleWait; ++extra) wait *= 2;
  return std::min(wait, longestIdleWait);
}

}  // namespace quorl
