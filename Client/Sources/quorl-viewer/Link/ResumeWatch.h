// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

#include <QuorlUnix/Descriptor.h>
#include <quorl-client/Base/Waiter.h>

namespace quorl::viewer {

/// Reports that the computer has slept: CLOCK_BOOTTIME counts that time and CLOCK_MONOTONIC does not
/// (clock_gettime(2)). The kernel wakes the descriptor then (TFD_TIMER_CANCEL_ON_SET, timerfd_create(2)),
/// because the monotonic deadlines of poll(2) do not.
///
/// *Queue*: one thread. *Ownership*: a value.
class ResumeWatch {
 public:
  /// The time slept since the computer was started.
  using SleptTime = std::function<client::Clock::duration()>;
  static client::Clock::duration systemSleptTime();

  explicit ResumeWatch(SleptTime sleptTime = systemSleptTime);

  /// Readable after a sleep, and after the wall clock was set. -1: the kernel has no such timers.
  int descriptor() const { return timer_.get(); }
  /// Whether the computer has slept for at least a second since the last call. Makes the descriptor wait
  /// again.
  bool hasSlept();

 private:
  void arm();

  SleptTime sleptTime_;
  client::Clock::duration known_;
  Descriptor timer_;
};

}  // namespace quorl::viewer
