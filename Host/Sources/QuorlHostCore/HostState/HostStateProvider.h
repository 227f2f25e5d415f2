// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include <QuorlHostCore/Concurrency/Scheduler.h>
#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/HostState/IconCache.h>
#include <QuorlHostCore/HostState/SystemMetricsSampler.h>
#include <QuorlHostCore/Ports/DisplayCatalog.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlHostCore/Ports/RunningApplications.h>
#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

/// Reports what a client can choose to stream and how busy the machine is: on request, and as long as there
/// is an audience at intervals. Without an audience no timer runs.
///
/// *Queue*: owns "quorl.hoststate" (rank `service`); every operation may be called from any thread.
/// *Blocking*: none; calls of the platform that wait run apart from the queue.
/// *Ownership*: shared by the runtime and its connections.
/// *Lifetime*: the runtime's. Timers and pending work hold it weakly.
class HostStateProvider : public std::enable_shared_from_this<HostStateProvider> {
 public:
  static constexpr std::chrono::milliseconds enumerationLimit{1500};
  static constexpr std::chrono::seconds stateInterval{5};
  static constexpr std::chrono::seconds metricsInterval{2};

  enum class Audience : std::uint8_t { absent, present };

  using Completion = std::function<void(HostState)>;
  /// `content` is a number from 1 that changes when anything but the metrics does.
  using BroadcastState = std::function<void(HostState, std::uint64_t content)>;
  using BroadcastMetrics = std::function<void(const SystemMetrics&)>;

  explicit HostStateProvider(const Platform& platform);

  /// Both take the periodic reports, on the queue. Set before `start`.
  void setBroadcastState(BroadcastState broadcast);
  void setBroadcastMetrics(BroadcastMetrics broadcast);

  /// Between `start` and `stop`, and while there is an audience, every tick is broadcast, changed or not. The
  /// first ticks come one interval after both hold.
  void start();
  void stop();
  /// Whether anyone hears a broadcast. Absent at first.
  void setAudience(Audience audience);

  /// Calls `completion` exactly once, on the queue, at most `enumerationLimit` from now. If the platform
  /// fails or takes longer, the state has displays and metrics only. Callers that ask at the same moment
  /// share one enumeration. Needs no `start`.
  void buildState(Completion completion);

 private:
  struct Request;
  using Processes = std::optional<std::set<std::int32_t>>;

  void updateTimers() QUORL_REQUIRES(queue_);
  void broadcastStateSoon() QUORL_REQUIRES(queue_);
  void broadcastNow(HostState state) QUORL_REQUIRES(queue_);
  void beginRequest() QUORL_REQUIRES(queue_);
  void receive(const std::shared_ptr<Request>& request, std::expected<ShareableContent, PortError> content)
      QUORL_REQUIRES(queue_);
  void findRegularApplications(const std::shared_ptr<Request>& request, ShareableContent content)
      QUORL_REQUIRES(queue_);
  HostState stateFrom(const ShareableContent& content, const Processes& regular) QUORL_REQUIRES(queue_);
  HostState stateWithoutContent() QUORL_REQUIRES(queue_);

  const SerialQueue queue_;
  const std::shared_ptr<ScreenCapture> screen_;
  const std::shared_ptr<DisplayCatalog> displays_;           // may be null
  const std::shared_ptr<RunningApplications> applications_;  // may be null
  const std::shared_ptr<IconCache> icons_;
  SystemMetricsSampler sampler_ QUORL_GUARDED_BY(queue_);
  BroadcastState broadcastState_ QUORL_GUARDED_BY(queue_);
  BroadcastMetrics broadcastMetrics_ QUORL_GUARDED_BY(queue_);
  HostState broadcastContent_ QUORL_GUARDED_BY(queue_);  // the last one, without metrics
  std::uint64_t contentNumber_ QUORL_GUARDED_BY(queue_) = 0;
  bool isStarted_ QUORL_GUARDED_BY(queue_) = false;
  Audience audience_ QUORL_GUARDED_BY(queue_) = Audience::absent;
  Timer stateTimer_ QUORL_GUARDED_BY(queue_);
  Timer metricsTimer_ QUORL_GUARDED_BY(queue_);
  std::vector<Completion> waiting_ QUORL_GUARDED_BY(queue_);  // for the request that begins next
};

}  // namespace quorl
