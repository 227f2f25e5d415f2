// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <mutex>
#include <vector>

#include <boost/asio/io_context.hpp>

#include <QuorlHostCore/Concurrency/Scheduler.h>

namespace quorl {

/// Runs work on the thread of a loop, in the order of the calls. Clock, timers and waits are those of another
/// scheduler.
///
/// *Queue*: every operation may be called from any thread.
/// *Lifetime*: ends before `base` and `context`. `stop` drops pending work; it is called once the loop's
/// thread has ended.
class LoopScheduler final : public Scheduler {
 public:
  LoopScheduler(boost::asio::io_context& context, Scheduler& base) : context_(context), base_(base) {}
  ~LoopScheduler() override { stop(); }
  void stop();

  MonotonicTime now() const override { return base_.now(); }
  Date date() const override { return base_.date(); }
  void execute(Work work) override;
  TimerID schedule(MonotonicTime when, Work work) override;
  void cancel(TimerID timer) override { base_.cancel(timer); }
  void wait(std::unique_lock<std::mutex>& lock, std::condition_variable& condition,
            const std::function<bool()>& done) override {
    base_.wait(lock, condition, done);
  }
  void blocking(const std::function<void()>& work) override { base_.blocking(work); }

 private:
  struct Pending {
    std::mutex mutex;  // guards these
    std::vector<Work> work;
    bool isPosted = false;
    bool isStopped = false;
  };

  static void execute(boost::asio::io_context& context, const std::shared_ptr<Pending>& pending, Work work);
  static void run(const std::shared_ptr<Pending>& pending);

  boost::asio::io_context& context_;
  Scheduler& base_;
  // Shared with timers, which may outlive this object.
  const std::shared_ptr<Pending> pending_ = std::make_shared<Pending>();
};

}  // namespace quorl
