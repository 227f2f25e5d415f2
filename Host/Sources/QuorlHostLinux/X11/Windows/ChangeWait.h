// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace quorl {

/// Decides how long to wait for a window manager that was asked for a change. There is no answer to wait for:
/// the change takes place, takes place in part (a terminal's window snaps to its cells), or does not.
class ChangeWait {
 public:
  using Time = std::chrono::steady_clock::time_point;

  /// A change that differs from the one asked for is final after this time without another one.
  static constexpr std::chrono::milliseconds quietTime{60};

  enum class Seen : std::uint8_t { wanted, unchanged, otherwise };

  ChangeWait(Time start, std::chrono::milliseconds limit) : limit_(start + limit), end_(limit_) {}

  /// Whether the wait is over, given how the window compares to the last time.
  bool isOver(Seen seen, Time now) {
    if (seen == Seen::wanted) return true;
    if (seen == Seen::otherwise) end_ = std::min(limit_, now + quietTime);
    return now >= end_;
  }

  /// When to look again at the latest.
  Time end() const { return end_; }

 private:
  Time limit_;
  Time end_;
};

}  // namespace quorl
