// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/PictureTimes.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace quorl::viewer {
namespace {

using client::Clock;

// More than any host sends in a window: 200 pictures a second.
constexpr std::size_t mostValues = 1'000;
constexpr std::size_t mostPending = 64;

double milliseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

void moveBy(std::optional<TimeSummary>& summary, double by) {
  if (!summary) return;
  summary->mean += by;
  summary->median += by;
  summary->percentile95 += by;
  summary->most += by;
}

}  // namespace

void PictureTimes::Series::add(Clock::time_point when, Milliseconds value) {
  if (values_.size() == mostValues) values_.pop_front();
  values_.push_back({when, value});
  expire(when);
}

void PictureTimes::Series::expire(Clock::time_point now) {
  while (!values_.empty() && values_.front().when <= now - window) values_.pop_front();
}

std::optional<TimeSummary> PictureTimes::Series::summary() const {
  if (values_.empty()) return std::nullopt;
  std::vector<Milliseconds> sorted;
  for (const auto& measurement : values_) sorted.push_back(measurement.value);
  std::ranges::sort(sorted);
  const auto at = [&](double share) {
    return sorted[static_cast<std::size_t>(std::lround(share * static_cast<double>(sorted.size() - 1)))];
  };
  return TimeSummary{sum() / static_cast<double>(sorted.size()), at(0.5), at(0.95), sorted.back()};
}

std::optional<PictureTimes::Milliseconds> PictureTimes::Series::least() const {
  if (values_.empty()) return std::nullopt;
  return std::ranges::min_element(values_, {}, &Measurement::value)->value;
}

PictureTimes::Milliseconds PictureTimes::Series::sum() const {
  Milliseconds sum = 0;
  for (const auto& measurement : values_) sum += measurement.value;
  return sum;
}

void PictureTimes::decoded(const PictureTiming& timing) {
  if (!begin_) begin_ = timing.arrival;
  const auto excess = least_.excess(timing.ptsMicros, timing.arrival);
  sizes_.add(timing.arrival, static_cast<double>(timing.bytes) * 8);
  excesses_.add(timing.arrival, milliseconds(excess));
  waiting_.add(timing.arrival, milliseconds(timing.decodeBegin - timing.arrival));
  decode_.add(timing.arrival, milliseconds(timing.decodeEnd - timing.decodeBegin));
  if (excessOf_.size() == mostPending) excessOf_.pop_front();
  excessOf_.emplace_back(timing.ptsMicros, excess);
}

void PictureTimes::shown(const PictureTiming& timing, Clock::time_point now) {
  display_.add(now, milliseconds(now - timing.decodeEnd));
  const auto found =
      std::ranges::find(excessOf_, timing.ptsMicros, &std::pair<std::uint64_t, Clock::duration>::first);
  if (found == excessOf_.end()) return;
  const auto here = now - timing.arrival;
  ages_.add(now, milliseconds(found->second + here));
  age_ = found->second + here;
  excessOf_.erase(excessOf_.begin(), std::next(found));
}

void PictureTimes::roundTrip(Clock::duration time, Clock::time_point now) {
  roundTrips_.add(now, milliseconds(time));
}

PictureReport PictureTimes::report(Clock::time_point now) {
  for (auto* series : {&sizes_, &roundTrips_, &excesses_, &waiting_, &decode_, &display_, &ages_})
    series->expire(now);
  PictureReport report;
  report.drops = drops_;
  if (!begin_) return report;
  const double seconds =
      milliseconds(std::clamp<Clock::duration>(now - *begin_, std::chrono::milliseconds(500), window)) /
      1'000;
  report.decodedPerSecond = static_cast<double>(decode_.size()) / seconds;
  report.shownPerSecond = static_cast<double>(display_.size()) / seconds;
  report.megabitsPerSecond = sizes_.sum() / 1e6 / seconds;
  report.roundTrip = roundTrips_.summary();
  report.waiting = waiting_.summary();
  report.decode = decode_.summary();
  report.display = display_.summary();
  if (const auto least = roundTrips_.least()) {
    report.network = excesses_.summary();
    report.age = ages_.summary();
    moveBy(report.network, *least / 2);
    moveBy(report.age, *least / 2);
  }
  return report;
}

}  // namespace quorl::viewer
