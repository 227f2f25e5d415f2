// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <memory>

#include <QuorlHostCore/Concurrency/Scheduler.h>
#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Ports/SystemPower.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

/// Carries out system commands: keep awake, volume, displays, lock. Clients get no answer; a failure is
/// logged.
///
/// *Queue*: "quorl.system" (rank `service`); every operation may be called from any thread. Commands of all
/// clients are carried out in the order of arrival.
/// *Blocking*: `handle` none. `releaseAll` and `isCaffeinated` wait for the queue, which waits for the
/// platform.
/// *Ownership*: the runtime's, shared with the connections.
/// *Lifetime*: pending commands are carried out even after destruction. What is held is released by
/// `releaseAll` only, not when a client leaves.
class SystemControl : public std::enable_shared_from_this<SystemControl> {
 public:
  /// Each may be absent; its commands are then logged as failed.
  struct Ports {
    std::shared_ptr<PowerAssertions> assertions;
    std::shared_ptr<DisplayPower> displays;
    std::shared_ptr<ScreenLock> lock;
    std::shared_ptr<OutputVolume> volume;
  };

  /// Further commands are dropped while this many wait, for a platform that hangs.
  static constexpr int mostWaiting = 256;

  SystemControl(Scheduler& scheduler, Ports ports);
  explicit SystemControl(const Platform& platform);

  void handle(const SystemCommand& command);
  /// Releases everything that is held.
  void releaseAll();
  bool isCaffeinated() const;

 private:
  void carryOut(const SystemCommand& command) QUORL_REQUIRES(queue_);
  void setCaffeinated(bool on) QUORL_REQUIRES(queue_);
  void wakeDisplays() QUORL_REQUIRES(queue_);
  void release(PowerAssertions::ID& assertion) QUORL_REQUIRES(queue_);

  const SerialQueue queue_;
  const Ports ports_;
  std::atomic<int> waiting_ = 0;
  PowerAssertions::ID systemAssertion_ QUORL_GUARDED_BY(queue_) = PowerAssertions::none;
  PowerAssertions::ID displayAssertion_ QUORL_GUARDED_BY(queue_) = PowerAssertions::none;
  PowerAssertions::ID wakeAssertion_ QUORL_GUARDED_BY(queue_) = PowerAssertions::none;
  bool caffeinated_ QUORL_GUARDED_BY(queue_) = false;
};

/// The volume of a command in percent: values outside 0 to 1 are clamped, others rounded.
int volumePercent(double value);

}  // namespace quorl
