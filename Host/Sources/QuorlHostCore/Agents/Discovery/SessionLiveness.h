// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlHostCore/Agents/Discovery/DiscoveredSessions.h>
#include <QuorlKit/Models/AgentModels.h>

namespace quorl {

/// The form in which project paths are compared.
using CanonicalPath = std::function<std::string(const std::string&)>;

/// What the running agents show about past sessions: which of them a command line names, and which projects
/// have a live process of which tool.
struct SessionLiveness {
  std::map<AgentTool, std::set<std::string>> liveProjectsByTool;  // canonical
  std::set<std::string> liveAgentSessionIDs;

  bool operator==(const SessionLiveness&) const = default;

  /// The agents among these that can own sessions. Only their directories are needed.
  static std::vector<ExternalAgent> ownersAmong(const std::vector<ExternalAgent>& agents);
  static SessionLiveness of(const std::vector<ExternalAgent>& owners,
                            const std::map<std::int32_t, std::string>& cwdByPID,
                            const CanonicalPath& canonical);

  /// Whether each of `sessions`, newest first, is live. A process without a session on its command line keeps
  /// one session of its project alive: the newest, unless another one is named. So one live project does not
  /// show many live sessions. Sessions that `isTaken` count only if they are named.
  std::vector<bool> claim(const std::vector<DiscoveredAgentSession>& sessions,
                          const std::function<bool(const DiscoveredAgentSession&)>& isTaken,
                          const CanonicalPath& canonical) const;
};

/// The identifier of the session that a command line resumes, as written there.
std::optional<std::string> resumedSessionID(std::string_view command);

}  // namespace quorl
