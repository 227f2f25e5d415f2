// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <poll.h>

#include <chrono>
#include <functional>
#include <span>
#include <string>

#include <quorl-client/Base/ClientError.h>

namespace quorl::client {

using Clock = std::chrono::steady_clock;
using Deadline = Clock::time_point;

inline Deadline within(Clock::duration duration) {
  return Clock::now() + duration;
}

/// The only place where the client blocks. Every wait has a deadline, ends on an interruption, and reports
/// after a second what it waits for.
///
/// *Queue*: the thread that waits. *Ownership*: the command's; sessions borrow it. *Lifetime*: outlives them.
class Waiter {
 public:
  enum class Ready : std::uint8_t { yes, deadline };

  Waiter() = default;
  /// `interruptDescriptor`: readable on an interruption (a signalfd or an eventfd; -1: none).
  explicit Waiter(int interruptDescriptor) : interruptDescriptor_(interruptDescriptor) {}

  /// Fails with `interrupted` once per interruption. Later waits are ordinary ones, so that a command can
  /// still close its session and its file.
  Outcome<Ready> wait(std::span<pollfd> descriptors, Deadline deadline);

  /// Called each second of a wait with the current activity and the time waited.
  std::function<void(const std::string& activity, Clock::duration waited)> onSlow;
  std::string activity;

  /// A further descriptor for every wait (-1: none), and the action when it is readable. A failure ends the
  /// wait.
  int alsoWatched = -1;
  std::function<Outcome<void>()> onWatched;

 private:
  int interruptDescriptor_ = -1;
};

}  // namespace quorl::client
