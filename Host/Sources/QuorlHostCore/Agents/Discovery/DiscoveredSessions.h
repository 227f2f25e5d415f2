// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include <QuorlKit/Foundation/Date.h>
#include <QuorlKit/Models/AgentModels.h>

namespace quorl {

/// A past session of Claude Code.
struct DiscoveredClaudeSession {
  std::string sessionID;  // a UUID, as in the file name
  std::string projectPath;
  Date modified;
  std::optional<std::string> preview;

  bool operator==(const DiscoveredClaudeSession&) const = default;
};

/// A past session of any tool.
struct DiscoveredAgentSession {
  AgentTool tool = AgentTool::other;
  std::string sessionID;  // not always a UUID
  std::string projectPath;
  Date modified;
  std::optional<std::string> preview;

  bool operator==(const DiscoveredAgentSession&) const = default;
};

}  // namespace quorl
