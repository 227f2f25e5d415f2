// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Attention/AgentAdapter.h>

#include <string>

#include <QuorlKit/Foundation/ASCII.h>
namespace quorl {

AgentAdapter inferAgentAdapter(std::string_view command, AgentKind kind) {
  if (kind == AgentKind::claudeCode) return AgentAdapter::claudeCode;
  const std::string lower = loweredASCII(command);
  if (lower.find("claude") != std::string::npos) return AgentAdapter::claudeCode;
  if (lower.find("codex") != std::string::npos) return AgentAdapter::codex;
  if (lower.find("aider") != std::string::npos) return AgentAdapter::aider;
  return AgentAdapter::generic;
}

}  // namespace quorl
