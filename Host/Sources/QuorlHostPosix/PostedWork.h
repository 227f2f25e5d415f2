// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include <QuorlHostPosix/Waker.h>

namespace quorl {

/// The work that other threads post to a loop, and the descriptor on which the loop waits for it.
///
/// *Queue*: `run` on the loop's thread; the rest from any thread. No work runs or is destroyed under the
/// lock.
/// *Lifetime*: pending work at `close` or destruction is destroyed without running.
class PostedWork {
 public:
  using Work = std::move_only_function<void()>;

  /// Drops the work once closed.
  void post(Work work);

  /// Runs, in order, what was posted before the call; work that it posts waits for the next call. False once
  /// closed.
  bool run();

  /// Ends the loop: wakes it, and `run` returns false from now on.
  void close();
  bool isClosed() const;

  /// Wakes the loop without work. Its descriptor is readable after a `post` or a `close`; the loop drains it
  /// before each `run`.
  const std::shared_ptr<Waker>& waker() const { return waker_; }

 private:
  const std::shared_ptr<Waker> waker_ = std::make_shared<Waker>();
  mutable std::mutex mutex_;  // guards all below
  std::vector<Work> pending_;
  bool isClosed_ = false;
};

}  // namespace quorl
