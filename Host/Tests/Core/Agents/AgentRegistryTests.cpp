// SPDX-License-Identifier: GPL-3.0-or-later
#include <Support/LogRecorder.h>

#include "AgentRegistryFixture.h"

namespace quorl::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* sessionA = "11111111-1111-4111-8111-111111111111";

class AgentRegistryTest : public AgentRegistryFixture {};

TEST_F(AgentRegistryTest, spawnsACommandBroadcastsTheListAndRemembersTheConfiguration) {
  const UUID id = spawn("claude --go", "Mine");
  const auto lists = sent.messages<message::AgentList>();
  ASSERT_EQ(lists.size(), 1U);
  ASSERT_EQ(lists[0]._0.size(), 1U);
  const AgentDescriptor& row = lists[0]._0[0];
  EXPECT_EQ(row.id, id);
  EXPECT_EQ(row.kind, AgentKind::pty);
  EXPECT_EQ(row.name, "Mine");
  EXPECT_EQ(row.detail, "claude --go — ~/w");
  EXPECT_EQ(row.status, AgentStatus::running);
  EXPECT_EQ(row.pid, 4001);
  EXPECT_EQ(row.tool, AgentTool::claude);
  EXPECT_EQ(row.projectPath, "/home/ada/w");
  EXPECT_EQ(terminals->last().request.workingDirectory, "/home/ada/w");
  EXPECT_EQ(trust->settings().recentAgentConfigs,
            (std::vector<AgentSpawnConfig>{{"Mine", "claude --go", "~/w", {}}}));
}

TEST_F(AgentRegistryTest, replacesADisplayNameOf61CharactersByTheShortLabelAndKeepsOneOf60WithItsBlanks) {
  const std::string sixty = "  " + std::string(58, 'n') + "éé  ";
  spawn("/usr/bin/make all", sixty);
  spawn("/usr/bin/make all", std::string(61, 'n'));
  spawn("/usr/bin/make all", " \n ");
  std::multiset<std::string> names;
  for (const auto& row : list()) names.insert(row.name);
  EXPECT_EQ(names, (std::multiset<std::string>{sixty, "make", "make"}));
}

TEST_F(AgentRegistryTest, reportsAFailedSpawnToAllClientsAndAddsNoRow) {
  terminals->failure = PseudoTerminalError{PseudoTerminalStep::openTerminal, {"none left", 0}};
  ask(agentCommand::Spawn{{.displayName = "x", .command = "y", .workingDirectory = "~", .env = {}}});
  EXPECT_EQ(errors(), (std::vector<WireError>{{"agent.spawn", "openpty failed: none left"}}));
  EXPECT_TRUE(list().empty());
  EXPECT_TRUE(trust->settings().recentAgentConfigs.empty());
  terminals->failure = PseudoTerminalError{PseudoTerminalStep::spawn, {"no", 0}};
  ask(agentCommand::AdoptClaudeSession{sessionA, "/gone"});
  EXPECT_EQ(errors().back(), (WireError{"agent.adopt", "posix_spawn failed: no"}));
}

TEST_F(AgentRegistryTest, resumesASessionOnceUnderItsOwnIdentity) {
  ask(agentCommand::AdoptClaudeSession{sessionA, "/p/app"});
  ask(agentCommand::AdoptClaudeSession{sessionA, "/p/app"});
  EXPECT_EQ(terminals->children.size(), 1U);
  EXPECT_EQ(terminals->last().request.command, std::string("claude --resume '") + sessionA + "'");
  EXPECT_EQ(terminals->last().request.workingDirectory, "/p/app");
  const auto rows = list();
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].id, *UUID::parse(sessionA));
  EXPECT_EQ(rows[0].kind, AgentKind::claudeCode);
  EXPECT_EQ(rows[0].name, "Claude Code — app");
  EXPECT_EQ(rows[0].detail, std::string("session ") + sessionA + " — /p/app");
  EXPECT_EQ(rows[0].projectPath, "/p/app");
  EXPECT_TRUE(trust->settings().recentAgentConfigs.empty());
}

TEST_F(AgentRegistryTest, removesQuotesFromAResumedSessionsIdentifier) {
  ask(agentCommand::AdoptClaudeSession{"x'; rm -rf ~; '", "/p"});
  EXPECT_EQ(terminals->last().request.command, "claude --resume 'x; rm -rf ~; '");
}

TEST_F(AgentRegistryTest, launchesACatalogEntryAndIgnoresAnUnknownOne) {
  const AgentCatalogEntry entry{.id = UUID{{5}},
                                .name = "Dev server",
                                .command = "npm start",
                                .workingDirectory = "/srv",
                                .env = {{"A", "1"}}};
  entries->upsert(entry);
  registry->launchCatalogEntry(UUID{{5}});
  registry->launchCatalogEntry(UUID{{6}});
  scheduler.runReady();
  ASSERT_EQ(terminals->children.size(), 1U);
  EXPECT_EQ(terminals->last().request.environment["A"], "1");
  EXPECT_EQ(terminals->last().request.workingDirectory, "/srv");
  EXPECT_EQ(list().at(0).name, "Dev server");
  EXPECT_EQ(trust->settings().recentAgentConfigs,
            (std::vector<AgentSpawnConfig>{{"Dev server", "npm start", "/srv", {{"A", "1"}}}}));
  EXPECT_TRUE(errors().empty());
}

TEST_F(AgentRegistryTest, carriesOutCommandsOnASpawnedAgent) {
  const UUID id = spawn();
  ask(agentCommand::Prompt{id, "höllo"});
  ask(agentCommand::Write{id, bytesOf("\x03")});
  ask(agentCommand::ResizePTY{id, 120, 50});
  ask(agentCommand::Kill{id});
  auto& child = terminals->last();
  EXPECT_EQ(child.written, "höllo\r\x03");
  EXPECT_EQ(child.sizes.size(), 1U);
  EXPECT_EQ(child.sizes[0].first, 120);
  EXPECT_EQ(child.terminations, 1);
}

TEST_F(AgentRegistryTest, ignoresCommandsForAnUnknownAgentButASubscription) {
  const UUID nobody{{1}};
  ask(agentCommand::Kill{nobody});
  ask(agentCommand::Prompt{nobody, "x"});
  ask(agentCommand::Write{nobody, {}});
  ask(agentCommand::ResizePTY{nobody, 1, 1});
  ask(agentCommand::Unsubscribe{nobody});
  EXPECT_TRUE(client->controls.empty());
  ask(agentCommand::Subscribe{nobody});
  const auto told = client->messages<message::Error>();
  ASSERT_EQ(told.size(), 1U);
  EXPECT_EQ(told[0]._0, (WireError{"agent.unknown", "no live agent " + nobody.text()}));
  EXPECT_TRUE(errors().empty());
}

TEST_F(AgentRegistryTest, broadcastsStatusAttentionAndExitOfASpawnedAgent) {
  const UUID id = spawn();
  terminals->last().print("Proceed?");
  scheduler.advance(3s);
  ASSERT_EQ(events<agentEvent::Updated>().size(), 1U);
  EXPECT_EQ(events<agentEvent::Updated>()[0]._0.status, AgentStatus::waitingInput);
  EXPECT_EQ(events<agentEvent::Updated>()[0]._0.preview, "Proceed?");
  EXPECT_EQ(events<agentEvent::Attention>(),
            (std::vector<agentEvent::Attention>{{id, "My agent", "Proceed?"}}));
  terminals->last().exit(0);
  scheduler.runReady();
  EXPECT_EQ(events<agentEvent::Updated>().back()._0.status, AgentStatus::exited);
  EXPECT_EQ(events<agentEvent::Attention>().back().body, "finished");
}

TEST_F(AgentRegistryTest, broadcastsTheListOnlyIfARefreshFindsAChange) {
  registry->start();
  scheduler.runReady();
  EXPECT_TRUE(sent.messages<message::AgentList>().empty());
  sessionFiles->write("/home/ada/.claude/projects/-p/" + std::string(sessionA) + ".jsonl", "{}");
  scheduler.advance(30s);
  ASSERT_EQ(sent.messages<message::AgentList>().size(), 1U);
  EXPECT_EQ(sent.messages<message::AgentList>()[0]._0.at(0).id, *UUID::parse(sessionA));
  scheduler.advance(60s);
  EXPECT_EQ(sent.messages<message::AgentList>().size(), 1U);
  registry->stop();
  scheduler.runReady();
  EXPECT_EQ(scheduler.pendingTimers(), 0U);
}

TEST_F(AgentRegistryTest, removesTheTwentySixthExitedAgentAtTheNextRefreshWhateverItsAge) {
  registry->start();
  std::vector<UUID> ids;
  for (int i = 0; i < 26; ++i) {
    ids.push_back(spawn("job " + std::to_string(i)));
    scheduler.advance(1ms);
    terminals->last().print("x");
    scheduler.advance(1ms);
    terminals->last().exit(0);
    scheduler.runReady();
  }
  EXPECT_EQ(list().size(), 26U);
  scheduler.advance(30s);
  EXPECT_EQ(events<agentEvent::Removed>(), std::vector{agentEvent::Removed{ids[0]}});
  EXPECT_EQ(list().size(), 25U);
}

TEST_F(AgentRegistryTest, removesAnExitedAgentAfterAnHour) {
  registry->start();
  const UUID id = spawn();
  terminals->last().exit(0);
  scheduler.advance(3600s);
  EXPECT_EQ(list().size(), 1U);
  scheduler.advance(31s);
  EXPECT_EQ(events<agentEvent::Removed>(), std::vector{agentEvent::Removed{id}});
  EXPECT_TRUE(terminals->last().isReleased);
  EXPECT_TRUE(list().empty());
}

TEST_F(AgentRegistryTest, logsTheLifeOfAnAgent) {
  const LogRecorder log;
  registry->start();
  spawn("make all", "Build");
  EXPECT_TRUE(log.has(LogLevel::info, "agent", "spawned pid 4001 [make all] in /home/ada/w"));
  terminals->last().exit(1);
  scheduler.runReady();
  EXPECT_TRUE(log.has(LogLevel::info, "agent", "agent Build exited"));
  EXPECT_EQ(log.count("reaped 1 exited agent(s)"), 0U);
  scheduler.advance(3631s);
  EXPECT_TRUE(log.has(LogLevel::info, "agent", "reaped 1 exited agent(s)"));
  scheduler.advance(60s);
  EXPECT_EQ(log.count("reaped 1 exited agent(s)"), 1U);
}

TEST_F(AgentRegistryTest, logsHowManyAgentsItReaps) {
  const LogRecorder log;
  registry->start();
  for (int i = 0; i < 28; ++i) {
    spawn("job");
    terminals->last().exit(0);
    scheduler.runReady();
  }
  scheduler.advance(30s);
  EXPECT_TRUE(log.has(LogLevel::info, "agent", "reaped 3 exited agent(s)"));
}

TEST_F(AgentRegistryTest, logsWhyNothingWasStarted) {
  const LogRecorder log;
  terminals->failure = PseudoTerminalError{PseudoTerminalStep::openTerminal, {"none left", 0}};
  ask(agentCommand::Spawn{{.displayName = "x", .command = "y", .workingDirectory = "~", .env = {}}});
  EXPECT_TRUE(log.has(LogLevel::error, "agent", "spawn failed: openpty failed: none left"));
  terminals->failure = PseudoTerminalError{PseudoTerminalStep::spawn, {"no", 0}};
  ask(agentCommand::AdoptClaudeSession{sessionA, "/gone"});
  EXPECT_TRUE(log.has(LogLevel::error, "agent", "adopt failed: posix_spawn failed: no"));
}

TEST_F(AgentRegistryTest, listsGraphicalAgentsUnderOneIdentityOverScans) {
  screen->content = ShareableContent{.displays = {},
                                     .windows = {},
                                     .applications = {{"com.openai.chat", "Chat", 5},
                                                      {"org.editor", "Editor", 6},
                                                      {"", "nameless", 7},
                                                      {"org.mine", "", 8}}};
  registry->start();
  scheduler.runReady();
  ASSERT_EQ(list().size(), 1U);
  const UUID id = list()[0].id;
  registry->setGUIAgentBundles({"org.mine"});
  scheduler.runReady();
  ASSERT_EQ(list().size(), 2U);
  EXPECT_EQ(list()[0].id, id);
  EXPECT_EQ(list()[1].name, "org.mine");
  EXPECT_EQ(sent.messages<message::AgentList>().size(), 2U);
  EXPECT_EQ(extrasStore->guiAgentBundles(), std::vector<std::string>{"org.mine"});
}

TEST_F(AgentRegistryTest, terminatesEverySessionAtStop) {
  spawn();
  adoptTab();
  registry->start();
  registry->stop();
  scheduler.runReady();
  EXPECT_EQ(terminals->last().terminations, 1);
  EXPECT_EQ(processes->sent.size(), 1U);
  EXPECT_EQ(processes->sent[0].second, 50);
}

TEST_F(AgentRegistryTest, dropsListsAndErrorsWithoutABroadcast) {
  registry->setBroadcastControl(nullptr);
  spawn();
  registry->adoptExternal(UUID{{9}});
  scheduler.runReady();
  EXPECT_EQ(list().size(), 1U);
  EXPECT_TRUE(sent.controls.empty());
}

TEST_F(AgentRegistryTest, releasesEveryChildWhenItIsDropped) {
  const UUID id = spawn();
  ask(agentCommand::Subscribe{id});
  const auto child = terminals->children.back();
  registry.reset();
  scheduler.runReady();
  EXPECT_TRUE(child->isReleased);
}

TEST_F(AgentRegistryTest, startsNoAgentAfterStop) {
  registry->stop();
  ask(agentCommand::Spawn{{.displayName = "late", .command = "ls", .workingDirectory = "~", .env = {}}});
  ask(agentCommand::AdoptClaudeSession{sessionA, "/p"});
  EXPECT_TRUE(terminals->children.empty());
}

}  // namespace
}  // namespace quorl::test
