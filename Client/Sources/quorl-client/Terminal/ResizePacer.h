// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <quorl-client/Base/Waiter.h>

namespace quorl::client {

struct TerminalSize {
  std::int64_t columns = 0;
  std::int64_t rows = 0;

  bool operator==(const TerminalSize&) const = default;
};

/// Limits resizes: dragging a window's corner makes one per pixel, and a full-screen program repaints for
/// each. The first is sent at once, then at most one per `interval`, and always the last.
///
/// *Queue*: one at a time. *Ownership*: a value.
class ResizePacer {
 public:
  static constexpr auto interval = std::chrono::milliseconds(50);

  void note(TerminalSize size) { wanted_ = size; }
  /// For a new connection: the size is sent again.
  void forgetWhatWasSent() { sent_.reset(); }

  std::optional<TerminalSize> take(Clock::time_point now) {
    const auto when = due();
    if (!when || *when > now) return std::nullopt;
    sent_ = wanted_;
    next_ = now + interval;
    return wanted_;
  }
  /// When `take` will return a size; nothing if it was sent already.
  std::optional<Clock::time_point> due() const {
    return wanted_ && wanted_ != sent_ ? std::optional(next_) : std::nullopt;
  }

 private:
  std::optional<TerminalSize> wanted_;
  std::optional<TerminalSize> sent_;
  Clock::time_point next_{};
};

}  // namespace quorl::client
