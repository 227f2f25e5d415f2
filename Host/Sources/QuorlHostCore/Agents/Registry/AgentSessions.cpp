// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Registry/AgentSessions.h>

#include <algorithm>
#include <utility>

namespace quorl {

namespace {

// The terminal of a spawned session as its watchers see it. A session that was released shows nothing.
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

// The terminal of a tab. Its application repaints by itself.
TerminalFanOut::Terminal terminalOf(const std::shared_ptr<BridgedTerminalSession>& session) {
  return {.view = [weak = std::weak_ptr(session)]() -> TerminalFanOut::View {
            const auto self = weak.lock();
            return {.scrollback = self ? self->scrollback() : Bytes()};
          },
          .repaint = [] {}};
}

}  // namespace

AgentSessions::AgentSessions(SerialQueue queue, std::string homeDirectory)
    : queue_(std::move(queue)), homeDirectory_(std::move(homeDirectory)) {}

// Adding

void AgentSessions::addSpawned(std::shared_ptr<PTYSession> session, AgentKind kind, std::string detail,
                               Events events) {
  const UUID id = session->id();
  const bool hasEnded = session->status() == AgentStatus::exited;
  auto fanOut = std::make_shared<TerminalFanOut>(id, session->queue(), terminalOf(session));
  spawned_[id] = {
      .session = session, .kind = kind, .detail = std::move(detail), .fanOut = fanOut, .endedAt = {}};
  if (hasEnded) spawned_[id].endedAt = queue_.now();
  session->startMonitoring(
      {.onOutput = [fanOut](const SharedBytes& output) { fanOut->deliver(output); },
       .onStatusChange =
           [id, changed = std::move(events.statusChanged)](AgentStatus status) { changed(id, status); },
       .onAttention = [id, attention = std::move(events.attention)](
                          const std::string& title,
                          const std::string& body) { attention(agentEvent::Attention{id, title, body}); }});
}

void AgentSessions::addAdopted(std::shared_ptr<BridgedTerminalSession> session, Events events) {
  const UUID id = session->id;
  auto fanOut = std::make_shared<TerminalFanOut>(id, queue_, terminalOf(session));
  session->onOutput = [queue = queue_, fanOut](ByteView output) {
    queue.async(
        [fanOut, piece = shareBytes(Bytes(output.begin(), output.end()))] { fanOut->deliver(piece); });
  };
  session->onStatusChange = [id, changed = std::move(events.statusChanged)](AgentStatus status) {
    changed(id, status);
  };
  session->onAttention = [id, attention = std::move(events.attention)](const std::string& title,
                                                                       const std::string& body) {
    attention(agentEvent::Attention{id, title, body});
  };
  session->onProcessChange = [id, changed = std::move(events.processChanged)](ProcessState state) {
    changed(id, state);
  };
  adopted_[id] = {
      .session = std::move(session), .fanOut = std::move(fanOut), .subscribers = {}, .endedAt = {}};
}

AgentsSnapshot AgentSessions::release() {
  AgentsSnapshot snapshot;
  for (const auto& [id, spawned] : spawned_)
    snapshot.spawned.push_back(
        {.session = spawned.session->release(), .kind = spawned.kind, .detail = spawned.detail});
  for (const auto& [id, adopted] : adopted_) {
    BridgedTerminalSession& session = *adopted.session;
    session.release();
    snapshot.adopted.push_back({.agent = {.id = session.id,
                                          .pid = session.pid,
                                          .command = session.command,
                                          .name = session.displayName,
                                          .tty = session.tty,
                                          .terminal = session.terminal,
                                          .adoptable = true,
                                          .cwd = session.cwd},
                                .startTime = session.startTime(),
                                .status = session.status()});
  }
  return snapshot;
}

// Commands

void AgentSessions::terminate(const UUID& id) {
  if (const auto tab = adopted_.find(id); tab != adopted_.end()) {
    tab->second.session->terminate();
  } else if (const auto found = spawned_.find(id); found != spawned_.end()) {
    found->second.session->terminate();
  }
}

void AgentSessions::terminateAll() {
  for (const auto& [id, spawned] : spawned_) spawned.session->terminate();
  for (const auto& [id, adopted] : adopted_) adopted.session->terminate();
}

void AgentSessions::submit(const UUID& id, const std::string& text) {
  if (const auto tab = adopted_.find(id); tab != adopted_.end()) {
    tab->second.session->typeText(text, TextSubmission::submit);
  } else if (const auto found = spawned_.find(id); found != spawned_.end()) {
    found->second.session->write(bytesOf(text + "\r"));
  }
}

void AgentSessions::write(const UUID& id, const Bytes& bytes) {
  if (const auto tab = adopted_.find(id); tab != adopted_.end()) {
    tab->second.session->typeRaw(bytes);
  } else if (const auto found = spawned_.find(id); found != spawned_.end()) {
    found->second.session->write(bytes);
  }
}

void AgentSessions::resize(const UUID& id, std::int64_t columns, std::int64_t rows) {
  const auto found = spawned_.find(id);
  if (adopted_.contains(id) || found == spawned_.end()) return;
  found->second.session->resize(columns, rows);
}

// Watching

bool AgentSessions::subscribe(const UUID& id, const Sink& sink) {
  if (const auto found = spawned_.find(id); found != spawned_.end()) {
    const auto& fanOut = found->second.fanOut;
    fanOut->queue().async([fanOut, sink, backlog = backlogOf(sink)] {
      fanOut->join(sink, backlog, TerminalFanOut::First::viewNow);
    });
    return true;
  }
  const auto tab = adopted_.find(id);
  if (tab == adopted_.end()) return false;
  subscribe(tab->second, sink);
  return true;
}

// The first view of a tab needs an answer of its terminal. The session's queue waits for it; this one does
// not.
void AgentSessions::subscribe(Adopted& adopted, const Sink& sink) {
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

void AgentSessions::unsubscribe(const UUID& id, const StreamOutputSink* sink) {
  if (const auto tab = adopted_.find(id); tab != adopted_.end()) {
    unsubscribe(tab->second, sink);
  } else if (const auto found = spawned_.find(id); found != spawned_.end()) {
    const auto& fanOut = found->second.fanOut;
    fanOut->queue().async([fanOut, sink] { fanOut->leave(sink); });
  }
}

void AgentSessions::unsubscribe(Adopted& adopted, const StreamOutputSink* sink) {
  adopted.fanOut->leave(sink);
  if (adopted.subscribers.erase(sink) > 0) adopted.session->removeSubscriber();
}

void AgentSessions::removeSink(const StreamOutputSink* sink) {
  if (clients_.erase(sink) == 0) return;  // it has watched nothing
  for (auto& [id, adopted] : adopted_) unsubscribe(adopted, sink);
  for (const auto& [id, spawned] : spawned_)
    spawned.fanOut->queue().async([fanOut = spawned.fanOut, sink] { fanOut->leave(sink); });
}

std::shared_ptr<SinkBacklog> AgentSessions::backlogOf(const Sink& sink) {
  Client& client = clients_[sink.get()];
  if (!client.backlog || client.sink.expired())
    client = {.sink = sink, .backlog = std::make_shared<SinkBacklog>(sink->deliveredRate())};
  return client.backlog;
}

// Facts

SpawnedAgentFacts AgentSessions::factsOf(const Spawned& spawned) const {
  const PTYSession& session = *spawned.session;
  PTYSession::Summary summary = session.summary();
  return {.id = session.id(),
          .kind = spawned.kind,
          .displayName = session.displayName(),
          .command = session.command(),
          .workingDirectory = PTYSession::expandTilde(session.workingDirectory(), homeDirectory_),
          .detail = spawned.detail,
          .status = summary.status,
          .pid = session.pid(),
          .lastActivity = summary.lastActivity,
          .previewLine = std::move(summary.previewLine)};
}

AdoptedAgentFacts AgentSessions::factsOf(const Adopted& adopted) {
  const BridgedTerminalSession& session = *adopted.session;
  return {.id = session.id,
          .displayName = session.displayName,
          .command = session.command,
          .tty = session.tty,
          .status = session.status(),
          .pid = session.pid,
          .lastActivity = session.lastOutputDate(),
          .previewLine = session.previewLine(),
          .cwd = session.cwd};
}

std::vector<SpawnedAgentFacts> AgentSessions::spawnedFacts() const {
  std::vector<SpawnedAgentFacts> facts;
  for (const auto& [id, spawned] : spawned_) facts.push_back(factsOf(spawned));
  return facts;
}

std::vector<AdoptedAgentFacts> AgentSessions::adoptedFacts() const {
  std::vector<AdoptedAgentFacts> facts;
  for (const auto& [id, adopted] : adopted_) facts.push_back(factsOf(adopted));
  return facts;
}

std::optional<AgentDescriptor> AgentSessions::row(const UUID& id) const {
  if (const auto found = spawned_.find(id); found != spawned_.end()) return rowOf(factsOf(found->second));
  if (const auto tab = adopted_.find(id); tab != adopted_.end()) return rowOf(factsOf(tab->second));
  return std::nullopt;
}

// Ends

void AgentSessions::noteStatus(const UUID& id, AgentStatus status) {
  if (const auto found = spawned_.find(id); found != spawned_.end() && status == AgentStatus::exited)
    found->second.endedAt = queue_.now();
}

void AgentSessions::noteProcess(const UUID& id, ProcessState state) {
  if (const auto tab = adopted_.find(id); tab != adopted_.end() && state == ProcessState::gone)
    tab->second.endedAt = queue_.now();
}

bool AgentSessions::haveEnded() const {
  const auto hasEnded = [](const auto& entry) { return entry.second.endedAt.has_value(); };
  const auto isDone = [](const auto& entry) {
    return entry.second.session->processState() != ProcessState::alive;
  };
  return std::ranges::all_of(spawned_, hasEnded) && std::ranges::all_of(adopted_, isDone);
}

std::vector<UUID> AgentSessions::reapExited(const Date& now) {
  std::vector<std::pair<Date, UUID>> exited;
  for (const auto& [id, spawned] : spawned_)
    if (spawned.session->status() == AgentStatus::exited)
      exited.emplace_back(spawned.session->lastActivity(), id);
  std::ranges::sort(exited, std::greater<>());
  std::vector<UUID> reaped;
  for (std::size_t place = 0; place < exited.size(); ++place) {
    const auto& [lastActivity, id] = exited[place];
    const double age = now.secondsSince1970 - lastActivity.secondsSince1970;
    if (place < maxExited && age <= maxExitedSeconds) continue;
    spawned_.erase(id);
    reaped.push_back(id);
  }
  return reaped;
}

void AgentSessions::checkAdopted() const {
  for (const auto& [id, adopted] : adopted_) adopted.session->checkProcess();
}

AgentSessions::Processes AgentSessions::processesAliveSince(MonotonicTime begin) const {
  Processes alive;
  for (const auto& [id, spawned] : spawned_) {
    if (spawned.endedAt && *spawned.endedAt < begin) continue;
    if (!spawned.session->ttyName().empty()) alive.ttys.insert(spawned.session->ttyName());
    if (spawned.session->pid() >= 1) alive.pids.insert(spawned.session->pid());
  }
  for (const auto& [id, adopted] : adopted_)
    if (!adopted.endedAt || *adopted.endedAt >= begin) alive.ttys.insert(adopted.session->tty);
  return alive;
}

}  // namespace quorl
