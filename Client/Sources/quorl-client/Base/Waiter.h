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

// The one place where the client blocks: every wait has a deadline, ends when the person interrupts, and says
// after a second what it waits for.
// Queue: the thread that waits. Ownership: the command's; sessions borrow it. Lifetime: outlives them.
class Waiter {
 public:
  enum class Ready : std::uint8_t { yes, deadline };

  Waiter() = default;
  // `interruptDescriptor` becomes readable on an interruption (a signalfd or an eventfd; -1: never).
  explicit Waiter(int interruptDescriptor) : interruptDescriptor_(interruptDescriptor) {}

  // Fails with `interrupted`, once per interruption: a wait after it is an ordinary wait again, so that a
  // command can still say goodbye and close its file.
  Outcome<Ready> wait(std::span<pollfd> descriptors, Deadline deadline);

  // Called each second of a wait, with what is being done and since when.
  std::function<void(const std::string& activity, Clock::duration waited)> onSlow;
  std::string activity;

  // A descriptor beside those of every wait, and what is done when it is readable; its failure ends the wait.
  int alsoWatched = -1;
  std::function<Outcome<void>()> onWatched;

 private:
  int interruptDescriptor_ = -1;
};

}  // namespace quorl::client
