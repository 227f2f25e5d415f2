// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Discovery/SessionLiveness.h>

#include <QuorlKit/Foundation/UUID.h>

namespace quorl {

namespace {

std::vector<std::string_view> tokensOf(std::string_view text) {
  std::vector<std::string_view> tokens;
  while (!text.empty()) {
    const std::size_t end = text.find(' ');
    if (end != 0) tokens.push_back(text.substr(0, end));
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return tokens;
}

std::optional<std::string> unquotedUUID(std::string_view token) {
  constexpr std::string_view quotes = "'\"";
  while (!token.empty() && quotes.find(token.front()) != std::string_view::npos) token.remove_prefix(1);
  while (!token.empty() && quotes.find(token.back()) != std::string_view::npos) token.remove_suffix(1);
  if (!UUID::parse(token)) return std::nullopt;
  return std::string(token);
}

std::string keyOf(AgentTool tool, const std::string& canonicalProject) {
  return std::string(rawValue(tool)) + "|" + canonicalProject;
}

}  // namespace

std::optional<std::string> resumedSessionID(std::string_view command) {
  constexpr std::string_view assignment = "--resume=";
  const auto tokens = tokensOf(command);
  for (std::size_t i = 0; i + 1 < tokens.size(); ++i) {
    if (tokens[i] != "--resume" && tokens[i] != "-r" && tokens[i] != "--continue") continue;
    if (auto id = unquotedUUID(tokens[i + 1])) return id;
  }
  for (const std::string_view token : tokens) {
    if (!token.starts_with(assignment)) continue;
    if (auto id = unquotedUUID(token.substr(assignment.size()))) return id;
  }
  return std::nullopt;
}

std::vector<ExternalAgent> SessionLiveness::ownersAmong(const std::vector<ExternalAgent>& agents) {
  std::vector<ExternalAgent> owners;
  for (const ExternalAgent& agent : agents)
    if (agent.pid >= 1 && inferAgentTool(agent.name)) owners.push_back(agent);
  return owners;
}

SessionLiveness SessionLiveness::of(const std::vector<ExternalAgent>& owners,
                                    const std::map<std::int32_t, std::string>& cwdByPID,
                                    const CanonicalPath& canonical) {
  SessionLiveness liveness;
  for (const ExternalAgent& agent : owners) {
    const auto tool = inferAgentTool(agent.name);
    const auto directory = cwdByPID.find(agent.pid);
    if (tool && directory != cwdByPID.end())
      liveness.liveProjectsByTool[*tool].insert(canonical(directory->second));
    if (auto id = resumedSessionID(agent.command)) liveness.liveAgentSessionIDs.insert(std::move(*id));
  }
  return liveness;
}

std::vector<bool> SessionLiveness::claim(const std::vector<DiscoveredAgentSession>& sessions,
                                         const std::function<bool(const DiscoveredAgentSession&)>& isTaken,
                                         const CanonicalPath& canonical) const {
  std::set<std::string> seen;
  for (const DiscoveredAgentSession& session : sessions)
    if (liveAgentSessionIDs.contains(session.sessionID))
      seen.insert(keyOf(session.tool, canonical(session.projectPath)));

  std::vector<bool> isLive(sessions.size(), false);
  for (std::size_t i = 0; i < sessions.size(); ++i) {
    const DiscoveredAgentSession& session = sessions[i];
    if (isTaken(session)) continue;
    if (liveAgentSessionIDs.contains(session.sessionID)) {
      isLive[i] = true;
      continue;
    }
    const auto projects = liveProjectsByTool.find(session.tool);
    if (projects == liveProjectsByTool.end()) continue;
    const std::string project = canonical(session.projectPath);
    isLive[i] = projects->second.contains(project) && seen.insert(keyOf(session.tool, project)).second;
  }
  return isLive;
}

}  // namespace quorl
