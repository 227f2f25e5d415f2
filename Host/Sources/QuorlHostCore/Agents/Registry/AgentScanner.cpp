// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Registry/AgentScanner.h>

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace quorl {

namespace {

// Equal elements keep their order.
template <class T, class Less>
void sortStably(std::vector<T>& values, Less less) {
  std::vector<std::size_t> order(values.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::sort(order, [&](std::size_t left, std::size_t right) {
    if (less(values[left], values[right])) return true;
    return !less(values[right], values[left]) && left < right;
  });
  std::vector<T> sorted;
  sorted.reserve(values.size());
  for (const std::size_t place : order) sorted.push_back(std::move(values[place]));
  values = std::move(sorted);
}

}  // namespace

AgentScanner::AgentScanner(const Platform& platform, std::shared_ptr<TerminalBridge> bridge)
    : queue_(*platform.scheduler, "quorl.agents.scan", QueueRank::service),
      files_(platform.sessionFiles),
      bridge_(std::move(bridge)),
      processes_(platform.processes),
      claudeSessions_(platform.sessionFiles),
      codexSessions_(platform.sessionFiles) {}

void AgentScanner::scanSessions(std::function<void(Sessions)> answer) {
  queue_.async([weak = weak_from_this(), answer = std::move(answer)] {
    const auto self = weak.lock();
    if (!self) return;
    Sessions sessions;
    self->queue_.scheduler().blocking([&] {
      self->queue_.assertCurrent();
      sessions = self->readSessions();
    });
    answer(std::move(sessions));
  });
}

AgentScanner::Sessions AgentScanner::readSessions() {
  Sessions sessions;
  for (auto& found : claudeSessions_.scan(maxDiscovered, maxPreviews))
    sessions.newestFirst.push_back({.tool = AgentTool::claude,
                                    .sessionID = std::move(found.sessionID),
                                    .projectPath = std::move(found.projectPath),
                                    .modified = found.modified,
                                    .preview = std::move(found.preview)});
  for (auto& found : codexSessions_.scan(maxDiscovered)) sessions.newestFirst.push_back(std::move(found));
  sortStably(sessions.newestFirst,
             [](const auto& one, const auto& other) { return one.modified > other.modified; });
  for (const DiscoveredAgentSession& session : sessions.newestFirst) {
    const auto [entry, isNew] = sessions.canonicalPaths.try_emplace(session.projectPath);
    if (isNew) entry->second = files_->canonicalPath(session.projectPath);
  }
  return sessions;
}

void AgentScanner::scanExternals(std::set<std::string> excludedTTYs, std::set<std::int32_t> excludedPIDs,
                                 std::function<void(Externals)> answer) {
  queue_.async([weak = weak_from_this(), ttys = std::move(excludedTTYs), pids = std::move(excludedPIDs),
                answer = std::move(answer)] {
    const auto self = weak.lock();
    if (!self) return;
    Externals externals;
    self->queue_.scheduler().blocking([&] {
      self->queue_.assertCurrent();
      externals = self->readExternals(ttys, pids);
    });
    answer(std::move(externals));
  });
}

AgentScanner::Externals AgentScanner::readExternals(const std::set<std::string>& excludedTTYs,
                                                    const std::set<std::int32_t>& excludedPIDs) {
  Externals result;
  ProcessDiscovery::Findings found = processes_.find(excludedTTYs, excludedPIDs);
  result.byName = std::move(found.agents);
  result.startTimes = std::move(found.startTimes);
  const auto terminals = bridge_->mapTerminals();
  std::vector<std::int32_t> pids;
  for (const ExternalAgent& agent : result.byName) pids.push_back(agent.pid);
  const auto directories = processes_.cwdByPID(pids);
  for (ExternalAgent& agent : result.byName) {
    const auto terminal = agent.tty ? terminals.find(*agent.tty) : terminals.end();
    agent.adoptable = terminal != terminals.end() && terminal->second != TerminalKind::unknown;
    agent.terminal = agent.adoptable ? terminal->second : TerminalKind::unknown;
    if (const auto cwd = directories.find(agent.pid); cwd != directories.end()) agent.cwd = cwd->second;
  }
  result.liveness =
      SessionLiveness::of(SessionLiveness::ownersAmong(result.byName), directories,
                          [this](const std::string& path) { return files_->canonicalPath(path); });
  sortStably(result.byName, [](const auto& one, const auto& other) { return one.name < other.name; });
  return result;
}

}  // namespace quorl
