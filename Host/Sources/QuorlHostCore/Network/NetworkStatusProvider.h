// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QuorlHostCore/Concurrency/Scheduler.h>
#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Network/NetworkDetector.h>
#include <QuorlHostCore/Ports/NetworkInterfaces.h>
#include <QuorlKit/Models/NetworkModels.h>

namespace quorl {

/// Knows how this machine can be reached. Between `start` and `stop` it looks again every 15 seconds, because
/// overlays do not report changes, and soon after the machine's addresses have changed.
///
/// *Queue*: owns "quorl.network" (rank `service`); every operation may be called from any thread.
/// *Blocking*: `current` and `stop` wait for the queue, which itself never waits: tools run apart from it.
/// *Ownership*: shared by the runtime and its connections.
/// *Lifetime*: the runtime's. Timers, notifications and pending work hold it weakly.
class NetworkStatusProvider : public std::enable_shared_from_this<NetworkStatusProvider> {
 public:
  static constexpr std::chrono::seconds interval{15};
  /// One event of the network changes several addresses one after the other.
  static constexpr std::chrono::milliseconds changeDelay{200};

  using OnChange = std::function<void(const NetworkStatus&)>;
  using Completion = std::function<void(NetworkStatus)>;

  NetworkStatusProvider(const Platform& platform, HostPorts ports);

  /// Takes each new status between `start` and `stop`, on the queue. Set before `start`.
  void setOnChange(OnChange onChange);

  void start();
  void stop();

  /// The latest result. Nothing before the first.
  std::optional<NetworkStatus> current() const;
  /// Calls `completion` once, on the queue, with the latest result or else the first one. Needs no `start`.
  void snapshot(Completion completion);

 private:
  enum class Reason : std::uint8_t { time, interfaces };
  using Addresses = std::vector<InterfaceAddress>;

  void recompute(Reason reason) QUORL_REQUIRES(queue_);
  void finish(Addresses addresses, std::optional<NetworkStatus> status) QUORL_REQUIRES(queue_);
  void store(NetworkStatus status) QUORL_REQUIRES(queue_);
  void watchInterfaces() QUORL_REQUIRES(queue_);
  void interfacesChanged() QUORL_REQUIRES(queue_);

  const SerialQueue queue_;
  const std::shared_ptr<NetworkInterfaces> interfaces_;  // may be null
  const NetworkDetector detector_;
  Timer timer_ QUORL_GUARDED_BY(queue_);
  Timer changeTimer_ QUORL_GUARDED_BY(queue_);
  bool isStarted_ QUORL_GUARDED_BY(queue_) = false;
  std::optional<NetworkStatus> cached_ QUORL_GUARDED_BY(queue_);
  Addresses addresses_ QUORL_GUARDED_BY(queue_);  // that the cached status is based on
  OnChange onChange_ QUORL_GUARDED_BY(queue_);
  std::vector<Completion> waiting_ QUORL_GUARDED_BY(queue_);
  bool isComputing_ QUORL_GUARDED_BY(queue_) = false;
  bool changedMeanwhile_ QUORL_GUARDED_BY(queue_) = false;
};

}  // namespace quorl
