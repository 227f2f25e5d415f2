// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <QuorlHostCore/Agents/Registry/AgentListBuilder.h>
#include <QuorlHostCore/Agents/Registry/AgentsSnapshot.h>
#include <QuorlHostCore/Agents/Terminals/BridgedTerminalSession.h>
#include <QuorlHostCore/Agents/Terminals/PTYSession.h>
#include <QuorlHostCore/Agents/Terminals/TerminalFanOut.h>
#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Protocol/ControlMessage.h>

namespace quorl {

/// The registry's live sessions (commands in terminals of the host, and adopted terminal tabs) and the
/// clients that watch them. Carries out commands on one session and records which processes have ended.
///
/// *Queue*: the registry's, for every operation. Events come on the sessions' queues.
/// *Blocking*: lists and times of activity wait for the sessions' queues.
/// *Ownership*: owns the sessions; holds clients weakly.
/// *Lifetime*: destruction ends the spawned sessions and leaves the processes in tabs alone. Events of a
/// session may arrive until its queue has drained.
class AgentSessions {
 public:
  using ProcessState = BridgedTerminalSession::ProcessState;
  using Sink = std::shared_ptr<StreamOutputSink>;

  struct Events {
    std::function<void(const UUID&, AgentStatus)> statusChanged;
    std::function<void(const UUID&, ProcessState)> processChanged;  // of a tab
    std::function<void(const agentEvent::Attention&)> attention;
  };
  struct Processes {
    std::set<std::string> ttys;
    std::set<std::int32_t> pids;
  };

  static constexpr std::size_t maxExited = 25;
  static constexpr double maxExitedSeconds = 3600;

  /// `queue`: the registry's.
  AgentSessions(SerialQueue queue, std::string homeDirectory);

  void addSpawned(std::shared_ptr<PTYSession> session, AgentKind kind, std::string detail, Events events);
  void addAdopted(std::shared_ptr<BridgedTerminalSession> session, Events events);
  /// Gives every spawned session up; see `PTYSession::release`. Tabs stay as they are.
  AgentsSnapshot release();
  bool isSpawned(const UUID& id) const { return spawned_.contains(id); }
  bool isAdopted(const UUID& id) const { return adopted_.contains(id); }

  // Commands; each does nothing for an unknown agent.

  void terminate(const UUID& id);
  void terminateAll();
  /// Types the text and Return.
  void submit(const UUID& id, const std::string& text);
  void write(const UUID& id, const Bytes& bytes);
  /// A tab keeps the size that its application gives it.
  void resize(const UUID& id, std::int64_t columns, std::int64_t rows);

  /// False for an unknown agent.
  bool subscribe(const UUID& id, const Sink& sink);
  void unsubscribe(const UUID& id, const StreamOutputSink* sink);
  /// The client has disconnected.
  void removeSink(const StreamOutputSink* sink);

  std::vector<SpawnedAgentFacts> spawnedFacts() const;
  std::vector<AdoptedAgentFacts> adoptedFacts() const;
  std::optional<AgentDescriptor> row(const UUID& id) const;

  void noteStatus(const UUID& id, AgentStatus status);
  void noteProcess(const UUID& id, ProcessState state);
  /// Every process has ended, or nothing more will be done to it.
  bool haveEnded() const;
  /// Removes exited sessions beyond the newest few, and those that exited over an hour ago.
  std::vector<UUID> reapExited(const Date& now);
  /// Has each tab's session check whether its process still runs.
  void checkAdopted() const;
  /// Terminals and processes of the sessions whose process was alive at `begin` or has started since.
  Processes processesAliveSince(MonotonicTime begin) const;

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
    std::shared_ptr<TerminalFanOut> fanOut;  // on the registry's queue
    std::set<const StreamOutputSink*> subscribers;
    std::optional<MonotonicTime> endedAt;  // of the process
  };
  struct Client {
    std::weak_ptr<StreamOutputSink> sink;
    std::shared_ptr<SinkBacklog> backlog;
  };

  SpawnedAgentFacts factsOf(const Spawned& spawned) const;
  static AdoptedAgentFacts factsOf(const Adopted& adopted);
  void subscribe(Adopted& adopted, const Sink& sink);
  static void unsubscribe(Adopted& adopted, const StreamOutputSink* sink);
  std::shared_ptr<SinkBacklog> backlogOf(const Sink& sink);

  const SerialQueue queue_;
  const std::string homeDirectory_;
  std::map<UUID, Spawned> spawned_;
  std::map<UUID, Adopted> adopted_;
  std::map<const StreamOutputSink*, Client> clients_;
};

}  // namespace quorl
