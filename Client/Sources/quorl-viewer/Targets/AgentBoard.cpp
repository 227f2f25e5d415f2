// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Targets/AgentBoard.h>

#include <algorithm>
#include <map>
#include <utility>

#include <quorl-viewer/Targets/TargetRows.h>

namespace quorl::viewer {

namespace {

bool hasTerminal(const AgentDescriptor& agent) {
  if (agent.status == AgentStatus::exited || agent.status == AgentStatus::error) return false;
  switch (agent.kind) {
    case AgentKind::pty:
    case AgentKind::externalTerminal:
      return true;
    case AgentKind::claudeCode:
      // Without a process it is a past session.
      return agent.pid.has_value();
    case AgentKind::guiApp:
    case AgentKind::httpService:
      return false;
  }
  return false;
}

bool waits(const AgentDescriptor& agent) {
  return hasTerminal(agent) && agent.status == AgentStatus::waitingInput;
}

AgentRow rowOf(const AgentDescriptor& agent) {
  return {agent.id, shortTitle(agent.name), shortTitle(agent.projectPath.value_or(agent.detail)),
          waits(agent)};
}

}  // namespace

void AgentBoard::take(const std::vector<AgentDescriptor>& agents) {
  agents_ = agents;
}

std::optional<AgentNotice> AgentBoard::take(const AgentEvent& event) {
  if (const auto* updated = std::get_if<agentEvent::Updated>(&event)) {
    const auto known = std::ranges::find(agents_, updated->_0.id, &AgentDescriptor::id);
    if (known != agents_.end())
      *known = updated->_0;
    else if (agents_.size() < mostAgents)
      agents_.push_back(updated->_0);
  } else if (const auto* removed = std::get_if<agentEvent::Removed>(&event)) {
    std::erase_if(agents_, [&](const AgentDescriptor& agent) { return agent.id == removed->id; });
  } else if (const auto* attention = std::get_if<agentEvent::Attention>(&event)) {
    called_ = attention->id;
    return AgentNotice{attention->id, shortTitle(attention->title), shortTitle(attention->body)};
  }
  return std::nullopt;
}

std::vector<AgentRow> AgentBoard::rows() const {
  // Rows of one name stay in the host's order.
  std::multimap<std::pair<bool, std::string>, AgentRow> sorted;
  for (const auto& agent : agents_) {
    if (!hasTerminal(agent)) continue;
    auto row = rowOf(agent);
    sorted.emplace(std::pair(!row.isWaiting, row.name), std::move(row));
  }
  std::vector<AgentRow> rows;
  for (auto& entry : sorted) rows.push_back(std::move(entry.second));
  return rows;
}

std::size_t AgentBoard::waiting() const {
  return static_cast<std::size_t>(std::ranges::count_if(agents_, waits));
}

std::optional<UUID> AgentBoard::next() const {
  std::optional<UUID> first;
  for (const auto& agent : agents_) {
    if (!waits(agent)) continue;
    if (agent.id == called_) return called_;
    if (!first) first = agent.id;
  }
  return first;
}

}  // namespace quorl::viewer
