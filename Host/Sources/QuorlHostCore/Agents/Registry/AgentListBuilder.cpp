// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Registry/AgentListBuilder.h>

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

#include <QuorlHostCore/Agents/Registry/StableUUID.h>
#include <QuorlKit/Foundation/ASCII.h>
#include <QuorlKit/Foundation/TextTools.h>
#include <QuorlKit/Protocol/RecordCoding.h>

namespace quorl {

namespace {

constexpr std::string_view dash = " — ";
constexpr std::string_view sessionPrefix = "session ";
// A live session whose file has changed within this time is working.
constexpr double workingSeconds = 120;

std::optional<AgentTool> toolOf(const std::string& command, const std::string& displayName) {
  const auto tool = inferAgentTool(command);
  return tool ? tool : inferAgentTool(displayName);
}

std::optional<std::string> projectOf(const SpawnedAgentFacts& agent, std::string_view detail) {
  const std::size_t at = detail.find(dash);
  if (detail.starts_with(sessionPrefix) && at != std::string_view::npos) {
    const std::string_view project = trimmedBlanks(detail.substr(at + dash.size()));
    if (!project.empty()) return std::string(project);
  }
  if (!agent.workingDirectory.empty()) return agent.workingDirectory;
  return std::nullopt;
}

AgentDescriptor rowOf(const DiscoveredAgentSession& session, AgentStatus status) {
  AgentDescriptor row;
  row.id = rowIdentity(session);
  row.kind = AgentKind::claudeCode;  // for every tool; `tool` is the difference
  row.name = std::string(label(session.tool)) + std::string(dash);
  row.name += lastPathComponent(session.projectPath);
  row.detail = sessionDetail(session.sessionID, session.projectPath);
  row.status = status;
  row.lastActivity = session.modified;
  row.preview = session.preview;
  row.tool = session.tool;
  row.projectPath = session.projectPath;
  return row;
}

}  // namespace

UUID rowIdentity(const DiscoveredAgentSession& session) {
  if (const auto own = UUID::parse(session.sessionID)) return *own;
  return stableUUID(std::string(rawValue(session.tool)) + ":" + session.sessionID);
}

std::string sessionDetail(const std::string& sessionID, const std::string& projectPath) {
  return std::string(sessionPrefix) + sessionID + std::string(dash) + projectPath;
}

AgentDescriptor rowOf(const SpawnedAgentFacts& agent) {
  AgentDescriptor row;
  row.id = agent.id;
  row.kind = agent.kind;
  row.name = agent.displayName;
  row.detail = agent.detail.value_or(agent.command);
  row.status = agent.status;
  row.pid = agent.pid;
  row.lastActivity = agent.lastActivity;
  row.preview = agent.previewLine;
  row.tool = toolOf(agent.command, agent.displayName);
  row.projectPath = projectOf(agent, row.detail);
  return row;
}

AgentDescriptor rowOf(const AdoptedAgentFacts& agent) {
  AgentDescriptor row;
  row.id = agent.id;
  row.kind = AgentKind::externalTerminal;
  row.name = agent.displayName;
  row.detail = agent.command + std::string(dash) + agent.tty;
  row.status = agent.status;
  row.pid = agent.pid;
  row.lastActivity = agent.lastActivity;
  row.preview = agent.previewLine;
  row.tool = toolOf(agent.command, agent.displayName);
  row.projectPath = agent.cwd;
  return row;
}

std::vector<AgentDescriptor> buildAgentList(const AgentListFacts& facts, const CanonicalPath& canonical) {
  std::vector<AgentDescriptor> rows;
  std::set<UUID> spawnedIDs;
  for (const SpawnedAgentFacts& agent : facts.spawned) {
    rows.push_back(rowOf(agent));
    spawnedIDs.insert(agent.id);
  }
  for (const AdoptedAgentFacts& agent : facts.adopted) rows.push_back(rowOf(agent));

  const auto isTaken = [&](const DiscoveredAgentSession& session) {
    return spawnedIDs.contains(rowIdentity(session));
  };
  const std::vector<bool> isLive = facts.liveness.claim(facts.discovered, isTaken, canonical);
  for (std::size_t i = 0; i < facts.discovered.size(); ++i) {
    const DiscoveredAgentSession& session = facts.discovered[i];
    if (isTaken(session)) continue;
    const double age = facts.now.secondsSince1970 - session.modified.secondsSince1970;
    const AgentStatus liveStatus = age < workingSeconds ? AgentStatus::running : AgentStatus::idle;
    rows.push_back(rowOf(session, isLive[i] ? liveStatus : AgentStatus::exited));
  }
  rows.insert(rows.end(), facts.guiApps.begin(), facts.guiApps.end());
  return rows;
}

namespace {

bool isPastSession(const AgentDescriptor& row) {
  return row.kind == AgentKind::claudeCode && !row.pid;
}

// At least what the row takes in JSON, where one byte of text becomes six at most.
std::size_t largestEncodedSize(const AgentDescriptor& row) {
  constexpr std::size_t everythingElse = 512;
  const auto sizeOf = [](const std::optional<std::string>& text) { return text ? text->size() : 0; };
  const std::size_t texts = row.name.size() + row.detail.size() + sizeOf(row.bundleID) + sizeOf(row.preview) +
                            sizeOf(row.projectPath) + (row.url ? row.url->absolute.size() : 0);
  return everythingElse + 6 * texts;
}

std::size_t encodedSize(const AgentDescriptor& row) {
  const auto bytes = encodeRecord(row);
  return bytes ? bytes->size() + 1 : largestEncodedSize(row);
}

}  // namespace

void dropOldestPastSessions(std::vector<AgentDescriptor>& rows, std::size_t limit) {
  std::size_t bound = 0;
  for (const AgentDescriptor& row : rows) bound += largestEncodedSize(row);
  if (bound <= limit) return;  // the usual case, without encoding
  constexpr std::size_t envelope = 64;
  std::size_t total = envelope;
  for (const AgentDescriptor& row : rows) total += encodedSize(row);
  for (std::size_t i = rows.size(); i > 0 && total > limit; --i) {
    const auto row = rows.begin() + static_cast<std::ptrdiff_t>(i - 1);
    if (!isPastSession(*row)) continue;
    total -= encodedSize(*row);
    rows.erase(row);
  }
}

bool isGUIAgent(const std::string& bundleID, const std::vector<std::string>& usersBundles) {
  constexpr std::array<std::string_view, 2> known = {"com.anthropic.claudefordesktop", "com.openai.chat"};
  if (std::ranges::find(known, bundleID) != known.end()) return true;
  if (std::ranges::find(usersBundles, bundleID) != usersBundles.end()) return true;
  const std::string lower = loweredASCII(bundleID);
  return lower.find("lmstudio") != std::string::npos || lower.find("ollama") != std::string::npos;
}

AgentDescriptor rowOf(const RunningApplication& application, const UUID& id) {
  AgentDescriptor row;
  row.id = id;
  row.kind = AgentKind::guiApp;
  row.name = application.name;
  row.detail = application.bundleID.value_or("");
  row.status = AgentStatus::running;
  row.pid = application.pid;
  row.bundleID = application.bundleID;
  return row;
}

}  // namespace quorl
