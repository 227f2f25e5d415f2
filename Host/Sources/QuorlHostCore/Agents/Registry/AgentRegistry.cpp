// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Registry/AgentRegistry.h>

#include <utility>
#include <variant>

#include <fmt/format.h>

#include <QuorlHostCore/Agents/Registry/SpawnPlan.h>
#include <QuorlHostCore/Agents/Stores/AgentCatalog.h>
#include <QuorlHostCore/Agents/Stores/HostExtrasStore.h>
#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <QuorlKit/WireProtocol.h>

namespace quorl {

std::shared_ptr<AgentRegistry> AgentRegistry::make(const Platform& platform, Stores stores) {
  auto registry = std::shared_ptr<AgentRegistry>(new AgentRegistry(platform, std::move(stores)));
  registry->stores_.bridge->onError = [weak = std::weak_ptr(registry)](const WireError& error) {
    if (const auto self = weak.lock()) self->broadcast(message::Error{error});
  };
  return registry;
}

AgentRegistry::AgentRegistry(const Platform& platform, Stores stores)
    : platform_(platform),
      stores_(std::move(stores)),
      queue_(*platform.scheduler, "quorl.agents", QueueRank::registry),
      homeDirectory_(platform.sessionFiles->homeDirectory()),
      scanner_(std::make_shared<AgentScanner>(platform, stores_.bridge)),
      sessions_(queue_, homeDirectory_) {}

std::function<void()> AgentRegistry::weakly(std::function<void(AgentRegistry&)> work) {
  return [weak = weak_from_this(), work = std::move(work)] {
    if (const auto self = weak.lock()) work(*self);
  };
}

void AgentRegistry::broadcast(const ControlMessage& message) const {
  if (broadcastControl_) broadcastControl_(message);
}

void AgentRegistry::broadcastError(std::string code, std::string text) const {
  broadcast(message::Error{{.code = std::move(code), .message = std::move(text)}});
}

void AgentRegistry::start() {
  const auto refresh = weakly([](AgentRegistry& self) {
    self.queue_.assertCurrent();
    self.refreshDiscovery();
  });
  queue_.async(refresh);
  discoveryTimer_ = queue_.every(discoveryInterval, discoveryInterval, refresh);
  externalTimer_ = queue_.every(externalInterval, externalInterval, weakly([](AgentRegistry& self) {
                                  self.queue_.assertCurrent();
                                  self.refreshExternal();
                                }));
}

void AgentRegistry::stop(std::function<void()> ended) {
  discoveryTimer_.cancel();
  externalTimer_.cancel();
  post([ended = std::move(ended)](AgentRegistry& self) {
    self.queue_.assertCurrent();
    self.isStopping_ = true;
    self.whenEnded_ = ended;
    self.sessions_.terminateAll();
    self.reportEnd();
  });
}

AgentsSnapshot AgentRegistry::release() {
  discoveryTimer_.cancel();
  externalTimer_.cancel();
  return queue_.sync([this] {
    queue_.assertCurrent();
    isStopping_ = true;
    AgentsSnapshot snapshot = sessions_.release();
    snapshot.guiAppIDs = guiAppIDs_;
    return snapshot;
  });
}

void AgentRegistry::restore(AgentsSnapshot snapshot) {
  queue_.sync([&] {
    queue_.assertCurrent();
    guiAppIDs_ = std::move(snapshot.guiAppIDs);
    for (auto& one : snapshot.spawned)
      sessions_.addSpawned(
          PTYSession::restore(std::move(one.session), queue_.scheduler(), *platform_.pseudoTerminals),
          one.kind, std::move(one.detail), sessionEvents());
    for (const auto& tab : snapshot.adopted)
      if (tab.agent.tty)
        addTab(tab.agent, *tab.agent.tty, tab.startTime, tab.status.value_or(AgentStatus::running));
  });
}

void AgentRegistry::reportEnd() {
  if (whenEnded_ && sessions_.haveEnded()) std::exchange(whenEnded_, nullptr)();
}

void AgentRegistry::currentList(std::function<void(std::vector<AgentDescriptor>)> callback) {
  post([callback = std::move(callback)](AgentRegistry& self) {
    self.queue_.assertCurrent();
    callback(self.buildList());
  });
}

std::vector<AgentDescriptor> AgentRegistry::buildList() {
  AgentListFacts facts;
  facts.spawned = sessions_.spawnedFacts();
  facts.adopted = sessions_.adoptedFacts();
  facts.discovered = discovered_.newestFirst;
  facts.liveness = liveness_;
  facts.guiApps = guiApps_;
  facts.now = queue_.scheduler().date();
  std::vector<AgentDescriptor> rows = buildAgentList(facts, [this](const std::string& path) {
    queue_.assertCurrent();
    const auto known = discovered_.canonicalPaths.find(path);
    return known != discovered_.canonicalPaths.end() ? known->second : path;
  });
  dropOldestPastSessions(rows, WireProtocol::maxFrameLength);
  return rows;
}

void AgentRegistry::broadcastListIfChanged() {
  std::vector<AgentDescriptor> list = buildList();
  if (list == lastList_) return;
  lastList_ = std::move(list);
  broadcast(message::AgentList{lastList_});
}

void AgentRegistry::noteStatus(const UUID& id, AgentStatus status) {
  sessions_.noteStatus(id, status);
  if (auto row = sessions_.row(id)) broadcast(message::AgentEvent{agentEvent::Updated{std::move(*row)}});
  reportEnd();
}

void AgentRegistry::noteProcess(const UUID& id, AgentSessions::ProcessState state) {
  sessions_.noteProcess(id, state);
  reportEnd();
}

void AgentRegistry::refreshDiscovery() {
  if (std::exchange(isDiscovering_, true)) return;  // scans of a slow disk must not pile up
  scanner_->scanSessions([weak = weak_from_this()](AgentScanner::Sessions sessions) {
    const auto self = weak.lock();
    if (!self) return;
    self->post([sessions = std::move(sessions)](AgentRegistry& later) {
      later.queue_.assertCurrent();
      later.isDiscovering_ = false;
      later.discovered_ = sessions;
      later.scanGUIApps();
      later.reapExited();
      later.broadcastListIfChanged();
    });
  });
}

void AgentRegistry::reapExited() {
  const std::vector<UUID> reaped = sessions_.reapExited(queue_.scheduler().date());
  for (const UUID& id : reaped) broadcast(message::AgentEvent{agentEvent::Removed{id}});
  if (!reaped.empty()) Log::agent.info(fmt::format("reaped {} exited agent(s)", reaped.size()));
}

// The answer comes later on an adapter's thread; the rows are updated then.
void AgentRegistry::scanGUIApps() {
  if (!platform_.screen) return;
  platform_.screen->shareableContent(
      [weak = weak_from_this()](const std::expected<ShareableContent, PortError>& content) {
        const auto self = weak.lock();
        if (!self) return;
        auto applications = content ? content->applications : std::vector<ShareableApplication>();
        self->post([applications = std::move(applications)](AgentRegistry& later) {
          later.queue_.assertCurrent();
          later.takeApplications(applications);
        });
      });
}

void AgentRegistry::takeApplications(const std::vector<ShareableApplication>& applications) {
  const auto usersBundles = stores_.extras->guiAgentBundles();
  std::vector<AgentDescriptor> rows;
  for (const ShareableApplication& application : applications) {
    if (application.bundleID.empty() || !isGUIAgent(application.bundleID, usersBundles)) continue;
    const auto [known, isNew] = guiAppIDs_.try_emplace(application.bundleID);
    if (isNew) known->second = UUID::random(*platform_.random);
    const std::string& name = application.name.empty() ? application.bundleID : application.name;
    rows.push_back(
        rowOf(RunningApplication{.bundleID = application.bundleID, .name = name, .pid = application.pid},
              known->second));
  }
  if (rows == guiApps_) return;
  guiApps_ = std::move(rows);
  broadcastListIfChanged();
}

// Excludes the terminals of the host's live processes. Those of ended ones are free, because the system
// reuses their names at once. A process that ended during the scan may have been read by it and counts as
// live.
void AgentRegistry::scanExternals(std::function<void(AgentRegistry&)> then) {
  sessions_.checkAdopted();
  const MonotonicTime begin = queue_.now();
  AgentSessions::Processes own = sessions_.processesAliveSince(begin);
  scanner_->scanExternals(
      std::move(own.ttys), std::move(own.pids),
      [weak = weak_from_this(), begin, then = std::move(then)](AgentScanner::Externals externals) {
        const auto self = weak.lock();
        if (!self) return;
        self->post([begin, externals = std::move(externals), then](AgentRegistry& later) {
          later.queue_.assertCurrent();
          later.takeExternals(begin, externals);
          then(later);
        });
      });
}

// Excludes agents that were started or adopted during the scan.
void AgentRegistry::takeExternals(MonotonicTime begin, const AgentScanner::Externals& externals) {
  const AgentSessions::Processes own = sessions_.processesAliveSince(begin);
  externals_.clear();
  externalCache_.clear();
  for (const ExternalAgent& agent : externals.byName) {
    if (own.pids.contains(agent.pid) || (agent.tty && own.ttys.contains(*agent.tty))) continue;
    externals_.push_back(agent);
    const auto startTime = externals.startTimes.find(agent.id);
    externalCache_[agent.id] = {.agent = agent,
                                .startTime = startTime != externals.startTimes.end() ? startTime->second : 0};
  }
  liveness_ = externals.liveness;
}

void AgentRegistry::refreshExternal() {
  if (std::exchange(isRefreshingExternals_, true)) return;
  scanExternals([](AgentRegistry& self) {
    self.queue_.assertCurrent();
    self.isRefreshingExternals_ = false;
    if (self.externals_ == self.lastExternalList_) return;
    self.lastExternalList_ = self.externals_;
    self.broadcast(message::ExternalAgentList{self.lastExternalList_});
  });
}

void AgentRegistry::requestExternalAgents(std::function<void(std::vector<ExternalAgent>)> callback) {
  post([callback = std::move(callback)](AgentRegistry& self) {
    self.queue_.assertCurrent();
    self.scanExternals([callback](AgentRegistry& later) {
      later.queue_.assertCurrent();
      later.lastExternalList_ = later.externals_;
      callback(later.lastExternalList_);
    });
  });
}

void AgentRegistry::setGUIAgentBundles(const std::vector<std::string>& bundles) {
  stores_.extras->setGUIAgentBundles(bundles);
  post([](AgentRegistry& self) { self.scanGUIApps(); });
}

// Commands

void AgentRegistry::handle(const AgentCommand& command, const Sink& sink) {
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
  const auto own = UUID::parse(command.sessionID);
  const UUID id = own ? *own : UUID::random(*platform_.random);
  if (!sessions_.isSpawned(id)) startSession(planResumption(command.sessionID, command.projectPath, id));
}

void AgentRegistry::carryOut(const agentCommand::Kill& command, const Sink&) {
  sessions_.terminate(command.id);
}

void AgentRegistry::carryOut(const agentCommand::Prompt& command, const Sink&) {
  sessions_.submit(command.id, command.text);
}

void AgentRegistry::carryOut(const agentCommand::Write& command, const Sink&) {
  sessions_.write(command.id, command.data);
}

void AgentRegistry::carryOut(const agentCommand::ResizePTY& command, const Sink&) {
  sessions_.resize(command.id, command.cols, command.rows);
}

void AgentRegistry::carryOut(const agentCommand::Subscribe& command, const Sink& sink) {
  if (!sink || sessions_.subscribe(command.id, sink)) return;
  sink->sendControl(
      message::Error{{.code = "agent.unknown", .message = "no live agent " + command.id.text()}});
}

void AgentRegistry::carryOut(const agentCommand::Unsubscribe& command, const Sink& sink) {
  if (sink) sessions_.unsubscribe(command.id, sink.get());
}

void AgentRegistry::removeSink(const StreamOutputSink* sink) {
  post([sink](AgentRegistry& self) {
    self.queue_.assertCurrent();
    self.sessions_.removeSink(sink);
  });
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
  const SpawnPlan plan = planSpawn(config, UUID::random(*platform_.random));
  if (!startSession(plan)) return;
  AgentSpawnConfig named = config;
  named.displayName = plan.parameters.displayName;
  stores_.trustStore->rememberSpawnConfig(named);
}

bool AgentRegistry::startSession(const SpawnPlan& plan) {
  if (isStopping_) return false;
  auto session =
      PTYSession::spawn(plan.parameters, queue_.scheduler(), *platform_.pseudoTerminals, homeDirectory_);
  if (!session) {
    Log::agent.error(fmt::format("{} failed: {}", plan.verb, session.error().message));
    broadcastError(fmt::format("agent.{}", plan.verb), session.error().message);
    return false;
  }
  sessions_.addSpawned(std::move(*session), plan.kind, plan.detail, sessionEvents());
  broadcastListIfChanged();
  return true;
}

AgentSessions::Events AgentRegistry::sessionEvents() {
  const auto posting = [weak = weak_from_this()](std::function<void(AgentRegistry&)> work) {
    if (const auto self = weak.lock()) self->post(std::move(work));
  };
  return {.statusChanged =
              [posting](const UUID& id, AgentStatus status) {
                posting([id, status](AgentRegistry& self) {
                  self.queue_.assertCurrent();
                  self.noteStatus(id, status);
                });
              },
          .processChanged =
              [posting](const UUID& id, AgentSessions::ProcessState state) {
                posting([id, state](AgentRegistry& self) {
                  self.queue_.assertCurrent();
                  self.noteProcess(id, state);
                });
              },
          .attention =
              [posting](const agentEvent::Attention& event) {
                posting([event](AgentRegistry& self) { self.broadcast(message::AgentEvent{event}); });
              }};
}

void AgentRegistry::adoptExternal(const UUID& id) {
  post([id](AgentRegistry& self) {
    self.queue_.assertCurrent();
    if (self.sessions_.isAdopted(id)) return;
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

void AgentRegistry::addTab(const ExternalAgent& agent, const std::string& tty, std::uint64_t startTime,
                           AgentStatus status) {
  sessions_.addAdopted(BridgedTerminalSession::create(queue_.scheduler(), agent, tty, stores_.bridge,
                                                      platform_.processes, startTime, status),
                       sessionEvents());
}

// The scan excludes the adopted tab, so the agent moves from one list to the other.
void AgentRegistry::adopt(const CachedExternal& external, const std::string& tty) {
  addTab(external.agent, tty, external.startTime, AgentStatus::running);
  broadcastListIfChanged();
  scanExternals([](AgentRegistry& self) {
    self.queue_.assertCurrent();
    self.lastExternalList_ = self.externals_;
    self.broadcast(message::ExternalAgentList{self.lastExternalList_});
  });
}

}  // namespace quorl
