// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

#include "../Waiter.h"

// When an attached terminal does what. Pure: the time comes in, what to do comes out.
namespace quorl::client {

struct TerminalSize {
  std::int64_t columns = 0;
  std::int64_t rows = 0;

  bool operator==(const TerminalSize&) const = default;
};

// Dragging a window's corner gives a size for every pixel, and a full-screen program repaints for each. The
// first goes out at once, then one in a while, and always the last.
// Queue: one at a time. Ownership: a value.
class ResizePacer {
 public:
  static constexpr auto interval = std::chrono::milliseconds(50);

  void note(TerminalSize size) { wanted_ = size; }
  // To a new connection the size is told again.
  void forgetWhatWasSent() { sent_.reset(); }

  std::optional<TerminalSize> take(Clock::time_point now) {
    const auto when = due();
    if (!when || *when > now) return std::nullopt;
    sent_ = wanted_;
    next_ = now + interval;
    return wanted_;
  }
  // When `take` will give something; nothing when all is told.
  std::optional<Clock::time_point> due() const {
    return wanted_ && wanted_ != sent_ ? std::optional(next_) : std::nullopt;
  }

 private:
  std::optional<TerminalSize> wanted_;
  std::optional<TerminalSize> sent_;
  Clock::time_point next_{};
};

// How long to wait before the next attempt to connect: soon at first, as most breaks are short, then more
// and more seldom.
// Queue: one at a time. Ownership: a value.
class ReconnectBackoff {
 public:
  static constexpr Clock::duration first = std::chrono::milliseconds(250);
  static constexpr Clock::duration last = std::chrono::seconds(8);
  // A connection that held so long was a good one.
  static constexpr Clock::duration stable = std::chrono::seconds(10);

  Clock::duration next() {
    const auto delay = delay_;
    delay_ = std::min(delay_ * 2, last);
    return delay;
  }
  void connected(Clock::time_point now) { connectedAt_ = now; }
  void lost(Clock::time_point now) {
    if (connectedAt_ && now - *connectedAt_ >= stable) delay_ = first;
    connectedAt_.reset();
  }

 private:
  Clock::duration delay_ = first;
  std::optional<Clock::time_point> connectedAt_;
};

// Notices a host that vanished without a word: a silent one is asked, one that does not answer is lost.
// Queue: one at a time. Ownership: a value.
class LinkWatch {
 public:
  static constexpr auto askAfter = std::chrono::seconds(5);
  static constexpr auto lostAfter = std::chrono::seconds(15);

  enum class Action : std::uint8_t { none, ask, giveUp };

  explicit LinkWatch(Clock::time_point now) : heardAt_(now), askAt_(now + askAfter) {}

  void heard(Clock::time_point now) {
    heardAt_ = now;
    askAt_ = now + askAfter;
  }
  Action act(Clock::time_point now) {
    if (now - heardAt_ >= lostAfter) return Action::giveUp;
    if (now < askAt_) return Action::none;
    askAt_ = now + askAfter;
    return Action::ask;
  }
  Clock::time_point due() const { return std::min<Clock::time_point>(askAt_, heardAt_ + lostAfter); }

 private:
  Clock::time_point heardAt_;
  Clock::time_point askAt_;
};

}  // namespace quorl::client
