// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Concurrency/PoolScheduler.h>

#include <chrono>
#include <deque>
#include <map>
#include <thread>
#include <unordered_map>
#include <vector>

namespace quorl {

namespace {

constexpr std::size_t maxThreads = 64;

}  // namespace

struct PoolScheduler::Impl {
  std::mutex mutex;
  std::condition_variable workArrived;
  std::condition_variable timersChanged;
  std::condition_variable lastEnded;
  std::deque<Work> ready;
  std::map<std::pair<MonotonicTime, TimerID>, Work> timers;
  std::unordered_map<TimerID, MonotonicTime> timerDeadlines;
  TimerID lastTimer = 0;
  std::unordered_map<std::thread::id, std::thread> workers;  // running
  std::vector<std::thread> ended;                            // to be joined; they take no lock any more
  const std::size_t base = std::max<std::size_t>(2, std::thread::hardware_concurrency());
  std::size_t idle = 0;
  std::size_t blocked = 0;  // threads in `wait` or `blocking`, of the pool or not
  bool stopping = false;
  std::thread timerThread;

  static MonotonicTime clockNow() {
    return MonotonicTime(
        std::chrono::duration_cast<Duration>(std::chrono::steady_clock::now().time_since_epoch()));
  }

  // With `mutex` held: adds a thread if work waits and every thread is busy or blocked.
  void growIfNeeded() {
    if (stopping || ready.size() <= idle || workers.size() >= maxThreads) return;
    if (workers.size() >= base + blocked) return;
    for (std::thread& thread : ended) thread.join();
    ended.clear();
    // The new thread waits for the lock, and by then it is in `workers`.
    std::thread worker([this] { work(); });
    const auto id = worker.get_id();
    workers.emplace(id, std::move(worker));
  }

  void push(Work item) {
    std::lock_guard lock(mutex);
    if (stopping) return;
    ready.push_back(std::move(item));
    growIfNeeded();
    workArrived.notify_one();
  }

  void work() {
    std::unique_lock lock(mutex);
    while (!stopping) {
      if (ready.empty()) {
        if (workers.size() > base + blocked) break;
        ++idle;
        workArrived.wait(lock, [this] { return stopping || !ready.empty(); });
        --idle;
        continue;
      }
      Work item = std::move(ready.front());
      ready.pop_front();
      lock.unlock();
      item();
      item = nullptr;
      lock.lock();
    }
    const auto self = workers.find(std::this_thread::get_id());
    ended.push_back(std::move(self->second));
    workers.erase(self);
    if (workers.empty()) lastEnded.notify_all();
  }

  void runTimers() {
    std::unique_lock lock(mutex);
    while (!stopping) {
      if (timers.empty()) {
        timersChanged.wait(lock);
        continue;
      }
      const auto first = timers.begin();
      const MonotonicTime when = first->first.first;
      if (clockNow() < when) {
        timersChanged.wait_until(lock, std::chrono::steady_clock::time_point(when.time_since_epoch()));
        continue;
      }
      timerDeadlines.erase(first->first.second);
      ready.push_back(std::move(first->second));
      timers.erase(first);
      growIfNeeded();
      workArrived.notify_one();
    }
  }

  void beginBlocking() {
    std::lock_guard lock(mutex);
    ++blocked;
    growIfNeeded();
  }

  void endBlocking() {
    std::lock_guard lock(mutex);
    --blocked;
  }
};

PoolScheduler::PoolScheduler() : impl_(std::make_unique<Impl>()) {
  impl_->timerThread = std::thread([impl = impl_.get()] { impl->runTimers(); });
}

PoolScheduler::~PoolScheduler() {
  std::deque<Work> dropped;
  std::map<std::pair<MonotonicTime, TimerID>, Work> droppedTimers;
  {
    std::unique_lock lock(impl_->mutex);
    impl_->stopping = true;
    impl_->workArrived.notify_all();
    impl_->timersChanged.notify_all();
    impl_->lastEnded.wait(lock, [this] { return impl_->workers.empty(); });
    dropped.swap(impl_->ready);
    droppedTimers.swap(impl_->timers);
    impl_->timerDeadlines.clear();  // dropped work may own timers and cancel them
  }
  for (std::thread& thread : impl_->ended) thread.join();
  impl_->timerThread.join();
}

MonotonicTime PoolScheduler::now() const {
  return Impl::clockNow();
}

Date PoolScheduler::date() const {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return Date{std::chrono::duration<double>(sinceEpoch).count()};
}

void PoolScheduler::execute(Work work) {
  impl_->push(std::move(work));
}

PoolScheduler::TimerID PoolScheduler::schedule(MonotonicTime when, Work work) {
  std::lock_guard lock(impl_->mutex);
  const TimerID timer = ++impl_->lastTimer;
  if (impl_->stopping) return timer;
  const auto [position, inserted] = impl_->timers.emplace(std::pair(when, timer), std::move(work));
  impl_->timerDeadlines.emplace(timer, when);
  if (position == impl_->timers.begin()) impl_->timersChanged.notify_one();
  return timer;
}

void PoolScheduler::cancel(TimerID timer) {
  Work dropped;  // destroyed outside the lock: it may own objects whose destruction cancels other timers
  std::lock_guard lock(impl_->mutex);
  const auto deadline = impl_->timerDeadlines.find(timer);
  if (deadline == impl_->timerDeadlines.end()) return;
  const auto entry = impl_->timers.find(std::pair(deadline->second, timer));
  dropped = std::move(entry->second);
  impl_->timers.erase(entry);
  impl_->timerDeadlines.erase(deadline);
}

void PoolScheduler::wait(std::unique_lock<std::mutex>& lock, std::condition_variable& condition,
                         const std::function<bool()>& done) {
  if (done()) return;
  impl_->beginBlocking();
  condition.wait(lock, done);
  impl_->endBlocking();
}

void PoolScheduler::blocking(const std::function<void()>& work) {
  impl_->beginBlocking();
  work();
  impl_->endBlocking();
}

}  // namespace quorl
