// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Registry/AgentRegistry.h>

#include <gtest/gtest.h>

#include <string>

#include <QuorlHostCore/Agents/Stores/AgentCatalog.h>
#include <QuorlHostCore/Agents/Stores/HostExtrasStore.h>
#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <Support/FakeFileStore.h>
#include <Support/FakeProcessTable.h>
#include <Support/FakePseudoTerminals.h>
#include <Support/FakeRandom.h>
#include <Support/FakeScreenCapture.h>
#include <Support/FakeSessionFiles.h>
#include <Support/FakeTerminalScripting.h>
#include <Support/RecordingSink.h>

namespace quorl {
namespace {

using namespace std::chrono_literals;
using test::RecordingSink;

constexpr const char* sessionA = "11111111-1111-4111-8111-111111111111";

class AgentRegistryTest : public testing::Test {
 protected:
  AgentRegistryTest() {
    platform.scheduler = &scheduler;
    platform.random = std::make_shared<test::FakeRandom>();
    platform.files = files;
    platform.screen = screen;
    platform.pseudoTerminals = terminals;
    platform.processes = processes;
    platform.terminals = tabs;
    platform.sessionFiles = sessionFiles;
    platform.applicationSupportDirectory = "/data";
    bridge = std::make_shared<TerminalBridge>(scheduler, tabs, TerminalBridgeUse::enabled);
    registry = AgentRegistry::make(platform, {trustStore(), catalog(), extras(), bridge});
    registry->setBroadcastControl([this](const ControlMessage& message) { sent.sendControl(message); });
  }

  std::shared_ptr<TrustStore> trustStore() {
    return trust = std::make_shared<TrustStore>(platform, std::nullopt);
  }
  std::shared_ptr<AgentCatalog> catalog() {
    return entries = std::make_shared<AgentCatalog>(scheduler, files, "/data/QuorlHost", "/home/ada");
  }
  std::shared_ptr<HostExtrasStore> extras() {
    return extrasStore = std::make_shared<HostExtrasStore>(scheduler, files, "/data/QuorlHost");
  }

  void ask(AgentCommand command) {
    registry->handle(command, client);
    scheduler.runReady();
  }
  UUID spawn(const std::string& command = "ls", const std::string& name = "My agent") {
    const std::set<UUID> before = rowIDs();
    ask(agentCommand::Spawn{{.displayName = name, .command = command, .workingDirectory = "~/w", .env = {}}});
    for (const UUID& id : rowIDs())
      if (!before.contains(id)) return id;
    ADD_FAILURE() << "nothing was spawned";
    return {};
  }
  std::vector<AgentDescriptor> list() {
    std::vector<AgentDescriptor> rows;
    registry->currentList([&](std::vector<AgentDescriptor> list) { rows = std::move(list); });
    scheduler.runReady();
    return rows;
  }
  std::set<UUID> rowIDs() {
    std::set<UUID> ids;
    for (const auto& row : list()) ids.insert(row.id);
    return ids;
  }
  std::vector<WireError> errors() {
    std::vector<WireError> found;
    for (const auto& error : sent.messages<message::Error>()) found.push_back(error._0);
    return found;
  }
  template <class Event>
  std::vector<Event> events() {
    std::vector<Event> found;
    for (const auto& event : sent.messages<message::AgentEvent>())
      if (const auto* held = std::get_if<Event>(&event._0)) found.push_back(*held);
    return found;
  }
  static std::string textSentTo(const RecordingSink& sink) {
    std::string text;
    for (const auto& frame : sink.frames) text += textOf(frame.body());
    return text;
  }
  void addExternal(std::int32_t pid, const std::string& command, const std::string& tty) {
    processes->rows.push_back({.pid = pid, .tty = tty, .command = command, .executablePath = ""});
  }
  std::vector<ExternalAgent> externals() {
    std::vector<ExternalAgent> agents;
    registry->requestExternalAgents([&](std::vector<ExternalAgent> list) { agents = std::move(list); });
    scheduler.runReady();
    return agents;
  }
  UUID adoptTab(const std::string& contents = "screen text") {
    addExternal(50, "claude", "pts/5");
    tabs->terminals["/dev/pts/5"] = TerminalKind::iterm;
    tabs->contents["/dev/pts/5"] = contents;
    const UUID id = externals().at(0).id;
    registry->adoptExternal(id);
    scheduler.runReady();
    return id;
  }

  SimulatedScheduler scheduler{3};
  std::shared_ptr<test::FakeFileStore> files = std::make_shared<test::FakeFileStore>();
  std::shared_ptr<test::FakeScreenCapture> screen = std::make_shared<test::FakeScreenCapture>(scheduler);
  std::shared_ptr<test::FakePseudoTerminals> terminals = std::make_shared<test::FakePseudoTerminals>();
  std::shared_ptr<test::FakeProcessTable> processes = std::make_shared<test::FakeProcessTable>();
  std::shared_ptr<test::FakeTerminalScripting> tabs = std::make_shared<test::FakeTerminalScripting>();
  std::shared_ptr<test::FakeSessionFiles> sessionFiles = std::make_shared<test::FakeSessionFiles>();
  Platform platform;
  std::shared_ptr<TrustStore> trust;
  std::shared_ptr<AgentCatalog> entries;
  std::shared_ptr<HostExtrasStore> extrasStore;
  std::shared_ptr<TerminalBridge> bridge;
  RecordingSink sent;  // what all clients are told
  std::shared_ptr<RecordingSink> client = std::make_shared<RecordingSink>();
  std::shared_ptr<AgentRegistry> registry;
};

TEST_F(AgentRegistryTest, spawnsACommandAndTellsTheListAndRemembersTheConfiguration) {
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

TEST_F(AgentRegistryTest, tellsAllClientsOfASpawnThatFailsAndMakesNoRow) {
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

TEST_F(AgentRegistryTest, letsNoQuoteOutOfAResumedSessionsIdentifier) {
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
  EXPECT_EQ(list().at(0).name, "Dev server");
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

TEST_F(AgentRegistryTest, sendsTerminalOutputToThoseWhoSubscribedFromTheBeginning) {
  const UUID id = spawn();
  terminals->last().print("history ");
  scheduler.runReady();
  ask(agentCommand::Subscribe{id});
  terminals->last().print("live");
  scheduler.runReady();
  ASSERT_EQ(client->frames.size(), 2U);
  EXPECT_EQ(client->frames[0].type(), FrameType::terminal);
  const auto payload = TerminalPayload::decode(ByteView(client->frames[0].encoded()).subspan(5));
  ASSERT_TRUE(payload.has_value());
  EXPECT_EQ(payload->agentID, id);
  EXPECT_EQ(textSentTo(*client), "history live");
  ask(agentCommand::Unsubscribe{id});
  terminals->last().print("unseen");
  scheduler.runReady();
  EXPECT_EQ(textSentTo(*client), "history live");
}

TEST_F(AgentRegistryTest, stopsSendingToAClientThatHasGone) {
  const UUID id = spawn();
  ask(agentCommand::Subscribe{id});
  registry->removeSink(client.get());
  scheduler.runReady();
  terminals->last().print("unseen");
  scheduler.runReady();
  EXPECT_TRUE(client->frames.empty());
}

TEST_F(AgentRegistryTest, asksAProgramOnTheAlternateScreenToRepaintInPlaceOfAReplay) {
  const UUID id = spawn();
  terminals->last().print("\x1b[?1049hfull screen");
  scheduler.runReady();
  ask(agentCommand::Subscribe{id});
  EXPECT_TRUE(client->frames.empty());
  EXPECT_EQ(terminals->last().written, "\x0c");
}

TEST_F(AgentRegistryTest, tellsStatusAttentionAndExitOfASpawnedAgent) {
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

TEST_F(AgentRegistryTest, tellsTheListOnlyWhenARefreshFindsItChanged) {
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

TEST_F(AgentRegistryTest, removesTheTwentySixthExitedAgentAtTheNextRefreshHoweverYoung) {
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

TEST_F(AgentRegistryTest, tellsExternalAgentsEveryFiveSecondsOnlyWhenTheyChange) {
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

TEST_F(AgentRegistryTest, leavesItsOwnSessionsOutOfTheExternalAgents) {
  spawn("claude");
  addExternal(4001, "claude", "pts/99");
  addExternal(77, "claude", "pts/1");  // a child on the session's own terminal
  EXPECT_TRUE(externals().empty());
}

TEST_F(AgentRegistryTest, showsASessionWithALiveProcessAsLiveAtTheRefreshAfterTheFirstScan) {
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

TEST_F(AgentRegistryTest, movesAnAdoptedTabFromOneListToTheOther) {
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

TEST_F(AgentRegistryTest, tellsAllClientsWhyAnAdoptionFailed) {
  addExternal(60, "codex", "pts/6");
  const UUID id = externals().at(0).id;
  registry->adoptExternal(id);
  registry->adoptExternal(UUID{{9}});
  scheduler.runReady();
  EXPECT_EQ(errors(), (std::vector<WireError>{
                          {"agent.adopt", "Codex is not in a scriptable terminal tab"},
                          {"agent.adopt", "external agent " + UUID{{9}}.text() + " no longer present"}}));
}

TEST_F(AgentRegistryTest, typesIntoAnAdoptedTabAndDoesNotResizeIt) {
  const UUID id = adoptTab();
  ask(agentCommand::Prompt{id, "hello"});
  ask(agentCommand::Write{id, bytesOf("\x03")});
  ask(agentCommand::ResizePTY{id, 10, 10});
  using Typed = test::FakeTerminalScripting::Typed;
  EXPECT_EQ(tabs->typed,
            (std::vector<Typed>{{"/dev/pts/5", TerminalKind::iterm, "hello", TextSubmission::submit},
                                {"/dev/pts/5", TerminalKind::iterm, "\x03", std::nullopt}}));
  EXPECT_TRUE(terminals->children.empty());
}

TEST_F(AgentRegistryTest, pollsATabOnceForAClientThatSubscribesTwiceAndReplaysTwice) {
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

TEST_F(AgentRegistryTest, showsAClientThatComesBackToATabItsScreenOfNow) {
  const UUID id = adoptTab("old screen");
  ask(agentCommand::Subscribe{id});
  ask(agentCommand::Unsubscribe{id});
  tabs->contents["/dev/pts/5"] = "new screen";
  client->frames.clear();
  ask(agentCommand::Subscribe{id});
  EXPECT_EQ(textSentTo(*client), "new screen");
}

TEST_F(AgentRegistryTest, stopsPollingWhenTheLastClientHasGone) {
  const UUID id = adoptTab();
  ask(agentCommand::Subscribe{id});
  registry->removeSink(client.get());
  scheduler.runReady();
  const int calls = tabs->calls;
  scheduler.advance(10s);
  EXPECT_EQ(tabs->calls, calls);
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

TEST_F(AgentRegistryTest, tellsABridgeErrorToAllClients) {
  tabs->failure = TerminalScripting::Failure{.denied = true, .description = "no"};
  externals();
  ASSERT_EQ(errors().size(), 1U);
  EXPECT_EQ(errors()[0].code, "agent.automation");
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

TEST_F(AgentRegistryTest, dropsListsAndErrorsWithoutAnybodyToTell) {
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

TEST_F(AgentRegistryTest, keepsWhatItHoldsForAClientThatDoesNotReadBounded) {
  const UUID id = spawn();
  ask(agentCommand::Subscribe{id});
  for (int i = 0; i < 40; ++i) {
    terminals->last().print(std::string(1 << 20, 'x'));
    scheduler.runReady();
  }
  std::size_t held = 0;
  for (const auto& frame : client->frames) held += frame.body().size();
  EXPECT_GT(held, SinkBacklog::mostLimit / 2);
  EXPECT_LE(held, SinkBacklog::mostLimit + 65'536);
  client->frames.clear();  // it has read it all
  scheduler.runReady();
  ASSERT_EQ(client->frames.size(), 1U);
  EXPECT_TRUE(
      textSentTo(*client).starts_with("\x18\x1b"
                                      "c"));
}

TEST_F(AgentRegistryTest, neverShowsAnAgentOfItsOwnAsExternalHoweverLateAScanIs) {
  // The scan reads an agent that is started after it was asked for, and one that has ended since.
  addExternal(4001, "claude", "pts/1");
  addExternal(4002, "claude", "pts/2");
  addExternal(4003, "claude", "pts/2");
  std::vector<ExternalAgent> found;
  registry->requestExternalAgents([&](std::vector<ExternalAgent> agents) { found = std::move(agents); });
  for (const char* command : {"claude", "claude --resume"})
    registry->handle(
        agentCommand::Spawn{{.displayName = "a", .command = command, .workingDirectory = "~", .env = {}}},
        client);
  terminals->whenSpawned = [](test::FakeChild& child) { child.exitsAtOnce = child.pid == 4002; };
  scheduler.runReady();
  ASSERT_EQ(terminals->children.size(), 2U);
  EXPECT_TRUE(found.empty()) << found.size();
}

TEST_F(AgentRegistryTest, aTerminalsNameIsFreeAgainOnceItsAgentHasEnded) {
  spawn("claude");
  EXPECT_TRUE(externals().empty());
  addExternal(60, "claude", "pts/1");
  EXPECT_TRUE(externals().empty()) << "a child of the agent";
  terminals->last().exit(0);
  scheduler.advance(1s);
  ASSERT_EQ(externals().size(), 1U) << "the user's, in a new tab of the old name";
  EXPECT_EQ(externals()[0].pid, 60);
}

TEST_F(AgentRegistryTest, reportsAnAdoptedTabWhoseProgramHasEndedAsEndedAndTypesNothingMore) {
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
  // The shell prints on; the agent stays ended.
  ask(agentCommand::Subscribe{id});
  tabs->contents["/dev/pts/5"] = "screen text\n$ ";
  scheduler.advance(2s);
  EXPECT_EQ(list().at(0).status, AgentStatus::exited);
}

TEST_F(AgentRegistryTest, noticesTheEndOfAnAdoptedProgramThatNobodyWatches) {
  adoptTab();
  registry->start();
  scheduler.advance(1s);
  processes->gone.insert(50);
  scheduler.advance(AgentRegistry::externalInterval);
  const auto updates = events<agentEvent::Updated>();
  ASSERT_FALSE(updates.empty());
  EXPECT_EQ(updates.back()._0.status, AgentStatus::exited);
}

TEST_F(AgentRegistryTest, anotherProgramInTheTabOfAnEndedOneIsAnotherAgent) {
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

TEST_F(AgentRegistryTest, signalsNoLaterProcessOfAnAdoptedOnesNumber) {
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

TEST_F(AgentRegistryTest, startsNoAgentOnceItEnds) {
  registry->stop();
  ask(agentCommand::Spawn{{.displayName = "late", .command = "ls", .workingDirectory = "~", .env = {}}});
  ask(agentCommand::AdoptClaudeSession{sessionA, "/p"});
  EXPECT_TRUE(terminals->children.empty());
}

TEST_F(AgentRegistryTest, givesAWatcherTheModesOfAFullScreenProgramInFrontOfItsNextOutput) {
  const UUID id = spawn();
  terminals->last().print("\x1b[?1049h\x1b[?1h\x1b[?1002h\x1b[?2004hscreen");
  scheduler.runReady();
  ask(agentCommand::Subscribe{id});
  terminals->last().print("painted");
  terminals->last().print(" and on");
  scheduler.runReady();
  EXPECT_NE(textSentTo(*client).find("\x18\x1b[0m\x1b[?1049h\x1b[?1h\x1b[?1002h\x1b[?2004h\x18\x18painted"),
            std::string::npos);
  ASSERT_EQ(client->frames.size(), 2U);
  EXPECT_EQ(textOf(client->frames[1].body()).find('\x18'), std::string::npos) << "once";
}

TEST_F(AgentRegistryTest, putsTheModesInFrontOfAHistoryThatHasLostItsBeginning) {
  const UUID id = spawn();
  terminals->last().print("\x1b[?2004h\x1b[?25l");
  std::string lines;
  while (lines.size() <= Scrollback::limit) lines += "a line of text\r\n";
  terminals->last().print(lines);
  scheduler.runReady();
  ask(agentCommand::Subscribe{id});
  const std::string shown = textSentTo(*client);
  EXPECT_NE(shown.find("\x18\x1b[0m\x1b[?25l\x1b[?2004h\x18\n"), std::string::npos) << shown.substr(0, 100);
}

}  // namespace
}  // namespace quorl
