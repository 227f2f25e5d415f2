// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Power/SystemControl.h>
#include <QuorlHostCore/Runtime/HostRuntime.h>
#include <QuorlHostCore/Session/ConnectionServer.h>
#include <QuorlHostCore/Storage/HostSupportPaths.h>
#include <QuorlHostCore/Trust/PairingState.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <Support/FakeClient.h>
#include <Support/FakePlatform.h>
#include <Support/LogRecorder.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;

TEST(HostCoreConfig, hasThePresetOfTheApplication) {
  const HostCoreConfig preset = HostCoreConfig::menuBar;
  EXPECT_EQ(preset.port, 47900);
  EXPECT_EQ(preset.fixedPIN, std::nullopt);
  EXPECT_EQ(preset.trustStoreDirectory, std::nullopt);
  EXPECT_TRUE(preset.advertiseBonjour && preset.enableRelay && preset.enableBackgroundServices &&
              preset.multiUserPortHandoff && preset.enableTerminalBridge);
}

TEST(HostSupportPaths, usesAGivenFolderAsItIs) {
  EXPECT_EQ(HostSupportPaths::directory("/given/", "/data"), "/given/");
  EXPECT_EQ(HostSupportPaths::directory(std::nullopt, "/data"), "/data/QuorlHost");
  EXPECT_EQ(HostSupportPaths::file("/given/", "trust.json"), "/given/trust.json");
}

class HostRuntimeTest : public testing::Test {
 protected:
  HostRuntimeTest() { config_.fixedPIN = "123456"; }

  HostRuntime& make() {
    runtime_ = HostRuntime::make(config_, platform_.platform());
    return *runtime_;
  }
  HostRuntime& run() {
    EXPECT_TRUE(make().start().has_value());
    simulation_.runReady();
    return *runtime_;
  }
  FakeClient join() {
    FakeClient client(simulation_, platform_.network->connect(config_.port));
    client.settle();
    return client;
  }

  LogRecorder log_;
  SimulatedScheduler simulation_;
  FakePlatform platform_{simulation_};
  HostCoreConfig config_ = HostCoreConfig::menuBar;
  std::shared_ptr<HostRuntime> runtime_;
};

class TerminalBridgeTest : public HostRuntimeTest {
 protected:
  /// The agents in tabs of the user that a client is shown, which then asks for the first.
  std::vector<ExternalAgent> shownAndAdopted(bool enableTerminalBridge) {
    config_.enableTerminalBridge = enableTerminalBridge;
    platform_.processes->rows = {{.pid = 50, .tty = "pts/5", .command = "claude", .executablePath = ""}};
    platform_.terminals->terminals["/dev/pts/5"] = TerminalKind::iterm;
    run();
    FakeClient client = join();
    EXPECT_TRUE(client.pair("123456"));
    client.send(message::RequestExternalAgents{});
    client.settle();
    const auto list = client.last<message::ExternalAgentList>();
    EXPECT_TRUE(list && list->_0.size() == 1U);
    if (!list) return {};
    client.send(message::AdoptExternalAgent{list->_0.at(0).id});
    client.settle();
    if (const auto agents = client.last<message::AgentList>()) rows_ = agents->_0;
    if (const auto error = client.last<message::Error>()) error_ = error->_0;
    simulation_.advance(std::chrono::seconds(60));
    return list->_0;
  }

  std::vector<AgentDescriptor> rows_;
  std::optional<WireError> error_;
};

TEST_F(TerminalBridgeTest, offersTheTabsOfTerminals) {
  EXPECT_TRUE(shownAndAdopted(true).at(0).adoptable);
  EXPECT_GT(platform_.terminals->calls, 0);
  ASSERT_EQ(rows_.size(), 1U);
  EXPECT_EQ(rows_[0].kind, AgentKind::externalTerminal);
  EXPECT_EQ(error_, std::nullopt);
}

TEST_F(TerminalBridgeTest, asksNoTerminalWhenItIsTurnedOff) {
  EXPECT_FALSE(shownAndAdopted(false).at(0).adoptable);
  EXPECT_EQ(platform_.terminals->calls, 0);
  EXPECT_TRUE(rows_.empty());
  EXPECT_EQ(error_, (WireError{"agent.adopt", "Claude is not in a scriptable terminal tab"}));
}

TEST_F(HostRuntimeTest, servesAClientFromItsFirstByteToItsPictures) {
  run();
  FakeClient client = join();
  ASSERT_TRUE(client.pair("123456"));
  StartStream request;
  request.streamID = 1;
  request.target = streamTarget::Unified{};
  request.config = {
      .maxDimension = 1920, .maxFPS = 60, .codec = VideoCodec::h264, .quality = 0.5, .showsCursor = true};
  client.send(message::StartStream{request});
  client.settle();
  const auto started = client.last<message::StreamStarted>();
  ASSERT_TRUE(started) << "the real stream session answers";
  EXPECT_EQ(started->_0.pixelWidth, 1920);
  EXPECT_EQ(started->_0.contentRect, (PointRect{{0, 0}, {1920, 1080}}));
  client.input(inputEvent::Pointer{.streamID = 1, .phase = PointerPhase::moved, .x = 0.5F, .y = 0.5F});
  ASSERT_EQ(platform_.events->posted.size(), 1U);
  EXPECT_EQ(std::get<MouseEvent>(platform_.events->posted[0]).location, (PointXY{960, 540}));
  runtime_->stop();
  client.settle();
  EXPECT_TRUE(client.last<message::Bye>().has_value());
  EXPECT_EQ(platform_.screen->runningStreams(), 0U);
}

TEST_F(HostRuntimeTest, usesTheFixedPINOrDrawsOne) {
  EXPECT_EQ(make().pairing()->pin(), "123456");
  config_.fixedPIN.reset();
  const std::string drawn = make().pairing()->pin();
  EXPECT_EQ(drawn.size(), 6U);
  EXPECT_NE(drawn, "123456");
}

TEST_F(HostRuntimeTest, keepsItsFilesInTheGivenFolder) {
  EXPECT_EQ(make().trustStore()->directory(), "/home/anna/data/QuorlHost");
  config_.trustStoreDirectory = "/elsewhere";
  EXPECT_EQ(make().trustStore()->directory(), "/elsewhere");
}

TEST_F(HostRuntimeTest, failsToStartOnlyWithoutHandoffWhenNoListenerCanBeMade) {
  platform_.network->failsCreation = true;
  config_.multiUserPortHandoff = false;
  const auto started = make().start();
  ASSERT_FALSE(started.has_value());
  EXPECT_EQ(started.error().description, "Too many open files");
  EXPECT_EQ(log_.count("quorl-host core up — port 47900, relay 47901"), 0U);
  simulation_.runReady();
  EXPECT_EQ(platform_.network->listenAttempts(), 1U) << "no relay either";
  EXPECT_EQ(simulation_.pendingTimers(), 0U) << "no service has begun";
  config_.multiUserPortHandoff = true;
  EXPECT_TRUE(make().start().has_value());
}

TEST_F(HostRuntimeTest, namesTheRelayPortAtStartWhetherOrNotItListens) {
  run();
  EXPECT_TRUE(log_.has(LogLevel::info, "app", "quorl-host core up — port 47900, relay 47901"));
}

TEST_F(HostRuntimeTest, saysThatTheRelayIsOff) {
  config_.enableRelay = false;
  run();
  EXPECT_TRUE(log_.has(LogLevel::info, "app", "quorl-host core up — port 47900, relay off"));
}

TEST_F(HostRuntimeTest, followsTheConsoleAndBroadcastsTheUserListOncePerChange) {
  run();
  FakeClient client = join();
  ASSERT_TRUE(client.pair("123456"));
  client.received.clear();
  // A change that keeps the console user keeps the port and still broadcasts the list.
  platform_.console->handTo("anna");
  client.settle();
  EXPECT_THAT(client.names(), ElementsAre("userList"));
  EXPECT_TRUE(runtime_->server()->ownsPublicPort());
  platform_.console->handTo("bea");
  client.settle();
  EXPECT_FALSE(runtime_->server()->ownsPublicPort());
  EXPECT_TRUE(client.last<message::Bye>().has_value());
}

TEST_F(HostRuntimeTest, releasesWhatKeepsTheMachineAwakeAtTheEnd) {
  run();
  FakeClient client = join();
  ASSERT_TRUE(client.pair("123456"));
  client.send(message::SystemCommand{systemCommand::Caffeinate{true}});
  client.send(message::SystemCommand{systemCommand::WakeDisplays{}});
  EXPECT_EQ(platform_.power->held.size(), 3U);
  EXPECT_TRUE(runtime_->system()->isCaffeinated());
  runtime_->stop();
  EXPECT_TRUE(platform_.power->held.empty());
}

TEST_F(HostRuntimeTest, broadcastsTheAccountsOnAConsoleChange) {
  platform_.userDirectory->users = {{501, "anna", "Anna A."}, {502, "bea", ""}};
  run();
  FakeClient client = join();
  ASSERT_TRUE(client.pair("123456"));
  client.received.clear();
  platform_.console->handTo("anna");
  client.settle();
  const auto list = client.last<message::UserList>();
  ASSERT_TRUE(list);
  ASSERT_EQ(list->_0.size(), 2U);
  EXPECT_TRUE(list->_0[0].isActive);
  EXPECT_EQ(list->_0[1].fullName, "bea");
}

TEST_F(HostRuntimeTest, doesNotObserveTheConsoleWithoutHandoff) {
  config_.multiUserPortHandoff = false;
  run();
  FakeClient client = join();
  ASSERT_TRUE(client.pair("123456"));
  client.received.clear();
  platform_.console->handTo("bea");
  client.settle();
  EXPECT_THAT(client.names(), ElementsAre());
  EXPECT_TRUE(runtime_->server()->ownsPublicPort());
}

TEST_F(HostRuntimeTest, broadcastsNothingByItselfWithoutBackgroundServices) {
  config_.enableBackgroundServices = false;
  run();
  FakeClient client = join();
  ASSERT_TRUE(client.pair("123456"));
  client.received.clear();
  simulation_.advance(std::chrono::hours(1));
  client.settle();
  EXPECT_THAT(client.names(), ElementsAre());
}

TEST_F(HostRuntimeTest, handsThePortFromOneUsersHostToTheOthers) {
  FakePlatform otherPlatform(simulation_, "bea", 2, platform_.network->machine(), platform_.console);
  platform_.console->user = "anna";
  run();
  const auto other = HostRuntime::make(config_, otherPlatform.platform());
  ASSERT_TRUE(other->start().has_value());
  simulation_.runReady();
  EXPECT_TRUE(runtime_->server()->ownsPublicPort());
  EXPECT_FALSE(other->server()->ownsPublicPort());
  platform_.console->handTo("bea");
  simulation_.advance(std::chrono::seconds(1));
  EXPECT_FALSE(runtime_->server()->ownsPublicPort());
  EXPECT_TRUE(other->server()->ownsPublicPort());
  other->stop();
}

TEST_F(HostRuntimeTest, givesAgentsThreeSecondsToEndAndReportsTheLastEnd) {
  run();
  FakeClient client = join();
  ASSERT_TRUE(client.pair("123456"));
  for (const char* command : {"quick", "stubborn"})
    client.send(message::AgentCommand{agentCommand::Spawn{
        {.displayName = command, .command = command, .workingDirectory = "~", .env = {}}}});
  ASSERT_EQ(platform_.pseudoTerminals->children.size(), 2U);
  const auto quick = platform_.pseudoTerminals->children[0];
  const auto stubborn = platform_.pseudoTerminals->children[1];
  bool haveEnded = false;
  runtime_->stop([&] { haveEnded = true; });
  simulation_.runReady();
  EXPECT_EQ(quick->terminations, 1);
  EXPECT_EQ(stubborn->terminations, 1);
  quick->exit(0);
  simulation_.advance(std::chrono::milliseconds(2999));
  EXPECT_EQ(stubborn->kills, 0);
  EXPECT_FALSE(haveEnded);
  simulation_.advance(std::chrono::milliseconds(1));
  EXPECT_EQ(quick->kills, 0);
  EXPECT_EQ(stubborn->kills, 1);
  EXPECT_FALSE(haveEnded) << "it has not been reaped yet";
  stubborn->exit(9);
  simulation_.runReady();
  EXPECT_TRUE(haveEnded);
  EXPECT_FALSE(quick->isReleased || stubborn->isReleased);
}

TEST_F(HostRuntimeTest, endsAgentsWithoutBackgroundServicesToo) {
  config_.enableBackgroundServices = false;
  run();
  FakeClient client = join();
  ASSERT_TRUE(client.pair("123456"));
  client.send(message::AgentCommand{
      agentCommand::Spawn{{.displayName = "agent", .command = "agent", .workingDirectory = "~", .env = {}}}});
  ASSERT_EQ(platform_.pseudoTerminals->children.size(), 1U);
  runtime_->stop();
  simulation_.runReady();
  EXPECT_EQ(platform_.pseudoTerminals->children[0]->terminations, 1);
}

TEST_F(HostRuntimeTest, endsAtOnceWithoutAgents) {
  run();
  bool haveEnded = false;
  runtime_->stop([&] { haveEnded = true; });
  simulation_.runReady();
  EXPECT_TRUE(haveEnded);
}

TEST_F(HostRuntimeTest, sendsAdoptedTabsBothSignalsAndWaitsForThem) {
  platform_.processes->rows.push_back(
      {.pid = 50, .tty = "pts/5", .command = "claude", .executablePath = {}, .name = {}, .startTime = 7});
  platform_.processes->startTimes[50] = 7;
  platform_.terminals->terminals["/dev/pts/5"] = TerminalKind::iterm;
  run();
  FakeClient client = join();
  ASSERT_TRUE(client.pair("123456"));
  client.send(message::RequestExternalAgents{});
  const auto external = client.last<message::ExternalAgentList>();
  ASSERT_TRUE(external && external->_0.size() == 1);
  client.send(message::AdoptExternalAgent{external->_0[0].id});
  bool haveEnded = false;
  runtime_->stop([&] { haveEnded = true; });
  simulation_.runReady();
  using Signals = std::vector<std::pair<ProcessSignal, std::int32_t>>;
  EXPECT_EQ(platform_.processes->sent, (Signals{{ProcessSignal::interrupt, 50}}));
  simulation_.advance(std::chrono::milliseconds(2999));
  EXPECT_FALSE(haveEnded);
  simulation_.advance(std::chrono::milliseconds(1));
  EXPECT_EQ(platform_.processes->sent,
            (Signals{{ProcessSignal::interrupt, 50}, {ProcessSignal::terminate, 50}}));
  EXPECT_TRUE(haveEnded) << "what does not end now is the user's";
}

TEST_F(HostRuntimeTest, pushesWhatIsCopiedHereToEveryClient) {
  run();
  FakeClient first = join();
  ASSERT_TRUE(first.pair("123456"));
  FakeClient second = join();
  ASSERT_TRUE(second.pair("123456"));
  platform_.pasteboard->copy({{PasteboardType::text, bytesOf("copied here")}});
  simulation_.advance(std::chrono::seconds(1));
  for (FakeClient* client : {&first, &second}) {
    client->settle();
    const auto pushed = client->last<message::Clipboard>();
    ASSERT_TRUE(pushed);
    EXPECT_EQ(pushed->_0, (ClipboardPayload{clipboardContent::Text{"copied here"}}));
  }
}

TEST_F(HostRuntimeTest, pushesNoClipboardWithoutBackgroundServices) {
  config_.enableBackgroundServices = false;
  run();
  FakeClient client = join();
  ASSERT_TRUE(client.pair("123456"));
  platform_.pasteboard->copy({{PasteboardType::text, bytesOf("copied here")}});
  simulation_.advance(std::chrono::seconds(5));
  client.settle();
  EXPECT_FALSE(client.last<message::Clipboard>());
}

TEST_F(HostRuntimeTest, leavesNothing) {
  run();
  FakeClient client = join();
  ASSERT_TRUE(client.pair("123456"));
  runtime_->stop();
  simulation_.runReady();
  const std::weak_ptr<HostRuntime> weak = runtime_;
  runtime_.reset();
  simulation_.advance(std::chrono::seconds(5));
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(platform_.network->liveConnections(), 0U);
  EXPECT_EQ(platform_.advertiser->live(), 0U);
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
}

}  // namespace
}  // namespace quorl::test
