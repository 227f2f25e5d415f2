// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <vector>

#include <QuorlHostCore/Concurrency/Scheduler.h>

namespace quorl {

/// Runs every queue on the calling thread, in virtual time. Among the pieces that could run next, a seeded
/// generator chooses, so that a seed is one interleaving that anyone can replay. Time stands still while
/// anything is ready and then jumps to the next timer.
///
/// *Queue*: used from one thread only.
class SimulatedScheduler final : public Scheduler {
 public:
  explicit SimulatedScheduler(std::uint64_t seed = 1, Date start = Date{1'700'000'000});
  ~SimulatedScheduler() override;

  MonotonicTime now() const override { return now_; }
  Date date() const override;
  void execute(Work work) override;
  TimerID schedule(MonotonicTime when, Work work) override;
  void cancel(TimerID timer) override;
  void wait(std::unique_lock<std::mutex>& lock, std::condition_variable& condition,
            const std::function<bool()>& done) override;
  void blocking(const std::function<void()>& work) override { work(); }

  /// Runs one ready piece. False when nothing is ready.
  bool step();
  /// Runs what is ready, and what that makes ready, without moving the time.
  void runReady();
  /// Lets `span` of virtual time pass, running everything that falls due in it.
  void advance(Duration span);
  /// Runs until `condition` holds or `limit` of virtual time has passed; says whether it holds.
  bool runUntil(const std::function<bool()>& condition, Duration limit);
  /// Called after each piece: a place for invariants.
  void afterEachStep(std::function<void()> check) { check_ = std::move(check); }

  std::size_t pendingTimers() const { return timers_.size(); }
  bool isIdle() const { return ready_.empty(); }

 private:
  bool fireNextTimer(MonotonicTime limit);

  std::mt19937_64 random_;
  Date start_;
  MonotonicTime now_{};
  std::vector<Work> ready_;
  std::map<std::pair<MonotonicTime, TimerID>, Work> timers_;
  TimerID lastTimer_ = 0;
  bool stopping_ = false;
  std::function<void()> check_;
};

}  // namespace quorl
