// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

#include <QuorlHostCore/Agents/Terminals/PTYSession.h>
#include <QuorlKit/Foundation/UUID.h>
#include <QuorlKit/Models/AgentModels.h>

// What the registry starts for a client's request. Pure.
namespace quorl {

struct SpawnPlan {
  PTYSession::Parameters parameters;
  AgentKind kind = AgentKind::pty;
  std::string detail;     // of the row
  std::string_view verb;  // "spawn" or "adopt": in the error code and the log line of a failure
};

/// A command. A display name that is blank or longer than 60 user-perceived characters is replaced by the
/// command's short label.
SpawnPlan planSpawn(const AgentSpawnConfig& config, const UUID& id);

/// A past session of Claude Code, resumed in its project.
SpawnPlan planResumption(const std::string& sessionID, const std::string& projectPath, const UUID& id);

}  // namespace quorl
