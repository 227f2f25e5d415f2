// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/LoopScheduler.h>

#include <utility>

namespace quorl {

LoopScheduler::~LoopScheduler() {
  const std::scoped_lock lock(target_->mutex);
  target_->pipes = nullptr;
}

void LoopScheduler::Target::post(Work work) {
  const std::scoped_lock lock(mutex);
  if (pipes) pipes->post(std::move(work));
}

LoopScheduler::TimerID LoopScheduler::schedule(MonotonicTime when, Work work) {
  return base_.schedule(
      when, [target = target_, work = std::move(work)]() mutable { target->post(std::move(work)); });
}

}  // namespace quorl
