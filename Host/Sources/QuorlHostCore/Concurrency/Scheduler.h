// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>
#include <QuorlKit/Foundation/Date.h>

namespace quorl {

/// Runs the queues and reads the time: a thread pool with the steady clock in production (`PoolScheduler`),
/// one thread in virtual time with a seeded order in tests (`SimulatedScheduler`).
///
/// *Queue*: every operation may be called from any thread.
/// *Lifetime*: outlives every queue and timer made on it. Work that is pending at destruction is destroyed
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

  /// Runs `work` once, soon, concurrently with other work.
  virtual void execute(Work work) = 0;

  /// Runs `work` once, at `when` or when a thread is free after it. Never returns 0.
  virtual TimerID schedule(MonotonicTime when, Work work) = 0;

  /// Withdraws the work if it has not begun. Does nothing for an unknown or past timer.
  virtual void cancel(TimerID timer) = 0;

  /// Waits on `condition` until `done()`. A pool replaces the blocked thread meanwhile. In the simulation no
  /// other thread can make `done()` true, so an unfinished wait is a deadlock and aborts.
  virtual void wait(std::unique_lock<std::mutex>& lock, std::condition_variable& condition,
                    const std::function<bool()>& done) = 0;

  /// Runs `work` on this thread. It may block for long (a child process, a disk, a bus call), so a pool adds
  /// a thread until it returns. Every wait for another process or thread goes through here.
  virtual void blocking(const std::function<void()>& work) = 0;
};

}  // namespace quorl
