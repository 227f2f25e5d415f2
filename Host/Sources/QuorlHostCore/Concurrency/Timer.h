// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <functional>
#include <memory>

namespace quorl {

/// A delayed or repeated work item of a `SerialQueue`. `cancel()`, assignment and destruction cancel it.
/// After a cancel on the owning queue the work does not run; a cancel from another thread does not stop a run
/// that has begun.
///
/// *Lifetime*: may outlive its queue.
class Timer {
 public:
  struct State {
    std::atomic<bool> cancelled{false};
    std::atomic<bool> finished{false};
    std::move_only_function<void()> withdraw;  // withdraws the wake-up from the scheduler; set before sharing
  };

  Timer() = default;
  explicit Timer(std::shared_ptr<State> state) : state_(std::move(state)) {}
  Timer(Timer&&) noexcept = default;
  Timer& operator=(Timer&& other) noexcept {
    if (this != &other) {
      cancel();
      state_ = std::move(other.state_);
    }
    return *this;
  }
  ~Timer() { cancel(); }

  void cancel();
  bool isPending() const { return state_ && !state_->cancelled && !state_->finished; }

 private:
  std::shared_ptr<State> state_;
};

}  // namespace quorl
