// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/LoopScheduler.h>

#include <memory>
#include <utility>

#include <boost/asio/post.hpp>

namespace quorl {

void LoopScheduler::stop() {
  std::vector<Work> dropped;  // destroyed outside the lock: it may own objects that use this scheduler
  const std::scoped_lock lock(pending_->mutex);
  pending_->isStopped = true;
  dropped.swap(pending_->work);
}

void LoopScheduler::execute(Work work) {
  execute(context_, pending_, std::move(work));
}

void LoopScheduler::execute(boost::asio::io_context& context, const std::shared_ptr<Pending>& pending,
                            Work work) {
  const std::scoped_lock lock(pending->mutex);
  if (pending->isStopped) return;
  pending->work.push_back(std::move(work));
  if (std::exchange(pending->isPosted, true)) return;
  // The loop holds no work itself, so that it owns no connection.
  boost::asio::post(context, [weak = std::weak_ptr(pending)] {
    if (const auto strong = weak.lock()) run(strong);
  });
}

void LoopScheduler::run(const std::shared_ptr<Pending>& pending) {
  std::vector<Work> batch;
  {
    const std::scoped_lock lock(pending->mutex);
    batch.swap(pending->work);
    pending->isPosted = false;
  }
  for (Work& work : batch) std::exchange(work, nullptr)();
}

LoopScheduler::TimerID LoopScheduler::schedule(MonotonicTime when, Work work) {
  return base_.schedule(when, [&context = context_, pending = pending_, work = std::move(work)]() mutable {
    execute(context, pending, std::move(work));
  });
}

}  // namespace quorl
