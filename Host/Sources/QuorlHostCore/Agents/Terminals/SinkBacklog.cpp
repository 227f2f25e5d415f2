// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Terminals/SinkBacklog.h>

#include <algorithm>
#include <utility>

namespace quorl {

// An unknown link may be fast.
std::size_t SinkBacklog::limit() const {
  const double aSecond = link_ ? link_->load() : 0;
  if (aSecond <= 0) return mostLimit;
  return static_cast<std::size_t>(std::clamp<double>(aSecond, leastLimit, mostLimit));
}

bool SinkBacklog::isOverLimit() const {
  return outstanding() > limit();
}

std::size_t SinkBacklog::outstanding() const {
  std::lock_guard lock(mutex_);
  return outstanding_;
}

SharedBytes SinkBacklog::counted(SharedBytes bytes) {
  const std::size_t size = bytes->size();
  {
    std::lock_guard lock(mutex_);
    outstanding_ += size;
  }
  const Bytes* const same = bytes.get();
  return {same, [self = shared_from_this(), bytes = std::move(bytes), size](const Bytes*) mutable {
            bytes.reset();
            self->release(size);
          }};
}

void SinkBacklog::whenDrained(std::function<void()> work) {
  const std::size_t little = drained();
  {
    std::lock_guard lock(mutex_);
    if (outstanding_ > little) {
      waiting_.push_back(std::move(work));
      return;
    }
  }
  work();
}

void SinkBacklog::release(std::size_t size) {
  std::vector<std::function<void()>> due;
  const std::size_t little = drained();
  {
    std::lock_guard lock(mutex_);
    outstanding_ -= size;
    if (outstanding_ <= little) due = std::exchange(waiting_, {});
  }
  for (const auto& work : due) work();
}

}  // namespace quorl
