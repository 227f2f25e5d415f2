// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Agents/Discovery/DiscoveredSessions.h>
#include <QuorlHostCore/Agents/Discovery/SessionLiveness.h>
#include <QuorlKit/Foundation/Date.h>
#include <QuorlKit/Foundation/UUID.h>
#include <QuorlKit/Models/AgentModels.h>

// The rows of the agent list, from facts. Pure.
namespace quorl {

struct SpawnedAgentFacts {
  UUID id;
  AgentKind kind = AgentKind::pty;
  std::string displayName;
  std::string command;
  std::string workingDirectory;  // with the tilde expanded
  std::optional<std::string> detail;
  AgentStatus status = AgentStatus::running;
  std::int32_t pid = 0;
  Date lastActivity;
  std::optional<std::string> previewLine;
};

struct AdoptedAgentFacts {
  UUID id;
  std::string displayName;
  std::string command;
  std::string tty;
  AgentStatus status = AgentStatus::running;
  std::int32_t pid = 0;
  Date lastActivity;
  std::optional<std::string> previewLine;
  std::optional<std::string> cwd;
};

struct RunningApplication {
  std::optional<std::string> bundleID;
  std::string name;
  std::int32_t pid = 0;
};

struct AgentListFacts {
  std::vector<SpawnedAgentFacts> spawned;
  std::vector<AdoptedAgentFacts> adopted;
  std::vector<DiscoveredAgentSession> discovered;  // newest first
  SessionLiveness liveness;
  std::vector<AgentDescriptor> guiApps;
  Date now;
};

AgentDescriptor rowOf(const SpawnedAgentFacts& agent);
AgentDescriptor rowOf(const AdoptedAgentFacts& agent);

/// The row identity of a past session: its own if that is a UUID, else one derived from it.
UUID rowIdentity(const DiscoveredAgentSession& session);

/// The detail of a resumed session's row, which includes the project.
std::string sessionDetail(const std::string& sessionID, const std::string& projectPath);

/// Spawned agents, adopted ones, past sessions and applications, each in the given order.
std::vector<AgentDescriptor> buildAgentList(const AgentListFacts& facts, const CanonicalPath& canonical);

/// Removes the oldest past sessions from a list until its message fits into a frame of `limit` bytes. Rows of
/// other kinds are few and stay.
void dropOldestPastSessions(std::vector<AgentDescriptor>& rows, std::size_t limit);

/// Whether an application of the desktop is an agent: the two known ones, the user's own, and local model
/// runners.
bool isGUIAgent(const std::string& bundleID, const std::vector<std::string>& usersBundles);
AgentDescriptor rowOf(const RunningApplication& application, const UUID& id);

}  // namespace quorl
