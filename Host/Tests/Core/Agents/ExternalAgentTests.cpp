// SPDX-License-Identifier: GPL-3.0-or-later
#include "AgentRegistryFixture.h"

namespace quorl::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* sessionA = "11111111-1111-4111-8111-111111111111";

class ExternalAgentTest : public AgentRegistryFixture {};

TEST_F(ExternalAgentTest, broadcastsExternalAgentsEveryFiveSecondsOnlyIfTheyChange) {
  addExternal(60, "codex", "pts/6");
  addExternal(61, "claude", "pts/7");
  tabs->terminals["/dev/pts/7"] = TerminalKind::terminalApp;
  processes->directories[61] = "/srv/app";
  registry->start();
  scheduler.advance(5s);
  const auto lists = sent.messages<message::ExternalAgentList>();
  ASSERT_EQ(lists.size(), 1U);
  ASSERT_EQ(lists[0]._0.size(), 2U);
  EXPECT_EQ(lists[0]._0[0].name, "Claude");
  EXPECT_TRUE(lists[0]._0[0].adoptable);
  EXPECT_EQ(lists[0]._0[0].terminal, TerminalKind::terminalApp);
  EXPECT_EQ(lists[0]._0[0].cwd, "/srv/app");
  EXPECT_EQ(lists[0]._0[1].name, "Codex");
  EXPECT_FALSE(lists[0]._0[1].adoptable);
  scheduler.advance(20s);
  EXPECT_EQ(sent.messages<message::ExternalAgentList>().size(), 1U);
}

TEST_F(ExternalAgentTest, leavesItsOwnSessionsOutOfTheExternalAgents) {
  spawn("claude");
  addExternal(4001, "claude", "pts/99");
  addExternal(77, "claude", "pts/1");  // a child on the session's own terminal
  EXPECT_TRUE(externals().empty());
}

TEST_F(ExternalAgentTest, showsASessionWithALiveProcessAsLiveAtTheRefreshAfterTheFirstScan) {
  sessionFiles->makeDirectory("/p");
  const double now = scheduler.date().secondsSince1970;
  sessionFiles->write("/home/ada/.claude/projects/-p/" + std::string(sessionA) + ".jsonl", "{}",
                      Date{now - 500});
  addExternal(61, "claude", "pts/7");
  processes->directories[61] = "/p";
  registry->start();
  scheduler.runReady();
  EXPECT_EQ(list().at(0).status, AgentStatus::exited);
  scheduler.advance(30s);
  EXPECT_EQ(sent.messages<message::AgentList>().back()._0.at(0).status, AgentStatus::idle);
}

TEST_F(ExternalAgentTest, movesAnAdoptedTabFromOneListToTheOther) {
  const UUID id = adoptTab();
  ASSERT_EQ(list().size(), 1U);
  EXPECT_EQ(list()[0].id, id);
  EXPECT_EQ(list()[0].kind, AgentKind::externalTerminal);
  ASSERT_FALSE(sent.messages<message::ExternalAgentList>().empty());
  EXPECT_TRUE(sent.messages<message::ExternalAgentList>().back()._0.empty());
  registry->adoptExternal(id);
  scheduler.runReady();
  EXPECT_TRUE(errors().empty());
}

TEST_F(ExternalAgentTest, broadcastsWhyAnAdoptionFailed) {
  addExternal(60, "codex", "pts/6");
  const UUID id = externals().at(0).id;
  registry->adoptExternal(id);
  registry->adoptExternal(UUID{{9}});
  scheduler.runReady();
  EXPECT_EQ(errors(), (std::vector<WireError>{
                          {"agent.adopt", "Codex is not in a scriptable terminal tab"},
                          {"agent.adopt", "external agent " + UUID{{9}}.text() + " no longer present"}}));
}

TEST_F(ExternalAgentTest, typesIntoAnAdoptedTabAndDoesNotResizeIt) {
  const UUID id = adoptTab();
  ask(agentCommand::Prompt{id, "hello"});
  ask(agentCommand::Write{id, bytesOf("\x03")});
  ask(agentCommand::ResizePTY{id, 10, 10});
  using Typed = FakeTerminalScripting::Typed;
  EXPECT_EQ(tabs->typed,
            (std::vector<Typed>{{"/dev/pts/5", TerminalKind::iterm, "hello", TextSubmission::submit},
                                {"/dev/pts/5", TerminalKind::iterm, "\x03", std::nullopt}}));
  EXPECT_TRUE(terminals->children.empty());
}

// A session may be resumed under the identity of a tab. Commands are then for the tab.
TEST_F(ExternalAgentTest, resizesNoCommandForATabOfTheSameIdentity) {
  const UUID id = adoptTab();
  ask(agentCommand::AdoptClaudeSession{id.text(), "/p"});
  ASSERT_EQ(terminals->children.size(), 1U);
  ask(agentCommand::ResizePTY{id, 90, 30});
  EXPECT_TRUE(terminals->last().sizes.empty());
  ask(agentCommand::Write{id, bytesOf("x")});
  EXPECT_EQ(terminals->last().written, "");
  EXPECT_EQ(tabs->typed.size(), 1U);
  const UUID other = spawn();
  ask(agentCommand::ResizePTY{other, 90, 30});
  EXPECT_EQ(terminals->last().sizes.size(), 1U);
}

TEST_F(ExternalAgentTest, pollsATabOnceForAClientThatSubscribesTwiceAndReplaysTwice) {
  const UUID id = adoptTab("first screen");
  ask(agentCommand::Subscribe{id});
  EXPECT_EQ(textSentTo(*client), "first screen");
  ask(agentCommand::Subscribe{id});
  EXPECT_EQ(textSentTo(*client), "first screenfirst screen");
  ask(agentCommand::Unsubscribe{id});
  const int calls = tabs->calls;
  scheduler.advance(10s);
  EXPECT_EQ(tabs->calls, calls);
}

TEST_F(ExternalAgentTest, showsAReturningClientTheCurrentScreenOfATab) {
  const UUID id = adoptTab("old screen");
  ask(agentCommand::Subscribe{id});
  ask(agentCommand::Unsubscribe{id});
  tabs->contents["/dev/pts/5"] = "new screen";
  client->frames.clear();
  ask(agentCommand::Subscribe{id});
  EXPECT_EQ(textSentTo(*client), "new screen");
}

TEST_F(ExternalAgentTest, stopsPollingWhenTheLastClientHasGone) {
  const UUID id = adoptTab();
  ask(agentCommand::Subscribe{id});
  registry->removeSink(client.get());
  scheduler.runReady();
  const int calls = tabs->calls;
  scheduler.advance(10s);
  EXPECT_EQ(tabs->calls, calls);
}

TEST_F(ExternalAgentTest, broadcastsABridgeError) {
  tabs->failure = TerminalScripting::Failure{.denied = true, .description = "no"};
  externals();
  ASSERT_EQ(errors().size(), 1U);
  EXPECT_EQ(errors()[0].code, "agent.automation");
}

TEST_F(ExternalAgentTest, broadcastsTheStatusAndTheAttentionOfAnAdoptedTab) {
  const UUID id = adoptTab("Allow this command?");
  ask(agentCommand::Subscribe{id});
  scheduler.advance(5s);
  EXPECT_EQ(events<agentEvent::Attention>(),
            (std::vector<agentEvent::Attention>{{id, "Claude", "Allow this command?"}}));
  ASSERT_FALSE(events<agentEvent::Updated>().empty());
  EXPECT_EQ(events<agentEvent::Updated>().back()._0.id, id);
  EXPECT_EQ(events<agentEvent::Updated>().back()._0.status, AgentStatus::waitingInput);
  EXPECT_EQ(events<agentEvent::Updated>().back()._0.preview, "Allow this command?");
  EXPECT_TRUE(client->messages<message::AgentEvent>().empty()) << "to all clients, not to one";
}

TEST_F(ExternalAgentTest, remembersTheListThatAClientAskedFor) {
  addExternal(60, "codex", "pts/6");
  registry->start();
  ASSERT_EQ(externals().size(), 1U);
  scheduler.advance(20s);
  EXPECT_TRUE(sent.messages<message::ExternalAgentList>().empty()) << "nothing has changed since";
  addExternal(61, "codex", "pts/7");
  scheduler.advance(5s);
  ASSERT_EQ(sent.messages<message::ExternalAgentList>().size(), 1U);
  EXPECT_EQ(sent.messages<message::ExternalAgentList>()[0]._0.size(), 2U);
}

TEST_F(ExternalAgentTest, remembersTheListAfterAnAdoption) {
  adoptTab();
  registry->start();
  const auto before = sent.messages<message::ExternalAgentList>().size();
  scheduler.advance(20s);
  EXPECT_EQ(sent.messages<message::ExternalAgentList>().size(), before);
}

TEST_F(ExternalAgentTest, neverListsItsOwnAgentAsExternalEvenInALateScan) {
  // The scan reads an agent that started after the request, and one that has ended since.
  addExternal(4001, "claude", "pts/1");
  addExternal(4002, "claude", "pts/2");
  addExternal(4003, "claude", "pts/2");
  std::vector<ExternalAgent> found;
  registry->requestExternalAgents([&](std::vector<ExternalAgent> agents) { found = std::move(agents); });
  for (const char* command : {"claude", "claude --resume"})
    registry->handle(
        agentCommand::Spawn{{.displayName = "a", .command = command, .workingDirectory = "~", .env = {}}},
        client);
  terminals->whenSpawned = [](FakeChild& child) { child.exitsAtOnce = child.pid == 4002; };
  scheduler.runReady();
  ASSERT_EQ(terminals->children.size(), 2U);
  EXPECT_TRUE(found.empty()) << found.size();
}

TEST_F(ExternalAgentTest, reusesATerminalsNameOnceItsAgentHasEnded) {
  spawn("claude");
  EXPECT_TRUE(externals().empty());
  addExternal(60, "claude", "pts/1");
  EXPECT_TRUE(externals().empty()) << "a child of the agent";
  terminals->last().exit(0);
  scheduler.advance(1s);
  ASSERT_EQ(externals().size(), 1U) << "the user's, in a new tab of the old name";
  EXPECT_EQ(externals()[0].pid, 60);
}

TEST_F(ExternalAgentTest, reportsTheEndOfAnAdoptedProgramAndTypesNothingMore) {
  adoptTab();
  registry->start();
  scheduler.advance(1s);
  const UUID id = list().at(0).id;
  processes->rows.clear();
  processes->gone.insert(50);
  ask(agentCommand::Prompt{id, "rm -rf build"});
  ask(agentCommand::Write{id, bytesOf("y\r")});
  EXPECT_TRUE(tabs->typed.empty()) << "the user's shell is left there";
  EXPECT_EQ(list().at(0).status, AgentStatus::exited);
  // The shell continues to print; the agent remains ended.
  ask(agentCommand::Subscribe{id});
  tabs->contents["/dev/pts/5"] = "screen text\n$ ";
  scheduler.advance(2s);
  EXPECT_EQ(list().at(0).status, AgentStatus::exited);
}

TEST_F(ExternalAgentTest, noticesTheEndOfAnUnwatchedAdoptedProgram) {
  adoptTab();
  registry->start();
  scheduler.advance(1s);
  processes->gone.insert(50);
  scheduler.advance(AgentRegistry::externalInterval);
  const auto updates = events<agentEvent::Updated>();
  ASSERT_FALSE(updates.empty());
  EXPECT_EQ(updates.back()._0.status, AgentStatus::exited);
}

TEST_F(ExternalAgentTest, listsAnotherProgramInTheSameTabAsAnotherAgent) {
  const UUID id = adoptTab();
  EXPECT_TRUE(externals().empty());
  processes->rows.clear();
  processes->gone.insert(50);
  addExternal(51, "claude", "pts/5");
  externals();
  scheduler.advance(1s);
  const auto found = externals();
  ASSERT_EQ(found.size(), 1U);
  EXPECT_NE(found[0].id, id);
  EXPECT_TRUE(found[0].adoptable);
}

TEST_F(ExternalAgentTest, doesNotSignalALaterProcessWithAnAdoptedOnesPID) {
  addExternal(50, "claude", "pts/5");
  processes->rows.back().startTime = 7;
  processes->startTimes[50] = 7;
  tabs->terminals["/dev/pts/5"] = TerminalKind::iterm;
  const UUID id = externals().at(0).id;
  registry->adoptExternal(id);
  scheduler.runReady();
  processes->startTimes[50] = 8;
  ask(agentCommand::Kill{id});
  scheduler.advance(10s);
  EXPECT_TRUE(processes->sent.empty());
  EXPECT_EQ(list().at(0).status, AgentStatus::exited);
}

}  // namespace
}  // namespace quorl::test
