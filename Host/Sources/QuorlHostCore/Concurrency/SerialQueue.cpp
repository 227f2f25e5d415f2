// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Concurrency/SerialQueue.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

namespace {

// Pieces of work after which a busy queue yields its thread to others.
constexpr int maxDrainLength = 64;

}  // namespace

struct SerialQueue::Impl : std::enable_shared_from_this<SerialQueue::Impl> {
  enum class State : std::uint8_t { idle, scheduled, running, abandoned };
  class Turn;

  Impl(Scheduler& owner, std::string name, QueueRank order)
      : scheduler(owner), label(std::move(name)), rank(order) {}

  Scheduler& scheduler;
  const std::string label;
  const QueueRank rank;

  std::mutex mutex;
  std::condition_variable finished;
  std::deque<Work> pending;
  State state = State::idle;

  void async(Work work);
  void sync(const std::function<void()>& work);
  void drain();
  void abandon();
  void scheduleDrain();  // with `mutex` not held
  void runPending(std::unique_lock<std::mutex>& lock, int limit);
  void leave(std::unique_lock<std::mutex>& lock);
  void checkMayWait() const;
};

namespace {

// The queues whose work this thread is running, outermost first; several if `sync` nests.
thread_local std::vector<const void*> currentQueues;
thread_local std::vector<std::pair<QueueRank, const std::string*>> currentRanks;

class EnterQueue {
 public:
  EnterQueue(const void* queue, QueueRank rank, const std::string& label) {
    currentQueues.push_back(queue);
    currentRanks.emplace_back(rank, &label);
  }
  EnterQueue(const EnterQueue&) = delete;
  EnterQueue& operator=(const EnterQueue&) = delete;
  ~EnterQueue() {
    currentQueues.pop_back();
    currentRanks.pop_back();
  }
};

}  // namespace

// A drain that the scheduler holds. If the scheduler ends it destroys this, which drops the pending work.
// That work often holds the owner of the queue, and so the queue itself.
class SerialQueue::Impl::Turn {
 public:
  explicit Turn(std::shared_ptr<Impl> queue) : queue_(std::move(queue)) {}
  Turn(Turn&&) noexcept = default;
  Turn& operator=(Turn&&) = delete;
  ~Turn() {
    if (queue_) queue_->abandon();
  }
  void operator()() { std::exchange(queue_, nullptr)->drain(); }

 private:
  std::shared_ptr<Impl> queue_;
};

void SerialQueue::Impl::scheduleDrain() {
  scheduler.execute(Turn(shared_from_this()));
}

void SerialQueue::Impl::abandon() {
  std::deque<Work> dropped;  // destroyed outside the lock: objects in it may use the queue
  std::lock_guard lock(mutex);
  if (state != State::scheduled) return;
  state = State::abandoned;
  dropped.swap(pending);
}

void SerialQueue::Impl::async(Work work) {
  {
    std::lock_guard lock(mutex);
    if (state == State::abandoned) return;
    pending.push_back(std::move(work));
    if (state != State::idle) return;
    state = State::scheduled;
  }
  scheduleDrain();
}

// With `state` at running and owned by this thread: runs up to `limit` pieces of work.
void SerialQueue::Impl::runPending(std::unique_lock<std::mutex>& lock, int limit) {
  EnterQueue enter(this, rank, label);
  for (int count = 0; count < limit && !pending.empty(); ++count) {
    Work work = std::move(pending.front());
    pending.pop_front();
    lock.unlock();
    work();
    work = nullptr;  // destroys captured objects on this queue, before the next piece
    lock.lock();
  }
}

// Leaves `running`, and schedules a drain if work is left.
void SerialQueue::Impl::leave(std::unique_lock<std::mutex>& lock) {
  state = pending.empty() ? State::idle : State::scheduled;
  const bool more = state == State::scheduled;
  lock.unlock();
  if (more) scheduleDrain();
}

void SerialQueue::Impl::drain() {
  std::unique_lock lock(mutex);
  if (state != State::scheduled) return;  // a `sync` has taken over the work
  state = State::running;
  runPending(lock, maxDrainLength);
  leave(lock);
}

void SerialQueue::Impl::checkMayWait() const {
  if (currentRanks.empty()) return;
  const auto& [heldRank, heldLabel] = currentRanks.back();
  if (heldRank < rank) return;
  const std::string text = fmt::format("queue \"{}\" must not wait on queue \"{}\"", *heldLabel, label);
  QUORL_CHECK(heldRank < rank, text.c_str());
}

void SerialQueue::Impl::sync(const std::function<void()>& work) {
  checkMayWait();
  std::unique_lock lock(mutex);
  if (state == State::running) {
    bool done = false;
    pending.push_back([&] {
      work();
      std::lock_guard guard(mutex);
      done = true;
      finished.notify_all();
    });
    scheduler.wait(lock, finished, [&] { return done; });
    return;
  }
  state = State::running;
  runPending(lock, static_cast<int>(pending.size()));
  lock.unlock();
  {
    EnterQueue enter(this, rank, label);
    work();
  }
  lock.lock();
  leave(lock);
}

SerialQueue::SerialQueue(Scheduler& scheduler, std::string label, QueueRank rank)
    : impl_(std::make_shared<Impl>(scheduler, std::move(label), rank)) {}

// Both keep the queue alive, because the work may destroy the object that holds `this`.
void SerialQueue::async(Work work) const {
  const auto impl = impl_;
  impl->async(std::move(work));
}

void SerialQueue::runSync(const std::function<void()>& work) const {
  const auto impl = impl_;
  impl->sync(work);
}

bool SerialQueue::isCurrent() const {
  return std::find(currentQueues.begin(), currentQueues.end(), impl_.get()) != currentQueues.end();
}

void SerialQueue::assertCurrent() const {
  QUORL_CHECK(isCurrent(), impl_->label.c_str());
}

const std::string& SerialQueue::label() const {
  return impl_->label;
}

Scheduler& SerialQueue::scheduler() const {
  return impl_->scheduler;
}

Timer SerialQueue::after(Duration delay, Work work) const {
  auto state = std::make_shared<Timer::State>();
  auto fire = [state, queue = std::weak_ptr(impl_), work = std::move(work)]() mutable {
    auto target = queue.lock();
    if (!target) return;
    target->async([state = std::move(state), work = std::move(work)]() mutable {
      if (state->cancelled) return;
      state->finished = true;
      work();
    });
  };
  Scheduler& scheduler = impl_->scheduler;
  const auto timer = scheduler.schedule(scheduler.now() + delay, std::move(fire));
  state->withdraw = [&scheduler, timer] { scheduler.cancel(timer); };
  return Timer(std::move(state));
}

namespace {

// One repetition: waits, runs the work and arms the next repetition.
struct Repetition : std::enable_shared_from_this<Repetition> {
  SerialQueue queue;
  Duration interval;
  std::function<void()> work;
  std::shared_ptr<Timer::State> state;
  std::mutex mutex;
  Timer next;

  Repetition(SerialQueue target, Duration gap, std::function<void()> action)
      : queue(std::move(target)), interval(gap), work(std::move(action)) {}

  void arm(Duration delay) {
    std::lock_guard lock(mutex);
    if (state->cancelled) return;
    next = queue.after(delay, [self = shared_from_this()] { self->fire(); });
  }
  void fire() {
    if (state->cancelled) return;
    work();
    if (!state->cancelled) arm(interval);
  }
  void disarm() {
    std::lock_guard lock(mutex);
    next = Timer();
  }
};

}  // namespace

Timer SerialQueue::every(Duration first, Duration interval, std::function<void()> work) const {
  auto repetition = std::make_shared<Repetition>(*this, interval, std::move(work));
  auto state = std::make_shared<Timer::State>();
  repetition->state = state;
  state->withdraw = [weak = std::weak_ptr(repetition)] {
    if (auto strong = weak.lock()) strong->disarm();
  };
  repetition->arm(first);
  return Timer(std::move(state));
}

void Timer::cancel() {
  if (!state_) return;
  auto state = std::move(state_);
  state_ = nullptr;
  if (state->cancelled.exchange(true)) return;
  if (!state->finished && state->withdraw) state->withdraw();
}

}  // namespace quorl
