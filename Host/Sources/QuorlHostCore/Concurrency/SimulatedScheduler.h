// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <vector>

#include <QuorlHostCore/Concurrency/Scheduler.h>

namespace quorl {

/// Runs every queue on the calling thread, in virtual time. A seeded generator chooses among the pieces of
/// work that could run next, so a seed reproduces one interleaving. The time does not move while anything is
/// ready, and then jumps to the next timer.
///
/// *Queue*: one thread only.
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

  /// Runs one ready piece of work. False if nothing is ready.
  bool step();
  /// Runs ready work, and work that becomes ready by it, without advancing the time.
  void runReady();
  /// Advances the time by `span` and runs everything that falls due.
  void advance(Duration span);
  /// Runs until `condition` holds or `limit` of virtual time has passed. Returns whether it holds.
  bool runUntil(const std::function<bool()>& condition, Duration limit);
  /// Called after each piece of work, to check invariants.
  void afterEachStep(std::function<void()> check) { check_ = std::move(check); }

  std::size_t pendingTimers() const { return timers_.size(); }

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
