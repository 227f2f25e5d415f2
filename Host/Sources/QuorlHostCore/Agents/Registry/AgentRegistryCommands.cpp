// SPDX-License-Identifier: GPL-3.0-or-later
// What clients ask of the registry.
#include <variant>

#include <fmt/format.h>

#include <QuorlHostCore/Agents/Registry/AgentRegistry.h>
#include <QuorlHostCore/Agents/Stores/AgentCatalog.h>
#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <QuorlKit/Foundation/TextTools.h>

namespace quorl {

namespace {

constexpr std::size_t maxNameLength = 60;  // user-perceived characters

std::string displayNameOf(const AgentSpawnConfig& config) {
  const std::string_view trimmed = trimmedWhiteSpace(config.displayName);
  const bool isUsable = !trimmed.empty() && firstCharacters(trimmed, maxNameLength).size() == trimmed.size();
  return isUsable ? config.displayName : AgentSpawnConfig::shortLabel(config.command);
}

std::string resumeCommand(std::string sessionID) {
  std::erase(sessionID, '\'');
  return "claude --resume '" + sessionID + "'";
}

// The session's screen and its repaint, for those who watch it; a session that has gone shows nothing.
TerminalFanOut::Terminal terminalOf(const std::shared_ptr<PTYSession>& session) {
  const std::weak_ptr<PTYSession> weak = session;
  return {.view =
              [weak] {
                TerminalFanOut::View view;
                const auto self = weak.lock();
                if (!self) return view;
                self->queue().assertCurrent();
                const PTYSession::Screen screen = self->screen();
                view.isAlternateScreen = screen.isAlternate;
                view.modes = screen.modes;
                if (!screen.isAlternate)
                  view.scrollback.assign(screen.scrollback.begin(), screen.scrollback.end());
                return view;
              },
          .repaint =
              [weak] {
                const auto self = weak.lock();
                if (!self) return;
                self->queue().assertCurrent();
                self->askForRepaint();
              }};
}

}  // namespace

void AgentRegistry::handle(const AgentCommand& command, const std::shared_ptr<StreamOutputSink>& sink) {
  post([command, weak = std::weak_ptr(sink)](AgentRegistry& self) {
    const Sink client = weak.lock();
    std::visit(
        [&](const auto& one) {
          self.queue_.assertCurrent();
          self.carryOut(one, client);
        },
        command);
  });
}

void AgentRegistry::carryOut(const agentCommand::Spawn& command, const Sink&) {
  spawnAgent(command._0);
}

void AgentRegistry::carryOut(const agentCommand::AdoptClaudeSession& command, const Sink&) {
  adoptClaudeSession(command.sessionID, command.projectPath);
}

void AgentRegistry::carryOut(const agentCommand::Kill& command, const Sink&) {
  if (const auto tab = adopted_.find(command.id); tab != adopted_.end()) {
    tab->second.session->terminate();
  } else if (const auto found = spawned_.find(command.id); found != spawned_.end()) {
    found->second.session->terminate();
  }
}

void AgentRegistry::carryOut(const agentCommand::Prompt& command, const Sink&) {
  if (const auto tab = adopted_.find(command.id); tab != adopted_.end()) {
    tab->second.session->typeText(command.text, TextSubmission::submit);
  } else if (const auto found = spawned_.find(command.id); found != spawned_.end()) {
    found->second.session->write(bytesOf(command.text + "\r"));
  }
}

void AgentRegistry::carryOut(const agentCommand::Write& command, const Sink&) {
  if (const auto tab = adopted_.find(command.id); tab != adopted_.end()) {
    tab->second.session->typeRaw(command.data);
  } else if (const auto found = spawned_.find(command.id); found != spawned_.end()) {
    found->second.session->write(command.data);
  }
}

void AgentRegistry::carryOut(const agentCommand::ResizePTY& command, const Sink&) {
  const auto found = spawned_.find(command.id);
  if (adopted_.contains(command.id) || found == spawned_.end()) return;
  found->second.session->resize(command.cols, command.rows);
}

void AgentRegistry::carryOut(const agentCommand::Subscribe& command, const Sink& sink) {
  if (!sink) return;
  if (const auto found = spawned_.find(command.id); found != spawned_.end()) {
    const auto& fanOut = found->second.fanOut;
    fanOut->queue().async([fanOut, sink, backlog = backlogOf(sink)] {
      fanOut->join(sink, backlog, TerminalFanOut::First::viewNow);
    });
  } else if (const auto tab = adopted_.find(command.id); tab != adopted_.end()) {
    subscribe(tab->second, sink);
  } else {
    sink->sendControl(
        message::Error{{.code = "agent.unknown", .message = "no live agent " + command.id.text()}});
  }
}

// The first look at a tab takes a terminal's answer; it is waited for without holding this queue up.
void AgentRegistry::subscribe(Adopted& adopted, const Sink& sink) {
  const bool isNew = adopted.subscribers.insert(sink.get()).second;
  const auto first = isNew ? TerminalFanOut::First::viewWhenAsked : TerminalFanOut::First::viewNow;
  adopted.fanOut->join(sink, backlogOf(sink), first);
  if (!isNew) return;
  adopted.session->addSubscriber();
  adopted.session->afterPendingWork(
      [queue = queue_, fanOut = adopted.fanOut, key = static_cast<const StreamOutputSink*>(sink.get())] {
        queue.async([fanOut, key] { fanOut->show(key); });
      });
}

void AgentRegistry::carryOut(const agentCommand::Unsubscribe& command, const Sink& sink) {
  if (!sink) return;
  if (const auto tab = adopted_.find(command.id); tab != adopted_.end()) {
    unsubscribe(tab->second, sink.get());
  } else if (const auto found = spawned_.find(command.id); found != spawned_.end()) {
    const auto& fanOut = found->second.fanOut;
    fanOut->queue().async([fanOut, sink] { fanOut->leave(sink.get()); });
  }
}

void AgentRegistry::unsubscribe(Adopted& adopted, const StreamOutputSink* sink) {
  adopted.fanOut->leave(sink);
  if (adopted.subscribers.erase(sink) > 0) adopted.session->removeSubscriber();
}

void AgentRegistry::removeSink(const StreamOutputSink* sink) {
  post([sink](AgentRegistry& self) {
    self.queue_.assertCurrent();
    if (self.clients_.erase(sink) == 0) return;  // it watched nothing
    for (auto& [id, adopted] : self.adopted_) self.unsubscribe(adopted, sink);
    for (const auto& [id, spawned] : self.spawned_)
      spawned.fanOut->queue().async([fanOut = spawned.fanOut, sink] { fanOut->leave(sink); });
  });
}

std::shared_ptr<SinkBacklog> AgentRegistry::backlogOf(const Sink& sink) {
  Client& client = clients_[sink.get()];
  if (!client.backlog || client.sink.expired())
    client = {.sink = sink, .backlog = std::make_shared<SinkBacklog>(sink->deliveredRate())};
  return client.backlog;
}

void AgentRegistry::launchCatalogEntry(const UUID& id) {
  const auto entry = stores_.catalog->entry(id);
  if (!entry) return;
  post([entry = *entry](AgentRegistry& self) {
    self.queue_.assertCurrent();
    self.spawnAgent({.displayName = entry.name,
                     .command = entry.command,
                     .workingDirectory = entry.workingDirectory,
                     .env = entry.env});
  });
}

void AgentRegistry::spawnAgent(const AgentSpawnConfig& config) {
  if (isStopping_) return;
  AgentSpawnConfig named = config;
  named.displayName = displayNameOf(config);
  auto session = PTYSession::spawn({.id = UUID::random(*platform_.random),
                                    .displayName = named.displayName,
                                    .command = named.command,
                                    .workingDirectory = named.workingDirectory,
                                    .env = named.env,
                                    .adapter = inferAgentAdapter(named.command, AgentKind::pty)},
                                   queue_.scheduler(), *platform_.pseudoTerminals, homeDirectory_);
  if (!session) {
    Log::agent.error(fmt::format("spawn failed: {}", session.error().message));
    return broadcastError("agent.spawn", session.error().message);
  }
  registerSpawned(std::move(*session), AgentKind::pty, named.command + " — " + named.workingDirectory);
  stores_.trustStore->rememberSpawnConfig(named);
}

void AgentRegistry::adoptClaudeSession(const std::string& sessionID, const std::string& projectPath) {
  const auto own = UUID::parse(sessionID);
  const UUID id = own ? *own : UUID::random(*platform_.random);
  if (isStopping_ || spawned_.contains(id)) return;
  std::string name = "Claude Code — ";
  name += lastPathComponent(projectPath);
  auto session = PTYSession::spawn({.id = id,
                                    .displayName = std::move(name),
                                    .command = resumeCommand(sessionID),
                                    .workingDirectory = projectPath,
                                    .env = {},
                                    .adapter = AgentAdapter::claudeCode},
                                   queue_.scheduler(), *platform_.pseudoTerminals, homeDirectory_);
  if (!session) {
    Log::agent.error(fmt::format("adopt failed: {}", session.error().message));
    return broadcastError("agent.adopt", session.error().message);
  }
  registerSpawned(std::move(*session), AgentKind::claudeCode, sessionDetail(sessionID, projectPath));
}

void AgentRegistry::registerSpawned(std::shared_ptr<PTYSession> session, AgentKind kind, std::string detail) {
  const UUID id = session->id();
  auto fanOut = std::make_shared<TerminalFanOut>(id, session->queue(), terminalOf(session));
  spawned_[id] = {
      .session = session, .kind = kind, .detail = std::move(detail), .fanOut = fanOut, .endedAt = {}};
  const auto weak = weak_from_this();
  session->startMonitoring({.onOutput = [fanOut](const SharedBytes& output) { fanOut->deliver(output); },
                            .onStatusChange =
                                [weak, id](AgentStatus status) {
                                  const auto self = weak.lock();
                                  if (!self) return;
                                  self->post([id, status](AgentRegistry& later) {
                                    later.queue_.assertCurrent();
                                    later.noteStatus(id, status);
                                  });
                                },
                            .onAttention =
                                [weak, id](const std::string& title, const std::string& body) {
                                  const auto self = weak.lock();
                                  if (!self) return;
                                  self->post(
                                      [event = agentEvent::Attention{id, title, body}](AgentRegistry& later) {
                                        later.broadcast(message::AgentEvent{event});
                                      });
                                }});
  broadcastListIfChanged();
}

void AgentRegistry::adoptExternal(const UUID& id) {
  post([id](AgentRegistry& self) {
    self.queue_.assertCurrent();
    if (self.adopted_.contains(id)) return;
    const auto found = self.externalCache_.find(id);
    if (found == self.externalCache_.end())
      return self.broadcastError("agent.adopt", "external agent " + id.text() + " no longer present");
    const CachedExternal external = found->second;
    const ExternalAgent& agent = external.agent;
    if (!agent.adoptable || !agent.tty || agent.terminal == TerminalKind::unknown)
      return self.broadcastError("agent.adopt", agent.name + " is not in a scriptable terminal tab");
    self.adopt(external, *agent.tty);
  });
}

// The next scan leaves the tab out, so that the agent moves from one list to the other.
void AgentRegistry::adopt(const CachedExternal& external, const std::string& tty) {
  registerAdopted(BridgedTerminalSession::create(queue_.scheduler(), external.agent, tty, stores_.bridge,
                                                 platform_.processes, external.startTime));
  scanExternals([](AgentRegistry& self) {
    self.queue_.assertCurrent();
    self.lastExternalList_ = self.externals_;
    self.broadcast(message::ExternalAgentList{self.lastExternalList_});
  });
}

void AgentRegistry::registerAdopted(std::shared_ptr<BridgedTerminalSession> session) {
  const UUID id = session->id;
  const auto weak = weak_from_this();
  auto fanOut = std::make_shared<TerminalFanOut>(
      id, queue_,
      TerminalFanOut::Terminal{.view = [session = std::weak_ptr(session)]() -> TerminalFanOut::View {
                                 const auto self = session.lock();
                                 return {.scrollback = self ? self->scrollback() : Bytes()};
                               },
                               .repaint = [] {}});
  session->onOutput = [queue = queue_, fanOut](ByteView output) {
    queue.async(
        [fanOut, piece = shareBytes(Bytes(output.begin(), output.end()))] { fanOut->deliver(piece); });
  };
  session->onStatusChange = [weak, id](AgentStatus) {
    const auto self = weak.lock();
    if (!self) return;
    self->post([id](AgentRegistry& later) {
      later.queue_.assertCurrent();
      later.broadcastRow(id);
    });
  };
  session->onAttention = [weak, id](const std::string& title, const std::string& body) {
    const auto self = weak.lock();
    if (!self) return;
    self->post([event = agentEvent::Attention{id, title, body}](AgentRegistry& later) {
      later.broadcast(message::AgentEvent{event});
    });
  };
  session->onProcessChange = [weak, id](BridgedTerminalSession::ProcessState state) {
    const auto self = weak.lock();
    if (!self) return;
    self->post([id, state](AgentRegistry& later) {
      later.queue_.assertCurrent();
      later.noteProcess(id, state);
    });
  };
  adopted_[id] = {
      .session = std::move(session), .fanOut = std::move(fanOut), .subscribers = {}, .endedAt = {}};
  broadcastListIfChanged();
}

}  // namespace quorl
