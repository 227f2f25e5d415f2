// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Video/StatsMeter.h>

#include <cmath>

namespace quorl::client {
namespace {

double milliseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

}  // namespace

void StatsMeter::picture(const Picture& picture, std::optional<Clock::duration> decoding) {
  // Unsigned wrap-around gives the right difference even if the clock goes back.
  const auto stampDifference =
      last_ ? static_cast<double>(static_cast<std::int64_t>(picture.ptsMicros - last_->ptsMicros)) / 1000
            : 0.0;
  for (auto* sums : {&interval_, &total_}) {
    ++sums->frames;
    sums->keyframes += picture.isKeyframe ? 1 : 0;
    sums->bytes += picture.size;
    if (decoding) sums->decoding.add(milliseconds(*decoding));
    if (last_) sums->jitter.add(std::abs(milliseconds(picture.arrival - last_->arrival) - stampDifference));
  }
  last_ = picture;
}

void StatsMeter::roundTrip(Clock::duration time) {
  for (auto* sums : {&interval_, &total_}) sums->roundTrips.add(milliseconds(time));
}

StatsReport StatsMeter::report(const Sums& sums, Clock::duration length, Clock::time_point now) const {
  StatsReport report;
  report.seconds = milliseconds(now - begin_) / 1000;
  report.frames = sums.frames;
  report.keyframes = sums.keyframes;
  if (const double seconds = milliseconds(length) / 1000; seconds > 0) {
    report.framesPerSecond = static_cast<double>(sums.frames) / seconds;
    report.megabitsPerSecond = static_cast<double>(sums.bytes) * 8 / 1e6 / seconds;
  }
  report.decodeMilliseconds = sums.decoding.value();
  report.jitterMilliseconds = sums.jitter.value();
  report.roundTripMilliseconds = sums.roundTrips.value();
  return report;
}

StatsReport StatsMeter::interval(Clock::time_point now, std::uint64_t lostFrames) {
  auto result = report(interval_, now - intervalBegin_, now);
  result.lostFrames = lostFrames;
  interval_ = {};
  intervalBegin_ = now;
  return result;
}

StatsReport StatsMeter::total(Clock::time_point now, std::uint64_t lostFrames) const {
  auto result = report(total_, now - begin_, now);
  result.isTotal = true;
  result.lostFrames = lostFrames;
  return result;
}

}  // namespace quorl::client
