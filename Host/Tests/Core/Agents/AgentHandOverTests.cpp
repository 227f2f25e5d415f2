// SPDX-License-Identifier: GPL-3.0-or-later
// Agents that pass from one program image to the next: here from one registry to another, in virtual time.
#include <QuorlHostCore/Agents/Registry/AgentRegistry.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "AgentRegistryFixture.h"

namespace quorl::test {
namespace {

using namespace std::chrono_literals;

class AgentHandOverTest : public AgentRegistryFixture {
 protected:
  /// Replaces the registry by one that continues its agents.
  void handOver() {
    AgentsSnapshot snapshot = registry->release();
    scheduler.runReady();
    registry.reset();
    scheduler.runReady();
    bridge = std::make_shared<TerminalBridge>(scheduler, tabs, TerminalBridgeUse::enabled);
    registry = AgentRegistry::make(platform, {trust, entries, extrasStore, bridge});
    registry->setBroadcastControl([this](const ControlMessage& message) { sent.sendControl(message); });
    whileReleased();
    registry->restore(std::move(snapshot));
    scheduler.runReady();
    client = std::make_shared<RecordingSink>();
  }
  std::string shownTo(const UUID& agent) {
    ask(agentCommand::Subscribe{agent});
    return textSentTo(*client);
  }
  void print(FakeChild& child, std::string_view text) {
    child.print(text);
    scheduler.runReady();
  }

  std::function<void()> whileReleased = [] {};
};

TEST_F(AgentHandOverTest, rowsAreTheSameAfterwards) {
  const UUID shell = spawn("zsh", "Shell");
  const UUID claude = UUID::random();
  ask(agentCommand::AdoptClaudeSession{claude.text(), "/home/ada/site"});
  const UUID ended = spawn("make", "Build");
  print(*terminals->children[0], "$ ls\r\nfile\r\n");
  print(*terminals->children[1], "Do you want to proceed?\r\n");
  terminals->children[2]->exit(1);
  scheduler.advance(5s);
  const auto before = list();
  ASSERT_EQ(before.size(), 3u);
  handOver();
  EXPECT_EQ(list(), before);
  EXPECT_TRUE(std::ranges::all_of(terminals->children, [](const auto& child) { return child->kills == 0; }));
  EXPECT_TRUE(rowIDs().contains(shell) && rowIDs().contains(claude) && rowIDs().contains(ended));
}

TEST_F(AgentHandOverTest, everyStatusIsTheSameAfterwards) {
  spawn("a", "Running");
  spawn("b", "Idle");
  spawn("c", "Waiting");
  print(*terminals->children[1], "done\r\n");
  print(*terminals->children[2], "Password:");
  scheduler.advance(4s);
  print(*terminals->children[0], "work\r\n");
  const auto statuses = [this] {
    std::map<std::string, AgentStatus> found;
    for (const auto& row : list()) found[row.name] = row.status;
    return found;
  };
  const std::map<std::string, AgentStatus> expected{
      {"Running", AgentStatus::running}, {"Idle", AgentStatus::idle}, {"Waiting", AgentStatus::waitingInput}};
  EXPECT_EQ(statuses(), expected);
  handOver();
  EXPECT_EQ(statuses(), expected);
}

TEST_F(AgentHandOverTest, silenceCountsOnAcrossTheSwitch) {
  spawn("c", "Quiet");
  scheduler.advance(1500ms);
  handOver();
  EXPECT_EQ(list().at(0).status, AgentStatus::running);
  scheduler.advance(499ms);
  EXPECT_EQ(list().at(0).status, AgentStatus::running);
  scheduler.advance(1ms);
  EXPECT_EQ(list().at(0).status, AgentStatus::idle);
}

TEST_F(AgentHandOverTest, aWaitingAgentCallsAgainThirtySecondsAfterItsLastCall) {
  const UUID id = spawn("c", "Asks");
  print(*terminals->children[0], "Do you want to proceed?");
  scheduler.advance(20s);
  EXPECT_EQ(events<agentEvent::Attention>().size(), 1u);
  handOver();
  scheduler.advance(11s);
  EXPECT_EQ(events<agentEvent::Attention>().size(), 1u);
  scheduler.advance(1s);
  ASSERT_EQ(events<agentEvent::Attention>().size(), 2u);
  EXPECT_EQ(events<agentEvent::Attention>().back().id, id);
}

TEST_F(AgentHandOverTest, aClientSeesTheSameScrollbackAndWhatFollows) {
  const UUID id = spawn();
  std::string history;
  for (int line = 0; line < 40'000; ++line) history += "\x1b[3" + std::to_string(line % 8) + "mline\r\n";
  print(*terminals->children[0], history);
  const std::string before = shownTo(id);
  ASSERT_GT(before.size(), 250'000u);
  handOver();
  EXPECT_TRUE(shownTo(id) == before);
  print(*terminals->children[0], "and on\r\n");
  EXPECT_TRUE(textSentTo(*client).ends_with("and on\r\n"));
}

TEST_F(AgentHandOverTest, outputInAPieceThatIsStillOnItsWayIsNotLost) {
  const UUID id = spawn();
  terminals->children[0]->print("one ");
  terminals->children[0]->print("two");
  handOver();
  EXPECT_TRUE(shownTo(id).ends_with("one two"));
}

TEST_F(AgentHandOverTest, outputOfTheTimeBetweenIsReadOnce) {
  const UUID id = spawn();
  print(*terminals->children[0], "before ");
  whileReleased = [this] { terminals->children[0]->print("meanwhile"); };
  handOver();
  EXPECT_TRUE(shownTo(id).ends_with("before meanwhile"));
}

TEST_F(AgentHandOverTest, aFullScreenProgramKeepsItsScreenAndModes) {
  const UUID id = spawn("vi");
  print(*terminals->children[0], "\x1b[?1049h\x1b[?2004h\x1b[?25l" + std::string(300'000, 'x') + "\x1b[1");
  print(*terminals->children[0], ";31m");
  const std::string before = (shownTo(id), print(*terminals->children[0], "y"), textSentTo(*client));
  handOver();
  terminals->children[0]->written.clear();
  shownTo(id);
  EXPECT_EQ(terminals->children[0]->written, "\f") << "it is asked to repaint";
  print(*terminals->children[0], "y");
  EXPECT_EQ(textSentTo(*client), before);
  ask(agentCommand::ResizePTY{id, 90, 30});
  scheduler.advance(50ms);
  EXPECT_EQ(terminals->children[0]->written, "\f\f") << "it is known to use the alternate screen";
}

TEST_F(AgentHandOverTest, aSequenceThatTheSwitchCutsCountsAsOne) {
  const UUID id = spawn();
  print(*terminals->children[0], "\x1b[?10");
  handOver();
  print(*terminals->children[0], "49h");
  terminals->children[0]->written.clear();
  shownTo(id);
  EXPECT_EQ(terminals->children[0]->written, "\f");
}

TEST_F(AgentHandOverTest, whatClientsTypedBeforeReachesTheTerminal) {
  const UUID id = spawn();
  registry->handle(agentCommand::Write{id, bytesOf("typed")}, client);
  terminals->children[0]->unwritten = "kept by the terminal";
  handOver();
  EXPECT_EQ(terminals->children[0]->written, "typed");
  ASSERT_TRUE(terminals->children[0]->adoptedWith);
  EXPECT_EQ(textOf(terminals->children[0]->adoptedWith->unwritten), "kept by the terminal");
  ask(agentCommand::Write{id, bytesOf(" and more")});
  EXPECT_EQ(terminals->children[0]->written, "typed and more");
}

TEST_F(AgentHandOverTest, anAgentThatEndsMeanwhileIsReportedAfterwards) {
  const UUID id = spawn("make", "Build");
  whileReleased = [this] { terminals->children[0]->exitsAtOnce = true; };
  handOver();
  EXPECT_EQ(list().at(0).status, AgentStatus::exited);
  ASSERT_EQ(events<agentEvent::Attention>().size(), 1u);
  EXPECT_EQ(events<agentEvent::Attention>().back(), (agentEvent::Attention{id, "Build", "finished"}));
}

TEST_F(AgentHandOverTest, anAgentWhoseExitIsOnItsWayCountsAsExited) {
  spawn("make", "Build");
  terminals->children[0]->exit(0);
  handOver();
  EXPECT_EQ(list().at(0).status, AgentStatus::exited);
}

TEST_F(AgentHandOverTest, anAgentThatCannotBeAdoptedCountsAsExited) {
  spawn("make", "Build");
  whileReleased = [this] { terminals->children[0]->isGivenUp = false; };
  handOver();
  EXPECT_EQ(list().at(0).status, AgentStatus::exited);
}

TEST_F(AgentHandOverTest, anExitedAgentIsShownAndRemovedAnHourAfterItsLastOutput) {
  registry->start();
  spawn("make", "Build");
  print(*terminals->children[0], "output\r\n");
  terminals->children[0]->exit(0);
  scheduler.advance(30min);
  handOver();
  registry->start();
  EXPECT_EQ(list().at(0).preview, "output");
  scheduler.advance(29min);
  EXPECT_EQ(list().size(), 1u);
  scheduler.advance(2min);
  EXPECT_EQ(list().size(), 0u);
}

TEST_F(AgentHandOverTest, anAgentThatWasAskedToEndIsKilledAtTheSameTime) {
  const UUID id = spawn();
  ask(agentCommand::Kill{id});
  scheduler.advance(2s);
  handOver();
  scheduler.advance(999ms);
  EXPECT_EQ(terminals->children[0]->kills, 0);
  scheduler.advance(1ms);
  EXPECT_EQ(terminals->children[0]->kills, 1);
}

TEST_F(AgentHandOverTest, anOrderlyStopEndsTheAgentsThatWereTakenOver) {
  spawn();
  handOver();
  bool hasEnded = false;
  registry->stop([&] { hasEnded = true; });
  scheduler.runReady();
  EXPECT_EQ(terminals->children[0]->terminations, 1);
  EXPECT_FALSE(hasEnded);
  terminals->children[0]->exit(0);
  scheduler.runReady();
  EXPECT_TRUE(hasEnded);
}

TEST_F(AgentHandOverTest, anAdoptedTabStaysAdopted) {
  const UUID id = adoptTab("the tab's screen");
  const auto before = list();
  handOver();
  const auto after = list();
  ASSERT_EQ(after.size(), 1u);
  EXPECT_EQ(after[0].id, before.at(0).id);
  EXPECT_EQ(after[0].name, before[0].name);
  EXPECT_EQ(after[0].detail, before[0].detail);
  EXPECT_TRUE(shownTo(id).ends_with("the tab's screen"));
  EXPECT_TRUE(externals().empty()) << "it would be listed twice";
}

TEST_F(AgentHandOverTest, anAdoptedTabKeepsItsStatus) {
  const UUID id = adoptTab("Password:");
  ask(agentCommand::Subscribe{id});
  scheduler.advance(5s);
  ASSERT_EQ(list().at(0).status, AgentStatus::waitingInput);
  handOver();
  EXPECT_EQ(list().at(0).status, AgentStatus::waitingInput);
}

TEST_F(AgentHandOverTest, anAdoptedTabWhoseProcessWasAskedToEndStaysExited) {
  const UUID id = adoptTab("the tab's screen");
  ask(agentCommand::Kill{id});
  handOver();
  EXPECT_EQ(list().at(0).status, AgentStatus::exited);
  ask(agentCommand::Subscribe{id});
  scheduler.advance(5s);
  EXPECT_EQ(list().at(0).status, AgentStatus::exited) << "though its process still runs";
}

TEST_F(AgentHandOverTest, aTabOfAnOlderHostCountsAsRunning) {
  adoptTab("the tab's screen");
  AgentsSnapshot snapshot = registry->release();
  snapshot.adopted.at(0).status.reset();
  registry.reset();
  scheduler.runReady();
  registry = AgentRegistry::make(platform, {trust, entries, extrasStore, bridge});
  registry->restore(std::move(snapshot));
  EXPECT_EQ(list().at(0).status, AgentStatus::running);
}

TEST_F(AgentHandOverTest, whatIsOnItsWayToAnAdoptedTabIsTyped) {
  const UUID id = adoptTab("the tab's screen");
  tabs->typed.clear();
  registry->handle(agentCommand::Prompt{id, "carry on"}, client);
  registry->release();
  ASSERT_EQ(tabs->typed.size(), 1U);
  EXPECT_EQ(tabs->typed[0].text, "carry on");
}

TEST_F(AgentHandOverTest, anAdoptedProcessThatWasAskedToEndIsNotForgotten) {
  const UUID id = adoptTab("the tab's screen");
  ask(agentCommand::Kill{id});
  ASSERT_EQ(processes->sent.size(), 1U);
  EXPECT_EQ(processes->sent[0].first, ProcessSignal::interrupt);
  handOver();
  ASSERT_EQ(processes->sent.size(), 2U);
  EXPECT_EQ(processes->sent[1].first, ProcessSignal::terminate);
}

TEST_F(AgentHandOverTest, noAgentStartsAfterTheRelease) {
  registry->release();
  ask(agentCommand::Spawn{{.displayName = "x", .command = "late", .workingDirectory = "~", .env = {}}});
  EXPECT_TRUE(terminals->children.empty());
}

TEST_F(AgentHandOverTest, tenSwitchesInARowChangeNothing) {
  const UUID id = spawn("cat", "Cat");
  print(*terminals->children[0], "\x1b[?2004hhistory\r\n");
  scheduler.advance(3s);
  const auto before = list();
  for (int turn = 0; turn < 10; ++turn) handOver();
  EXPECT_EQ(list(), before);
  EXPECT_TRUE(shownTo(id).ends_with("history\r\n"));
}

}  // namespace
}  // namespace quorl::test
