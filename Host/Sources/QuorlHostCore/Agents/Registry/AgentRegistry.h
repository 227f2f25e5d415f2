// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Agents/Discovery/SessionLiveness.h>
#include <QuorlHostCore/Agents/Registry/AgentListBuilder.h>
#include <QuorlHostCore/Agents/Registry/AgentScanner.h>
#include <QuorlHostCore/Agents/Registry/AgentSessions.h>
#include <QuorlHostCore/Agents/Terminals/TerminalBridge.h>
#include <QuorlHostCore/Concurrency/Scheduler.h>
#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Protocol/ControlMessage.h>

namespace quorl {

class AgentCatalog;
class HostExtrasStore;
class TrustStore;
struct SpawnPlan;

/// Everything that a client sees as an agent: the live sessions (`AgentSessions`), past sessions found on
/// disk, live processes, and graphical agents. Builds the list of them and carries out the clients' commands.
///
/// Terminal output of spawned sessions does not pass this object's queue: it goes from the session's queue
/// straight to the clients (`TerminalFanOut`). Scans of the disk, the process table and the terminals run on
/// another queue (`AgentScanner`), so that they do not delay what a client types.
///
/// *Queue*: "quorl.agents"; operations may be called from any thread and return at once unless they say
/// otherwise.
/// *Blocking*: the queue waits for sessions, catalog, extras and trust store, which never wait for it.
/// *Ownership*: owns the sessions, shares the stores and ports, holds clients weakly.
/// *Lifetime*: the runtime's. Destruction ends the spawned sessions.
class AgentRegistry : public std::enable_shared_from_this<AgentRegistry> {
 public:
  struct Stores {
    std::shared_ptr<TrustStore> trustStore;
    std::shared_ptr<AgentCatalog> catalog;
    std::shared_ptr<HostExtrasStore> extras;
    std::shared_ptr<TerminalBridge> bridge;
  };
  using Broadcast = std::function<void(const ControlMessage&)>;

  static std::shared_ptr<AgentRegistry> make(const Platform& platform, Stores stores);

  /// Sends to all authenticated clients, from any thread. Set once, before `start`. Without it lists, events
  /// and errors are dropped.
  void setBroadcastControl(Broadcast broadcast) { broadcastControl_ = std::move(broadcast); }
  void broadcast(const ControlMessage& message) const;

  /// `start` and `stop` are called once each, on one thread. `stop` asks every agent to end. `ended` is
  /// called once, on any thread, when the last one has ended or nothing more will be done to it. No agent is
  /// started after `stop`.
  void start();
  void stop(std::function<void()> ended = [] {});

  /// Gives the agents up, instead of `stop`: they go on under the program that adopts them. Clients have been
  /// disconnected. Returns when everything that they have typed has reached the agents' terminals or the
  /// snapshot.
  AgentsSnapshot release();
  /// Continues the agents of another program image. Called once, before `start`, on the same thread.
  void restore(AgentsSnapshot snapshot);

  void currentList(std::function<void(std::vector<AgentDescriptor>)> callback);
  void handle(const AgentCommand& command, const std::shared_ptr<StreamOutputSink>& sink);
  /// The client has disconnected.
  void removeSink(const StreamOutputSink* sink);
  void launchCatalogEntry(const UUID& id);
  void requestExternalAgents(std::function<void(std::vector<ExternalAgent>)> callback);
  void adoptExternal(const UUID& id);
  /// Waits for the store. The new list of agents is broadcast later.
  void setGUIAgentBundles(const std::vector<std::string>& bundles);

  static constexpr Duration discoveryInterval = std::chrono::seconds(30);
  static constexpr Duration externalInterval = std::chrono::seconds(5);

 private:
  struct CachedExternal {
    ExternalAgent agent;
    std::uint64_t startTime = 0;
  };
  using Sink = std::shared_ptr<StreamOutputSink>;

  AgentRegistry(const Platform& platform, Stores stores);
  /// `work` for the queue; it does nothing once the registry was destroyed.
  std::function<void()> weakly(std::function<void(AgentRegistry&)> work);
  void post(std::function<void(AgentRegistry&)> work) { queue_.async(weakly(std::move(work))); }
  void broadcastError(std::string code, std::string message) const;

  std::vector<AgentDescriptor> buildList() QUORL_REQUIRES(queue_);
  void broadcastListIfChanged() QUORL_REQUIRES(queue_);
  void noteStatus(const UUID& id, AgentStatus status) QUORL_REQUIRES(queue_);
  void noteProcess(const UUID& id, BridgedTerminalSession::ProcessState state) QUORL_REQUIRES(queue_);
  void reportEnd() QUORL_REQUIRES(queue_);

  /// Each finishes in a later piece of work on the queue.
  void refreshDiscovery() QUORL_REQUIRES(queue_);
  void scanExternals(std::function<void(AgentRegistry&)> then) QUORL_REQUIRES(queue_);
  void takeExternals(MonotonicTime begin, const AgentScanner::Externals& externals) QUORL_REQUIRES(queue_);
  void reapExited() QUORL_REQUIRES(queue_);
  void scanGUIApps();
  void takeApplications(const std::vector<ShareableApplication>& applications) QUORL_REQUIRES(queue_);
  void refreshExternal() QUORL_REQUIRES(queue_);

  AgentSessions::Events sessionEvents();
  void spawnAgent(const AgentSpawnConfig& config) QUORL_REQUIRES(queue_);
  bool startSession(const SpawnPlan& plan) QUORL_REQUIRES(queue_);
  void addTab(const ExternalAgent& agent, const std::string& tty, std::uint64_t startTime, AgentStatus status)
      QUORL_REQUIRES(queue_);
  void adopt(const CachedExternal& external, const std::string& tty) QUORL_REQUIRES(queue_);

  void carryOut(const agentCommand::Spawn& command, const Sink& sink) QUORL_REQUIRES(queue_);
  void carryOut(const agentCommand::AdoptClaudeSession& command, const Sink& sink) QUORL_REQUIRES(queue_);
  void carryOut(const agentCommand::Kill& command, const Sink& sink) QUORL_REQUIRES(queue_);
  void carryOut(const agentCommand::Prompt& command, const Sink& sink) QUORL_REQUIRES(queue_);
  void carryOut(const agentCommand::Write& command, const Sink& sink) QUORL_REQUIRES(queue_);
  void carryOut(const agentCommand::Subscribe& command, const Sink& sink) QUORL_REQUIRES(queue_);
  void carryOut(const agentCommand::Unsubscribe& command, const Sink& sink) QUORL_REQUIRES(queue_);
  void carryOut(const agentCommand::ResizePTY& command, const Sink& sink) QUORL_REQUIRES(queue_);

  const Platform platform_;
  const Stores stores_;
  const SerialQueue queue_;
  const std::string homeDirectory_;
  const std::shared_ptr<AgentScanner> scanner_;
  Broadcast broadcastControl_;
  Timer discoveryTimer_;  // used on the thread that starts and stops
  Timer externalTimer_;

  AgentSessions sessions_ QUORL_GUARDED_BY(queue_);
  AgentScanner::Sessions discovered_ QUORL_GUARDED_BY(queue_);
  SessionLiveness liveness_ QUORL_GUARDED_BY(queue_);
  std::vector<AgentDescriptor> guiApps_ QUORL_GUARDED_BY(queue_);
  std::map<std::string, UUID> guiAppIDs_ QUORL_GUARDED_BY(queue_);
  std::map<UUID, CachedExternal> externalCache_ QUORL_GUARDED_BY(queue_);  // of the last scan
  std::vector<ExternalAgent> externals_ QUORL_GUARDED_BY(queue_);          // the same, by name
  std::vector<ExternalAgent> lastExternalList_ QUORL_GUARDED_BY(queue_);   // last sent
  bool isStopping_ QUORL_GUARDED_BY(queue_) = false;
  std::function<void()> whenEnded_ QUORL_GUARDED_BY(queue_);  // absent after it was called
  bool isDiscovering_ QUORL_GUARDED_BY(queue_) = false;
  bool isRefreshingExternals_ QUORL_GUARDED_BY(queue_) = false;
  std::vector<AgentDescriptor> lastList_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
