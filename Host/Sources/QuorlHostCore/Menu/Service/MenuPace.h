// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <optional>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>

namespace quorl {

/// Decides when the menu program is started again. Pure: events and times in, delays out. Every sequence of
/// retries is finite; a display that appears begins a new one.
class MenuPace {
 public:
  /// A program that was ready for this long has worked.
  static constexpr Duration stableTime = std::chrono::seconds(10);
  /// Failures in a row after which the program is not started again.
  static constexpr std::size_t maxFailures = 5;

  void displayAppeared();
  void started(MonotonicTime now) { startedAt_ = now; }
  /// The delay until the next start; absent when there is none.
  std::optional<Duration> ended(MonotonicTime now);
  /// The delay until the display is tried again. A server accepts connections a moment after its socket
  /// appears.
  std::optional<Duration> unreachable();

  bool hasGivenUp() const { return failures_ >= maxFailures; }

 private:
  MonotonicTime startedAt_{};
  std::size_t failures_ = 0;
  std::size_t attempts_ = 0;
};

}  // namespace quorl
