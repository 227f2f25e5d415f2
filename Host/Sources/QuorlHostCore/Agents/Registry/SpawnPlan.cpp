// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Registry/SpawnPlan.h>

#include <QuorlHostCore/Agents/Registry/AgentListBuilder.h>
#include <QuorlKit/Foundation/TextTools.h>

namespace quorl {

namespace {

constexpr std::size_t maxNameLength = 60;  // user-perceived characters

std::string displayNameOf(const AgentSpawnConfig& config) {
  const std::string_view trimmed = trimmedWhiteSpace(config.displayName);
  const bool isUsable = !trimmed.empty() && firstCharacters(trimmed, maxNameLength).size() == trimmed.size();
  return isUsable ? config.displayName : AgentSpawnConfig::shortLabel(config.command);
}

// A shell reads the command: without quotes of its own the identifier stays one quoted word.
std::string resumeCommand(std::string sessionID) {
  std::erase(sessionID, '\'');
  return "claude --resume '" + sessionID + "'";
}

}  // namespace

SpawnPlan planSpawn(const AgentSpawnConfig& config, const UUID& id) {
  return {.parameters = {.id = id,
                         .displayName = displayNameOf(config),
                         .command = config.command,
                         .workingDirectory = config.workingDirectory,
                         .env = config.env,
                         .adapter = inferAgentAdapter(config.command, AgentKind::pty)},
          .kind = AgentKind::pty,
          .detail = config.command + " — " + config.workingDirectory,
          .verb = "spawn"};
}

SpawnPlan planResumption(const std::string& sessionID, const std::string& projectPath, const UUID& id) {
  std::string name = "Claude Code — ";
  name += lastPathComponent(projectPath);
  return {.parameters = {.id = id,
                         .displayName = std::move(name),
                         .command = resumeCommand(sessionID),
                         .workingDirectory = projectPath,
                         .env = {},
                         .adapter = AgentAdapter::claudeCode},
          .kind = AgentKind::claudeCode,
          .detail = sessionDetail(sessionID, projectPath),
          .verb = "adopt"};
}

}  // namespace quorl
