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

/// What the running agents tell about the past sessions: which of them are named on a command line, and which
/// projects have a live process of which tool.
struct SessionLiveness {
  std::map<AgentTool, std::set<std::string>> liveProjectsByTool;  // canonical
  std::set<std::string> liveAgentSessionIDs;

  bool operator==(const SessionLiveness&) const = default;

  /// The agents among these that can own sessions; asks for the directories of none but those.
  static std::vector<ExternalAgent> ownersAmong(const std::vector<ExternalAgent>& agents);
  static SessionLiveness of(const std::vector<ExternalAgent>& owners,
                            const std::map<std::int32_t, std::string>& cwdByPID,
                            const CanonicalPath& canonical);

  /// For each of `sessions`, newest first, whether it is live. A process without a session on its command
  /// line keeps one session of its project alive: the newest, unless another is named, so that one live
  /// project does not show as many live sessions. Sessions that `isTaken` play no part beyond being named.
  std::vector<bool> claim(const std::vector<DiscoveredAgentSession>& sessions,
                          const std::function<bool(const DiscoveredAgentSession&)>& isTaken,
                          const CanonicalPath& canonical) const;
};

/// The identifier of the session that a command line resumes, as it stands there.
std::optional<std::string> resumedSessionID(std::string_view command);

}  // namespace quorl
