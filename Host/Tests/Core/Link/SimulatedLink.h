// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <functional>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>

namespace quorl::test {

/// A link with one bottleneck and an unlimited queue: bytes leave it at a rate that may change with time, and
/// are acknowledged one round trip later.
///
/// *Queue*: a value of one test, in virtual time.
class SimulatedLink {
 public:
  using Rate = std::function<double(MonotonicTime)>;  // bytes per second; 0 during a stall

  SimulatedLink(Rate rate, Duration roundTrip) : rate_(std::move(rate)), roundTrip_(roundTrip) {}

  void send(std::size_t bytes) { waiting_ += static_cast<double>(bytes); }

  /// Advances the time.
  void advanceTo(MonotonicTime now) {
    constexpr Duration step = std::chrono::microseconds(250);
    while (now_ < now) {
      const Duration length = std::min(step, now - now_);
      const double seconds = std::chrono::duration<double>(length).count();
      const double left = std::min(waiting_, rate_(now_) * seconds);
      waiting_ -= left;
      delivered_ += left;
      now_ += length;
      arriving_.push_back({now_ + roundTrip_, delivered_});
    }
    while (!arriving_.empty() && arriving_.front().time <= now_) {
      acknowledged_ = arriving_.front().delivered;
      arriving_.pop_front();
    }
  }

  std::uint64_t acknowledged() const { return static_cast<std::uint64_t>(acknowledged_ + 0.5); }
  double delivered() const { return delivered_; }
  /// The time that a byte sent now would wait.
  double waiting() const { return waiting_; }
  Duration roundTrip() const { return roundTrip_; }

 private:
  struct Arrival {
    MonotonicTime time;
    double delivered = 0;
  };

  const Rate rate_;
  const Duration roundTrip_;
  MonotonicTime now_{};
  double waiting_ = 0;
  double delivered_ = 0;
  double acknowledged_ = 0;
  std::deque<Arrival> arriving_;
};

}  // namespace quorl::test
