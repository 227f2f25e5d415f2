// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <QuorlHostCore/Agents/Discovery/SessionLiveness.h>
#include <QuorlHostCore/Agents/Registry/AgentListBuilder.h>
#include <QuorlHostCore/Agents/Registry/AgentScanner.h>
#include <QuorlHostCore/Agents/Terminals/BridgedTerminalSession.h>
#include <QuorlHostCore/Agents/Terminals/PTYSession.h>
#include <QuorlHostCore/Agents/Terminals/TerminalBridge.h>
#include <QuorlHostCore/Agents/Terminals/TerminalFanOut.h>
#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Protocol/ControlMessage.h>

namespace quorl {

class AgentCatalog;
class HostExtrasStore;
class TrustStore;

/// The one owner of everything that a client sees as an agent: commands in terminals of the host's own,
/// adopted terminal tabs, past sessions found on disk, live processes, and graphical agents. Makes the one
/// list of them, carries out what clients ask, and sends terminal output to those who watch.
///
/// Terminal output of spawned sessions does not pass this object's queue: it goes from the session's queue
/// straight to the clients (`TerminalFanOut`). Nor does this queue wait for the disk, the process table or a
/// terminal's script (`AgentScanner`): what a client types goes through at once.
///
/// *Queue*: "quorl.agents"; operations may be called from any thread and return at once unless said
/// otherwise. It waits for sessions, catalog, extras and trust store, never the reverse.
/// *Ownership*: owns the sessions, shares the stores and ports, holds clients weakly.
/// *Lifetime*: the runtime's. Dropping it ends the spawned sessions.
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

  /// To all authenticated clients, from any thread. Set once, before `start`; without it lists, events and
  /// errors are dropped.
  void setBroadcastControl(Broadcast broadcast) { broadcastControl_ = std::move(broadcast); }
  void broadcast(const ControlMessage& message) const;

  /// `start` and `stop` each once, on one thread. `stop` asks every agent to end; `ended` is called once, on
  /// any thread, as soon as the last one has gone or nothing more will be done to it. No agent is started
  /// from then on.
  void start();
  void stop(std::function<void()> ended = [] {});

  void currentList(std::function<void(std::vector<AgentDescriptor>)> callback);
  void handle(const AgentCommand& command, const std::shared_ptr<StreamOutputSink>& sink);
  /// The client has gone.
  void removeSink(const StreamOutputSink* sink);
  void launchCatalogEntry(const UUID& id);
  void requestExternalAgents(std::function<void(std::vector<ExternalAgent>)> callback);
  void adoptExternal(const UUID& id);
  /// Waits for the store; the new list of agents follows later.
  void setGUIAgentBundles(const std::vector<std::string>& bundles);

  static constexpr Duration discoveryInterval = std::chrono::seconds(30);
  static constexpr Duration externalInterval = std::chrono::seconds(5);
  static constexpr std::size_t maxExited = 25;
  static constexpr double maxExitedSeconds = 3600;

 private:
  struct Spawned {
    std::shared_ptr<PTYSession> session;
    AgentKind kind = AgentKind::pty;
    std::string detail;
    std::shared_ptr<TerminalFanOut> fanOut;  // on the session's queue
    std::optional<MonotonicTime> endedAt;
  };
  struct Adopted {
    std::shared_ptr<BridgedTerminalSession> session;
    std::shared_ptr<TerminalFanOut> fanOut;  // on this queue
    std::set<const StreamOutputSink*> subscribers;
    std::optional<MonotonicTime> endedAt;  // of the process
  };
  struct CachedExternal {
    ExternalAgent agent;
    std::uint64_t startTime = 0;
  };
  struct OwnProcesses {
    std::set<std::string> ttys;
    std::set<std::int32_t> pids;
  };
  struct Client {
    std::weak_ptr<StreamOutputSink> sink;
    std::shared_ptr<SinkBacklog> backlog;
  };
  using Sink = std::shared_ptr<StreamOutputSink>;

  AgentRegistry(const Platform& platform, Stores stores);
  /// Runs `work` on the queue, unless the registry has gone by then.
  std::function<void()> weakly(std::function<void(AgentRegistry&)> work);
  void post(std::function<void(AgentRegistry&)> work) { queue_.async(weakly(std::move(work))); }
  void broadcastError(std::string code, std::string message) const;

  std::vector<AgentDescriptor> buildList() QUORL_REQUIRES(queue_);
  SpawnedAgentFacts factsOf(const Spawned& spawned) const;
  AdoptedAgentFacts factsOf(const Adopted& adopted) const;
  void broadcastListIfChanged() QUORL_REQUIRES(queue_);
  void noteStatus(const UUID& id, AgentStatus status) QUORL_REQUIRES(queue_);
  void noteProcess(const UUID& id, BridgedTerminalSession::ProcessState state) QUORL_REQUIRES(queue_);
  void reportEnd() QUORL_REQUIRES(queue_);
  void broadcastRow(const UUID& id) QUORL_REQUIRES(queue_);

  /// Each ends in a later piece of work on the queue.
  void refreshDiscovery() QUORL_REQUIRES(queue_);
  void scanExternals(std::function<void(AgentRegistry&)> then) QUORL_REQUIRES(queue_);
  OwnProcesses processesAliveSince(MonotonicTime begin) const QUORL_REQUIRES(queue_);
  void takeExternals(MonotonicTime begin, const AgentScanner::Externals& externals) QUORL_REQUIRES(queue_);
  void reapExited() QUORL_REQUIRES(queue_);
  void scanGUIApps();
  void takeApplications(const std::vector<ShareableApplication>& applications) QUORL_REQUIRES(queue_);
  void refreshExternal() QUORL_REQUIRES(queue_);

  void spawnAgent(const AgentSpawnConfig& config) QUORL_REQUIRES(queue_);
  void adoptClaudeSession(const std::string& sessionID, const std::string& projectPath)
      QUORL_REQUIRES(queue_);
  void registerSpawned(std::shared_ptr<PTYSession> session, AgentKind kind, std::string detail)
      QUORL_REQUIRES(queue_);
  void adopt(const CachedExternal& external, const std::string& tty) QUORL_REQUIRES(queue_);
  void registerAdopted(std::shared_ptr<BridgedTerminalSession> session) QUORL_REQUIRES(queue_);

  void carryOut(const agentCommand::Spawn& command, const Sink& sink) QUORL_REQUIRES(queue_);
  void carryOut(const agentCommand::AdoptClaudeSession& command, const Sink& sink) QUORL_REQUIRES(queue_);
  void carryOut(const agentCommand::Kill& command, const Sink& sink) QUORL_REQUIRES(queue_);
  void carryOut(const agentCommand::Prompt& command, const Sink& sink) QUORL_REQUIRES(queue_);
  void carryOut(const agentCommand::Write& command, const Sink& sink) QUORL_REQUIRES(queue_);
  void carryOut(const agentCommand::Subscribe& command, const Sink& sink) QUORL_REQUIRES(queue_);
  void carryOut(const agentCommand::Unsubscribe& command, const Sink& sink) QUORL_REQUIRES(queue_);
  void carryOut(const agentCommand::ResizePTY& command, const Sink& sink) QUORL_REQUIRES(queue_);
  void subscribe(Adopted& adopted, const Sink& sink) QUORL_REQUIRES(queue_);
  void unsubscribe(Adopted& adopted, const StreamOutputSink* sink) QUORL_REQUIRES(queue_);
  std::shared_ptr<SinkBacklog> backlogOf(const Sink& sink) QUORL_REQUIRES(queue_);

  const Platform platform_;
  const Stores stores_;
  const SerialQueue queue_;
  const std::string homeDirectory_;
  const std::shared_ptr<AgentScanner> scanner_;
  Broadcast broadcastControl_;
  Timer discoveryTimer_;  // the thread's that starts and stops
  Timer externalTimer_;

  std::map<UUID, Spawned> spawned_ QUORL_GUARDED_BY(queue_);
  std::map<UUID, Adopted> adopted_ QUORL_GUARDED_BY(queue_);
  AgentScanner::Sessions discovered_ QUORL_GUARDED_BY(queue_);
  SessionLiveness liveness_ QUORL_GUARDED_BY(queue_);
  std::vector<AgentDescriptor> guiApps_ QUORL_GUARDED_BY(queue_);
  std::map<std::string, UUID> guiAppIDs_ QUORL_GUARDED_BY(queue_);
  std::map<UUID, CachedExternal> externalCache_ QUORL_GUARDED_BY(queue_);  // of the last scan
  std::vector<ExternalAgent> externals_ QUORL_GUARDED_BY(queue_);          // the same, by name
  std::vector<ExternalAgent> lastExternalList_ QUORL_GUARDED_BY(queue_);   // last told
  bool isStopping_ QUORL_GUARDED_BY(queue_) = false;
  std::function<void()> whenEnded_ QUORL_GUARDED_BY(queue_);  // absent once called
  bool isDiscovering_ QUORL_GUARDED_BY(queue_) = false;
  bool isRefreshingExternals_ QUORL_GUARDED_BY(queue_) = false;
  std::vector<AgentDescriptor> lastList_ QUORL_GUARDED_BY(queue_);
  std::map<const StreamOutputSink*, Client> clients_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
