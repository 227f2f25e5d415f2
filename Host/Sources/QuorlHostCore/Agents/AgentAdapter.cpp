// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/AgentAdapter.h>

#include <algorithm>
#include <string>

namespace quorl {

AgentAdapter inferAgentAdapter(std::string_view command, AgentKind kind) {
  if (kind == AgentKind::claudeCode) return AgentAdapter::claudeCode;
  std::string lower(command);
  std::ranges::transform(lower, lower.begin(), [](char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
  });
  if (lower.find("claude") != std::string::npos) return AgentAdapter::claudeCode;
  if (lower.find("codex") != std::string::npos) return AgentAdapter::codex;
  if (lower.find("aider") != std::string::npos) return AgentAdapter::aider;
  return AgentAdapter::generic;
}

}  // namespace quorl
