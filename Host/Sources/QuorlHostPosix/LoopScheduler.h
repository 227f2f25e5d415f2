// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <mutex>

#include <QuorlHostCore/Concurrency/Scheduler.h>
#include <QuorlHostPosix/SocketPipes.h>

namespace quorl {

/// Runs work on the thread of `SocketPipes`, in the order of the calls. Clock, timers and waits are those of
/// another scheduler.
///
/// *Queue*: every operation may be called from any thread.
/// *Lifetime*: ends before `base` and `pipes`.
class LoopScheduler final : public Scheduler {
 public:
  LoopScheduler(SocketPipes& pipes, Scheduler& base)
      : base_(base), target_(std::make_shared<Target>(&pipes)) {}
  ~LoopScheduler() override;

  MonotonicTime now() const override { return base_.now(); }
  Date date() const override { return base_.date(); }
  void execute(Work work) override { target_->post(std::move(work)); }
  TimerID schedule(MonotonicTime when, Work work) override;
  void cancel(TimerID timer) override { base_.cancel(timer); }
  void wait(std::unique_lock<std::mutex>& lock, std::condition_variable& condition,
            const std::function<bool()>& done) override {
    base_.wait(lock, condition, done);
  }
  void blocking(const std::function<void()>& work) override { base_.blocking(work); }

 private:
  // Shared with timers, which may outlive this object.
  struct Target {
    explicit Target(SocketPipes* socketPipes) : pipes(socketPipes) {}
    void post(Work work);

    std::mutex mutex;
    SocketPipes* pipes;  // null once the scheduler has ended
  };

  Scheduler& base_;
  const std::shared_ptr<Target> target_;
};

}  // namespace quorl
