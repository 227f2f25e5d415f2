// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Registry/AgentRegistry.h>

#include <algorithm>

#include <fmt/format.h>

#include <QuorlHostCore/Agents/Stores/AgentCatalog.h>
#include <QuorlHostCore/Agents/Stores/HostExtrasStore.h>
#include <QuorlHostCore/Log/Log.h>
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
      scanner_(std::make_shared<AgentScanner>(platform, stores_.bridge)) {}

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
    for (const auto& [id, spawned] : self.spawned_) spawned.session->terminate();
    for (const auto& [id, adopted] : self.adopted_) adopted.session->terminate();
    self.reportEnd();
  });
}

void AgentRegistry::reportEnd() {
  if (!whenEnded_) return;
  using ProcessState = BridgedTerminalSession::ProcessState;
  const auto hasEnded = [](const auto& entry) { return entry.second.endedAt.has_value(); };
  const auto isDone = [](const auto& entry) {
    return entry.second.session->processState() != ProcessState::alive;
  };
  if (std::ranges::all_of(spawned_, hasEnded) && std::ranges::all_of(adopted_, isDone))
    std::exchange(whenEnded_, nullptr)();
}

void AgentRegistry::currentList(std::function<void(std::vector<AgentDescriptor>)> callback) {
  post([callback = std::move(callback)](AgentRegistry& self) {
    self.queue_.assertCurrent();
    callback(self.buildList());
  });
}

SpawnedAgentFacts AgentRegistry::factsOf(const Spawned& spawned) const {
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

AdoptedAgentFacts AgentRegistry::factsOf(const Adopted& adopted) const {
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

std::vector<AgentDescriptor> AgentRegistry::buildList() {
  AgentListFacts facts;
  for (const auto& [id, spawned] : spawned_) facts.spawned.push_back(factsOf(spawned));
  for (const auto& [id, adopted] : adopted_) facts.adopted.push_back(factsOf(adopted));
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

void AgentRegistry::broadcastRow(const UUID& id) {
  if (const auto found = spawned_.find(id); found != spawned_.end()) {
    broadcast(message::AgentEvent{agentEvent::Updated{rowOf(factsOf(found->second))}});
  } else if (const auto tab = adopted_.find(id); tab != adopted_.end()) {
    broadcast(message::AgentEvent{agentEvent::Updated{rowOf(factsOf(tab->second))}});
  }
}

void AgentRegistry::noteStatus(const UUID& id, AgentStatus status) {
  if (const auto found = spawned_.find(id); found != spawned_.end() && status == AgentStatus::exited)
    found->second.endedAt = queue_.now();
  broadcastRow(id);
  reportEnd();
}

void AgentRegistry::noteProcess(const UUID& id, BridgedTerminalSession::ProcessState state) {
  if (const auto tab = adopted_.find(id);
      tab != adopted_.end() && state == BridgedTerminalSession::ProcessState::gone)
    tab->second.endedAt = queue_.now();
  reportEnd();
}

void AgentRegistry::refreshDiscovery() {
  if (std::exchange(isDiscovering_, true)) return;  // a slow disk gathers no queue of scans
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

// Rows of exited sessions would pile up: the newest few stay, for an hour.
void AgentRegistry::reapExited() {
  std::vector<std::pair<Date, UUID>> exited;
  for (const auto& [id, spawned] : spawned_)
    if (spawned.session->status() == AgentStatus::exited)
      exited.emplace_back(spawned.session->lastActivity(), id);
  std::ranges::sort(exited, std::greater<>());
  const Date now = queue_.scheduler().date();
  std::size_t reaped = 0;
  for (std::size_t place = 0; place < exited.size(); ++place) {
    const auto& [lastActivity, id] = exited[place];
    const double age = now.secondsSince1970 - lastActivity.secondsSince1970;
    if (place < maxExited && age <= maxExitedSeconds) continue;
    spawned_.erase(id);
    broadcast(message::AgentEvent{agentEvent::Removed{id}});
    ++reaped;
  }
  if (reaped > 0) Log::agent.info(fmt::format("reaped {} exited agent(s)", reaped));
}

// The desktop answers later and on a thread of its own; the rows follow then.
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

// Only what is alive keeps a tab from being an external agent's: the system gives the name of a terminal away
// again at once. What ended during a scan may have been read by it.
AgentRegistry::OwnProcesses AgentRegistry::processesAliveSince(MonotonicTime begin) const {
  OwnProcesses own;
  for (const auto& [id, spawned] : spawned_) {
    if (spawned.endedAt && *spawned.endedAt < begin) continue;
    if (!spawned.session->ttyName().empty()) own.ttys.insert(spawned.session->ttyName());
    if (spawned.session->pid() >= 1) own.pids.insert(spawned.session->pid());
  }
  for (const auto& [id, adopted] : adopted_)
    if (!adopted.endedAt || *adopted.endedAt >= begin) own.ttys.insert(adopted.session->tty);
  return own;
}

void AgentRegistry::scanExternals(std::function<void(AgentRegistry&)> then) {
  for (const auto& [id, adopted] : adopted_) adopted.session->checkProcess();
  const MonotonicTime begin = queue_.now();
  OwnProcesses own = processesAliveSince(begin);
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

// Agents that were started or adopted while the scan went on are left out here.
void AgentRegistry::takeExternals(MonotonicTime begin, const AgentScanner::Externals& externals) {
  const OwnProcesses own = processesAliveSince(begin);
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

}  // namespace quorl
