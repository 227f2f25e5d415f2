// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <QuorlHostCore/Concurrency/Scheduler.h>

namespace quorl {

/// The production scheduler: a thread pool, a timer thread, the steady clock and the wall clock. The pool has
/// as many running threads as the machine has cores, at least two. Each thread that blocks in `wait` or
/// `blocking` adds one, up to a limit; surplus threads end when they are idle. An idle pool does not wake up.
///
/// *Queue*: every operation may be called from any thread.
/// *Lifetime*: destruction stops timers, lets running work finish and drops work that has not begun. Do not
/// destroy it on one of its own threads.
class PoolScheduler final : public Scheduler {
 public:
  PoolScheduler();
  ~PoolScheduler() override;

  MonotonicTime now() const override;
  Date date() const override;
  void execute(Work work) override;
  TimerID schedule(MonotonicTime when, Work work) override;
  void cancel(TimerID timer) override;
  void wait(std::unique_lock<std::mutex>& lock, std::condition_variable& condition,
            const std::function<bool()>& done) override;
  void blocking(const std::function<void()>& work) override;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace quorl
