// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>
#include <QuorlKit/Foundation/Date.h>

namespace quorl {

/// What runs the queues and tells the time: a thread pool with the steady clock in production
/// (`PoolScheduler`), one thread in virtual time with a seeded order in tests (`SimulatedScheduler`).
///
/// *Queue*: every operation may be called from any thread.
/// *Lifetime*: outlives every queue and timer made on it. Work still pending at destruction is destroyed
/// without running.
class Scheduler {
 public:
  using Work = std::move_only_function<void()>;
  using TimerID = std::uint64_t;

  Scheduler() = default;
  Scheduler(const Scheduler&) = delete;
  Scheduler& operator=(const Scheduler&) = delete;
  virtual ~Scheduler() = default;

  virtual MonotonicTime now() const = 0;
  virtual Date date() const = 0;

  /// Runs `work` soon, once, beside other work.
  virtual void execute(Work work) = 0;

  /// Runs `work` once, at `when` or as soon after it as a thread is free. Never 0.
  virtual TimerID schedule(MonotonicTime when, Work work) = 0;

  /// Takes the work back if it has not begun. An unknown or past identity does nothing.
  virtual void cancel(TimerID timer) = 0;

  /// Waits on `condition` until `done()`; a pool replaces the blocked thread meanwhile. The simulation has no
  /// other thread that could make `done()` true, so there an unfinished wait is a deadlock and aborts.
  virtual void wait(std::unique_lock<std::mutex>& lock, std::condition_variable& condition,
                    const std::function<bool()>& done) = 0;

  /// Runs `work`, which may block for long (a child process, a disk, a bus call), on this thread; a pool adds
  /// a thread for its length.
  virtual void blocking(const std::function<void()>& work) = 0;
};

}  // namespace quorl
