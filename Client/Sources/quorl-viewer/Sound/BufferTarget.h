// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

#include <quorl-client/Base/Waiter.h>

namespace quorl::viewer {

/// How much sound to hold against jitter: `usual`, and less while the link delivers every packet on time, so
/// that the sound follows its picture closely. The target moves slowly enough for the level to follow by
/// resampling, without a cut or a pause.
///
/// *Queue*: a value. Pure: times are passed in.
class BufferTarget {
 public:
  using Clock = client::Clock;
  static constexpr std::chrono::milliseconds usual{50};
  static constexpr std::chrono::milliseconds calm{36};

  /// A packet came `lateness` after the fastest one of the last seconds.
  void arrived(Clock::duration lateness, Clock::time_point now) {
    if (!lastMove_) lastMove_ = calmSince_ = now;
    if (lateness > mostLate) restless(now, afterLateness);
    move(now);
  }
  /// Nothing was left to play. The level has to be reached anew anyway.
  void stalled(Clock::time_point now) {
    value_ = usual;
    restless(now, afterStall);
  }

  Clock::duration value() const { return value_; }

 private:
  static constexpr std::chrono::milliseconds mostLate{15};
  static constexpr std::chrono::seconds afterLateness{30};
  static constexpr std::chrono::seconds afterStall{120};
  static constexpr int slowness = 2'000;  // half a millisecond per second

  void restless(Clock::time_point now, Clock::duration time) {
    calmSince_ = std::max(calmSince_, now + time);
  }
  void move(Clock::time_point now) {
    const auto step = (now - *lastMove_) / slowness;
    lastMove_ = now;
    value_ = now < calmSince_ ? std::min<Clock::duration>(value_ + step, usual)
                              : std::max<Clock::duration>(value_ - step, calm);
  }

  Clock::duration value_ = usual;
  Clock::time_point calmSince_;
  std::optional<Clock::time_point> lastMove_;
};

}  // namespace quorl::viewer
