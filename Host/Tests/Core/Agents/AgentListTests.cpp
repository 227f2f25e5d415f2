// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Registry/AgentListBuilder.h>

#include <gtest/gtest.h>

#include <string>

#include <QuorlHostCore/Agents/Registry/StableUUID.h>
#include <QuorlKit/Protocol/ControlMessage.h>

namespace quorl {
namespace {

constexpr const char* idA = "11111111-1111-4111-8111-111111111111";
constexpr const char* idB = "22222222-2222-4222-8222-222222222222";
constexpr const char* idC = "33333333-3333-4333-8333-333333333333";
constexpr double now = 1'000'000;

DiscoveredAgentSession session(const std::string& id, double age, const std::string& project = "/p/app",
                               AgentTool tool = AgentTool::claude) {
  return {
      .tool = tool, .sessionID = id, .projectPath = project, .modified = Date{now - age}, .preview = "said"};
}

std::string asItIs(const std::string& path) {
  return path;
}

AgentListFacts factsWith(std::vector<DiscoveredAgentSession> sessions, SessionLiveness liveness = {}) {
  AgentListFacts facts;
  facts.discovered = std::move(sessions);
  facts.liveness = std::move(liveness);
  facts.now = Date{now};
  return facts;
}

std::vector<AgentStatus> statusesOf(const AgentListFacts& facts, const CanonicalPath& canonical = asItIs) {
  std::vector<AgentStatus> statuses;
  for (const auto& row : buildAgentList(facts, canonical)) statuses.push_back(row.status);
  return statuses;
}

SessionLiveness liveProject(const std::string& project, AgentTool tool = AgentTool::claude) {
  return {.liveProjectsByTool = {{tool, {project}}}, .liveAgentSessionIDs = {}};
}

using Statuses = std::vector<AgentStatus>;

TEST(AgentList, marksTheNewestSessionOfTheProjectForAProcessThatNamesNone) {
  const auto facts = factsWith({session(idA, 10), session(idB, 20), session(idC, 30)}, liveProject("/p/app"));
  EXPECT_EQ(statusesOf(facts), (Statuses{AgentStatus::running, AgentStatus::exited, AgentStatus::exited}));
}

TEST(AgentList, marksOnlyTheSessionThatALiveProcessNames) {
  auto liveness = liveProject("/p/app");
  liveness.liveAgentSessionIDs = {idC};
  const auto facts = factsWith({session(idA, 10), session(idB, 20), session(idC, 30)}, liveness);
  EXPECT_EQ(statusesOf(facts), (Statuses{AgentStatus::exited, AgentStatus::exited, AgentStatus::running}));
}

TEST(AgentList, callsALiveSessionRunningWhileItsFileChangedUnder120SecondsAgo) {
  EXPECT_EQ(statusesOf(factsWith({session(idA, 119)}, liveProject("/p/app"))),
            Statuses{AgentStatus::running});
  EXPECT_EQ(statusesOf(factsWith({session(idA, 120)}, liveProject("/p/app"))), Statuses{AgentStatus::idle});
  EXPECT_EQ(statusesOf(factsWith({session(idA, 121)}, liveProject("/p/app"))), Statuses{AgentStatus::idle});
}

TEST(AgentList, keepsTheToolsOfAProjectApart) {
  const auto facts =
      factsWith({session(idA, 1, "/p/app", AgentTool::codex), session(idB, 2)}, liveProject("/p/app"));
  EXPECT_EQ(statusesOf(facts), (Statuses{AgentStatus::exited, AgentStatus::running}));
}

TEST(AgentList, comparesProjectsInTheirCanonicalForm) {
  const auto canonical = [](const std::string& path) { return path == "/link" ? "/p/app" : path; };
  const auto facts = factsWith({session(idA, 1, "/link"), session(idB, 2, "/p/app")}, liveProject("/p/app"));
  EXPECT_EQ(statusesOf(facts, canonical), (Statuses{AgentStatus::running, AgentStatus::exited}));
  EXPECT_EQ(buildAgentList(facts, canonical)[0].projectPath, "/link");
}

TEST(AgentList, showsACodexSessionWithItsToolAndTheKindOfAllSessions) {
  const auto rows =
      buildAgentList(factsWith({session("rollout-7", 50, "/p/app/", AgentTool::codex)}), asItIs);
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].id, stableUUID("codex:rollout-7"));
  EXPECT_EQ(rows[0].kind, AgentKind::claudeCode);
  EXPECT_EQ(rows[0].tool, AgentTool::codex);
  EXPECT_EQ(rows[0].name, "Codex — app");
  EXPECT_EQ(rows[0].detail, "session rollout-7 — /p/app/");
  EXPECT_EQ(rows[0].status, AgentStatus::exited);
  EXPECT_EQ(rows[0].lastActivity, Date{now - 50});
  EXPECT_EQ(rows[0].preview, "said");
  EXPECT_EQ(rows[0].projectPath, "/p/app/");
  EXPECT_FALSE(rows[0].pid || rows[0].url || rows[0].bundleID);
}

SpawnedAgentFacts spawned(const std::string& id) {
  return {.id = *UUID::parse(id),
          .kind = AgentKind::claudeCode,
          .displayName = "Claude Code — app",
          .command = "claude --resume 'x'",
          .workingDirectory = "/home/kim/w",
          .detail = "session x —  /p/app ",
          .status = AgentStatus::idle,
          .pid = 7,
          .lastActivity = Date{5},
          .previewLine = "line"};
}

TEST(AgentList, letsASpawnedRowStandForItsSession) {
  auto facts = factsWith({session(idA, 10), session(idB, 20)}, liveProject("/p/app"));
  facts.spawned = {spawned(idA)};
  const auto rows = buildAgentList(facts, asItIs);
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0].pid, 7);
  EXPECT_EQ(rows[1].id, *UUID::parse(idB));
  EXPECT_EQ(rows[1].status, AgentStatus::running);
}

TEST(AgentList, takesASpawnedAgentsProjectFromItsDetailElseFromItsDirectory) {
  auto agent = spawned(idA);
  EXPECT_EQ(rowOf(agent).projectPath, "/p/app");
  EXPECT_EQ(rowOf(agent).tool, AgentTool::claude);
  agent.detail = "session x —  ";
  EXPECT_EQ(rowOf(agent).projectPath, "/home/kim/w");
  agent.detail = "ls — /elsewhere";
  EXPECT_EQ(rowOf(agent).projectPath, "/home/kim/w");
  agent.detail.reset();
  EXPECT_EQ(rowOf(agent).detail, "claude --resume 'x'");
  agent.workingDirectory.clear();
  EXPECT_EQ(rowOf(agent).projectPath, std::nullopt);
}

TEST(AgentList, infersAToolByTheCommandAndElseByTheName) {
  auto agent = spawned(idA);
  agent.command = "node x";
  agent.displayName = "my codex";
  EXPECT_EQ(rowOf(agent).tool, AgentTool::codex);
  agent.displayName = "server";
  EXPECT_EQ(rowOf(agent).tool, std::nullopt);
}

TEST(AgentList, hasSpawnedThenAdoptedThenPastThenGraphicalRows) {
  auto facts = factsWith({session(idA, 1)});
  facts.spawned = {spawned(idB)};
  facts.adopted = {{.id = *UUID::parse(idC),
                    .displayName = "Aider",
                    .command = "aider",
                    .tty = "/dev/pts/4",
                    .status = AgentStatus::waitingInput,
                    .pid = 9,
                    .lastActivity = Date{6},
                    .previewLine = std::nullopt,
                    .cwd = "/w"}};
  facts.guiApps = {rowOf(RunningApplication{"com.openai.chat", "Chat", 3}, UUID{{9}})};
  const auto rows = buildAgentList(facts, asItIs);
  ASSERT_EQ(rows.size(), 4U);
  EXPECT_EQ(rows[0].id, *UUID::parse(idB));
  EXPECT_EQ(rows[1].kind, AgentKind::externalTerminal);
  EXPECT_EQ(rows[1].detail, "aider — /dev/pts/4");
  EXPECT_EQ(rows[1].projectPath, "/w");
  EXPECT_EQ(rows[2].id, *UUID::parse(idA));
  EXPECT_EQ(rows[3].kind, AgentKind::guiApp);
  EXPECT_EQ(rows[3].detail, "com.openai.chat");
  EXPECT_EQ(rows[3].bundleID, "com.openai.chat");
}

TEST(GUIAgents, areTheKnownOnesTheUsersOwnAndLocalModelRunners) {
  EXPECT_TRUE(isGUIAgent("com.anthropic.claudefordesktop", {}));
  EXPECT_TRUE(isGUIAgent("com.openai.chat", {}));
  EXPECT_FALSE(isGUIAgent("com.OpenAI.chat", {}));
  EXPECT_TRUE(isGUIAgent("ai.LMStudio.app", {}));
  EXPECT_TRUE(isGUIAgent("com.electron.Ollama", {}));
  EXPECT_TRUE(isGUIAgent("org.mine", {"org.mine"}));
  EXPECT_FALSE(isGUIAgent("org.Mine", {"org.mine"}));
}

TEST(ResumedSessionID, isFoundAfterAnyOfTheOptions) {
  const std::string id = idA;
  EXPECT_EQ(resumedSessionID("claude --resume " + id), id);
  EXPECT_EQ(resumedSessionID("claude  -r  '" + id + "' x"), id);
  EXPECT_EQ(resumedSessionID("claude --continue \"" + id + "\""), id);
  EXPECT_EQ(resumedSessionID("claude --resume='" + id + "'"), id);
  EXPECT_EQ(resumedSessionID("claude --resume aaaaaaaa-1111-4111-8111-11111111111f"),
            "aaaaaaaa-1111-4111-8111-11111111111f");
}

TEST(ResumedSessionID, isAbsentWithoutAUUID) {
  EXPECT_EQ(resumedSessionID("claude --resume"), std::nullopt);
  EXPECT_EQ(resumedSessionID("claude --resume last"), std::nullopt);
  EXPECT_EQ(resumedSessionID(std::string("claude ") + idA), std::nullopt);
  EXPECT_EQ(resumedSessionID(""), std::nullopt);
}

TEST(ResumedSessionID, prefersASeparateArgument) {
  EXPECT_EQ(resumedSessionID(std::string("claude --resume=") + idA + " -r " + idB), idB);
}

TEST(SessionLiveness, isDerivedFromTheAgentsThatOwnSessions) {
  const auto agent = [](std::int32_t pid, const std::string& name, const std::string& command) {
    ExternalAgent one;
    one.pid = pid;
    one.name = name;
    one.command = command;
    return one;
  };
  const auto owners = SessionLiveness::ownersAmong({agent(5, "Claude", std::string("claude -r ") + idA),
                                                    agent(6, "Codex", "codex"), agent(7, "Aider", "aider"),
                                                    agent(0, "Claude", "claude")});
  ASSERT_EQ(owners.size(), 2U);
  const auto liveness = SessionLiveness::of(owners, {{5, "/a/"}, {7, "/b"}},
                                            [](const std::string& path) { return path.substr(0, 2); });
  EXPECT_EQ(liveness, (SessionLiveness{{{AgentTool::claude, {"/a"}}}, {idA}}));
}

TEST(AgentList, dropsItsOldestPastSessionsWhereItWouldNotFitIntoAFrame) {
  auto facts = factsWith({session(idA, 10), session(idB, 20), session(idC, 30)});
  facts.spawned.push_back({.id = UUID{{1}}, .displayName = "mine", .command = "ls", .pid = 7});
  facts.guiApps.push_back(
      rowOf(RunningApplication{.bundleID = "com.openai.chat", .name = "Chat"}, UUID{{2}}));
  const auto all = buildAgentList(facts, asItIs);
  const auto sizeOf = [](const std::vector<AgentDescriptor>& rows) {
    return ControlCoder::encode(message::AgentList{rows}).value().size();
  };
  for (std::size_t limit = sizeOf(all) + 64; limit > 0; limit -= std::min<std::size_t>(limit, 50)) {
    auto rows = all;
    dropOldestPastSessions(rows, limit);
    const std::size_t left = rows.size() - 2;
    EXPECT_TRUE(sizeOf(rows) <= limit || left == 0) << limit;
    EXPECT_EQ(rows.front().name, "mine");
    EXPECT_EQ(rows.back().name, "Chat");
    for (std::size_t i = 0; i < left; ++i) EXPECT_EQ(rows[1 + i], all[1 + i]) << "the newest stay";
  }
  auto rows = all;
  dropOldestPastSessions(rows, sizeOf(all) + 64);
  EXPECT_EQ(rows, all);
}

}  // namespace
}  // namespace quorl
