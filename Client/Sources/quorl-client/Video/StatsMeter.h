// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <QuorlKit/Foundation/Record.h>

#include <quorl-client/Base/Waiter.h>

namespace quorl::client {

/// One line of `stats`. A value without measurements is absent.
struct StatsReport {
  bool isTotal = false;
  double seconds = 0;  // since the start
  std::int64_t frames = 0;
  std::int64_t keyframes = 0;
  double framesPerSecond = 0;
  double megabitsPerSecond = 0;
  std::optional<double> decodeMilliseconds;  // mean
  std::optional<double> jitterMilliseconds;  // mean of |difference of arrivals - difference of time stamps|
  std::optional<double> roundTripMilliseconds;  // mean
  std::uint64_t lostFrames = 0;                 // since the start
};
BOOST_DESCRIBE_STRUCT(StatsReport, (),
                      (isTotal, seconds, frames, keyframes, framesPerSecond, megabitsPerSecond,
                       decodeMilliseconds, jitterMilliseconds, roundTripMilliseconds, lostFrames))

/// Sums up a stream, per interval and in total. Pure: times are passed in.
class StatsMeter {
 public:
  struct Picture {
    Clock::time_point arrival;
    std::uint64_t ptsMicros = 0;
    std::size_t size = 0;
    bool isKeyframe = false;
  };

  explicit StatsMeter(Clock::time_point begin) : begin_(begin), intervalBegin_(begin) {}

  /// `decoding` is absent if no picture came out.
  void picture(const Picture& picture, std::optional<Clock::duration> decoding);
  void roundTrip(Clock::duration time);

  /// The report since the last call. Starts the next interval.
  StatsReport interval(Clock::time_point now, std::uint64_t lostFrames);
  StatsReport total(Clock::time_point now, std::uint64_t lostFrames) const;

 private:
  struct Mean {
    double sum = 0;
    std::int64_t count = 0;
    void add(double value) {
      sum += value;
      ++count;
    }
    std::optional<double> value() const {
      return count > 0 ? std::optional(sum / static_cast<double>(count)) : std::nullopt;
    }
  };
  struct Sums {
    std::int64_t frames = 0;
    std::int64_t keyframes = 0;
    std::uint64_t bytes = 0;
    Mean decoding;
    Mean jitter;
    Mean roundTrips;
  };

  StatsReport report(const Sums& sums, Clock::duration length, Clock::time_point now) const;

  Clock::time_point begin_;
  Clock::time_point intervalBegin_;
  Sums interval_;
  Sums total_;
  std::optional<Picture> last_;
};

}  // namespace quorl::client
