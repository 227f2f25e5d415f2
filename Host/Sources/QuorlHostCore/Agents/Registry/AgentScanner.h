// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <QuorlHostCore/Agents/Discovery/ClaudeCodeDiscovery.h>
#include <QuorlHostCore/Agents/Discovery/CodexDiscovery.h>
#include <QuorlHostCore/Agents/Discovery/ProcessDiscovery.h>
#include <QuorlHostCore/Agents/Discovery/SessionLiveness.h>
#include <QuorlHostCore/Agents/Terminals/TerminalBridge.h>
#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/Platform.h>

namespace quorl {

/// Reads the disk, the process table and the terminals for the registry, so that the registry's queue waits
/// for none of them and typed keys are not delayed.
///
/// *Queue*: "quorl.agents.scan". Operations may be called from any thread; answers come on the queue.
/// *Blocking*: no operation waits. Scans block the queue, as blocking work.
/// *Ownership*: the registry's.
/// *Lifetime*: pending work holds it weakly; after destruction there are no answers.
class AgentScanner : public std::enable_shared_from_this<AgentScanner> {
 public:
  struct Sessions {
    std::vector<DiscoveredAgentSession> newestFirst;
    std::map<std::string, std::string> canonicalPaths;  // of their projects
  };
  struct Externals {
    std::vector<ExternalAgent> byName;         // agents of the same name in the order of the process table
    std::map<UUID, std::uint64_t> startTimes;  // of their processes
    SessionLiveness liveness;
  };

  AgentScanner(const Platform& platform, std::shared_ptr<TerminalBridge> bridge);

  void scanSessions(std::function<void(Sessions)> answer);
  void scanExternals(std::set<std::string> excludedTTYs, std::set<std::int32_t> excludedPIDs,
                     std::function<void(Externals)> answer);

  static constexpr std::size_t maxDiscovered = 200;  // of each tool
  static constexpr std::size_t maxPreviews = 40;

 private:
  Sessions readSessions() QUORL_REQUIRES(queue_);
  Externals readExternals(const std::set<std::string>& excludedTTYs,
                          const std::set<std::int32_t>& excludedPIDs) QUORL_REQUIRES(queue_);

  const SerialQueue queue_;
  const std::shared_ptr<SessionFiles> files_;
  const std::shared_ptr<TerminalBridge> bridge_;
  const ProcessDiscovery processes_;
  ClaudeCodeDiscovery claudeSessions_ QUORL_GUARDED_BY(queue_);
  CodexDiscovery codexSessions_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
