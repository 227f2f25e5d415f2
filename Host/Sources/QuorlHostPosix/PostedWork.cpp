// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/PostedWork.h>

#include <utility>

namespace quorl {

void PostedWork::post(Work work) {
  {
    const std::scoped_lock lock(mutex_);
    if (isClosed_) return;
    pending_.push_back(std::move(work));
  }
  waker_->wake();
}

bool PostedWork::run() {
  std::vector<Work> batch;
  {
    const std::scoped_lock lock(mutex_);
    batch.swap(pending_);
  }
  for (auto& work : batch) {
    if (isClosed()) return false;
    std::exchange(work, nullptr)();
  }
  return !isClosed();
}

void PostedWork::close() {
  std::vector<Work> dropped;
  {
    const std::scoped_lock lock(mutex_);
    isClosed_ = true;
    dropped.swap(pending_);
  }
  waker_->wake();
}

bool PostedWork::isClosed() const {
  const std::scoped_lock lock(mutex_);
  return isClosed_;
}

}  // namespace quorl
