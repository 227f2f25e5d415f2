// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>

#include <chrono>
#include <utility>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

SimulatedScheduler::SimulatedScheduler(std::uint64_t seed, Date start) : random_(seed), start_(start) {}

// Destroying work may destroy objects that still use the scheduler; nothing new runs any more.
SimulatedScheduler::~SimulatedScheduler() {
  stopping_ = true;
  const auto ready = std::exchange(ready_, {});
  const auto timers = std::exchange(timers_, {});
}

Date SimulatedScheduler::date() const {
  return Date{start_.secondsSince1970 + std::chrono::duration<double>(now_.time_since_epoch()).count()};
}

void SimulatedScheduler::execute(Work work) {
  if (!stopping_) ready_.push_back(std::move(work));
}

Scheduler::TimerID SimulatedScheduler::schedule(MonotonicTime when, Work work) {
  const TimerID timer = ++lastTimer_;
  if (!stopping_) timers_.emplace(std::pair(when, timer), std::move(work));
  return timer;
}

void SimulatedScheduler::cancel(TimerID timer) {
  for (auto entry = timers_.begin(); entry != timers_.end(); ++entry) {
    if (entry->first.second != timer) continue;
    Work dropped = std::move(entry->second);
    timers_.erase(entry);
    return;
  }
}

void SimulatedScheduler::wait(std::unique_lock<std::mutex>&, std::condition_variable&,
                              const std::function<bool()>& done) {
  QUORL_CHECK(done(), "a queue waits on itself: deadlock");
}

bool SimulatedScheduler::step() {
  if (ready_.empty()) return false;
  const std::size_t choice = random_() % ready_.size();
  Work work = std::move(ready_[choice]);
  ready_.erase(ready_.begin() + static_cast<std::ptrdiff_t>(choice));
  work();
  work = nullptr;
  if (check_) check_();
  return true;
}

void SimulatedScheduler::runReady() {
  while (step()) {
  }
}

// Advances the time to the first timer that is not after `limit`, and makes its work ready.
bool SimulatedScheduler::fireNextTimer(MonotonicTime limit) {
  if (timers_.empty() || timers_.begin()->first.first > limit) return false;
  const auto first = timers_.begin();
  now_ = std::max(now_, first->first.first);
  ready_.push_back(std::move(first->second));
  timers_.erase(first);
  return true;
}

void SimulatedScheduler::advance(Duration span) {
  const MonotonicTime end = now_ + span;
  do {
    runReady();
  } while (fireNextTimer(end));
  now_ = end;
}

bool SimulatedScheduler::runUntil(const std::function<bool()>& condition, Duration limit) {
  const MonotonicTime end = now_ + limit;
  while (!condition()) {
    if (step()) continue;
    if (fireNextTimer(end)) continue;
    now_ = end;
    return condition();
  }
  return true;
}

}  // namespace quorl
