// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Session/ConnectionServer.h>
#include <QuorlHostCore/Session/PortDecision.h>
#include <Support/SessionFixture.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint16_t port = 47900;

TEST(PortDecision, givesThePortToTheUserAtTheConsole) {
  struct Row {
    bool handoff;
    bool hasListener;
    std::optional<std::string> console;
    PortDecision decision;
  };
  const std::vector<Row> rows{
      {false, false, std::nullopt, PortDecision::bind}, {false, true, "bea", PortDecision::leave},
      {true, false, "anna", PortDecision::bind},        {true, true, "anna", PortDecision::leave},
      {true, false, "bea", PortDecision::leave},        {true, true, "bea", PortDecision::release},
      {true, false, std::nullopt, PortDecision::leave}, {true, true, std::nullopt, PortDecision::release},
  };
  for (std::size_t index = 0; index < rows.size(); ++index) {
    const Row& row = rows[index];
    EXPECT_EQ(decidePort({row.handoff, row.hasListener, row.console, "anna"}), row.decision) << index;
  }
}

class ConnectionServerTest : public SessionFixture {
 protected:
  ConnectionServer& serve(bool portHandoff) {
    server_ = std::make_shared<ConnectionServer>(
        services_, ConnectionServer::Configuration{port, true, portHandoff}, services_->users);
    server_->onReady([this](std::uint16_t bound) { ready_.push_back(bound); });
    server_->onOwnershipChanged([this](bool owns) { ownership_.push_back(owns); });
    server_->onClientsChanged([this] { ++clientChanges_; });
    EXPECT_TRUE(server_->start().has_value());
    simulation_.runReady();
    return *server_;
  }
  FakeClient join(HostPort from = {"10.0.0.2", 50'000}, std::string name = "Tablet") {
    FakeClient client(simulation_, platform_.network->connect(port, std::move(from)), std::move(name));
    client.settle();
    return client;
  }
  std::vector<ClientSummary> summaries() {
    std::vector<ClientSummary> taken;
    server_->clientSummaries([&](std::vector<ClientSummary> given) { taken = std::move(given); });
    simulation_.runReady();
    return taken;
  }
  void handConsoleTo(std::optional<std::string> user) {
    platform_.console->handTo(std::move(user));
    server_->consoleUserChanged();
    simulation_.runReady();
  }

  std::shared_ptr<ConnectionServer> server_;
  std::vector<std::uint16_t> ready_;
  std::vector<bool> ownership_;
  int clientChanges_ = 0;
};

TEST_F(ConnectionServerTest, listensAndAdvertisesWithoutHandoff) {
  serve(false);
  EXPECT_THAT(ready_, ElementsAre(port));
  EXPECT_THAT(ownership_, ElementsAre(true));
  EXPECT_THAT(platform_.advertiser->history(),
              ElementsAre(FakeAdvertiser::Record{"Workbench", "_quorl._tcp", port}));
  EXPECT_TRUE(server_->ownsPublicPort());
  EXPECT_TRUE(log_.has(LogLevel::info, "server", "listening on :47900"));
}

TEST_F(ConnectionServerTest, advertisesANamelessMachineAsMac) {
  platform_.machine->name = "";
  serve(false);
  EXPECT_EQ(platform_.advertiser->history().at(0).name, "Mac");
}

TEST_F(ConnectionServerTest, reportsToTheCallerThatNoListenerCanBeMadeWithoutHandoff) {
  platform_.network->failsCreation = true;
  server_ = std::make_shared<ConnectionServer>(services_, ConnectionServer::Configuration{port, true, false},
                                               services_->users);
  const auto started = server_->start();
  ASSERT_FALSE(started.has_value());
  EXPECT_EQ(started.error().description, "Too many open files");
  simulation_.advance(std::chrono::seconds(10));
  EXPECT_EQ(platform_.network->listenAttempts(), 1U) << "no retry";
}

TEST_F(ConnectionServerTest, retriesForEverWithHandoffWhenNoListenerCanBeMade) {
  Log::verbose = true;
  platform_.network->failsCreation = true;
  serve(true);
  simulation_.advance(std::chrono::milliseconds(7500));
  Log::verbose = false;
  EXPECT_EQ(platform_.network->listenAttempts(), 11U);
  EXPECT_TRUE(log_.has(LogLevel::debug, "server", "bind :47900 busy, retrying: Too many open files"));
  platform_.network->failsCreation = false;
  simulation_.advance(std::chrono::milliseconds(750));
  EXPECT_THAT(ready_, ElementsAre(port));
}

TEST_F(ConnectionServerTest, standsByWhileAnotherUserOwnsTheConsole) {
  platform_.console->user = "bea";
  serve(true);
  EXPECT_EQ(platform_.network->listenAttempts(), 0U);
  EXPECT_EQ(platform_.advertiser->live(), 0U);
  EXPECT_FALSE(server_->ownsPublicPort());
  EXPECT_THAT(ownership_, IsEmpty());
  EXPECT_EQ(server_->currentConsoleUser(), "bea");
}

TEST_F(ConnectionServerTest, treatsALoginWindowAsAnotherUser) {
  platform_.console->user = "loginwindow";
  serve(true);
  EXPECT_FALSE(server_->ownsPublicPort());
  EXPECT_EQ(server_->currentConsoleUser(), std::nullopt);
}

TEST_F(ConnectionServerTest, waitsForAnOldProcessToLetGoOfThePort) {
  platform_.console->user = "bea";
  serve(true);
  FakeNetwork other(simulation_, platform_.network->machine());
  auto old = other.listen(port, SerialQueue(simulation_, "old", QueueRank::server),
                          {.connection = [](auto) {}, .state = [](const auto&) {}});
  handConsoleTo("anna");
  EXPECT_FALSE(server_->ownsPublicPort());
  EXPECT_TRUE(log_.has(LogLevel::error, "server", "listener failed: Address already in use"));
  simulation_.advance(std::chrono::milliseconds(749));
  EXPECT_EQ(platform_.network->listenAttempts(), 1U);
  old->reset();
  simulation_.advance(std::chrono::milliseconds(1));
  EXPECT_EQ(platform_.network->listenAttempts(), 2U);
  EXPECT_THAT(ready_, ElementsAre(port));
  EXPECT_THAT(ownership_, ElementsAre(true));
}

TEST_F(ConnectionServerTest, callsBackOnceIfReadyIsReportedTwice) {
  serve(false);
  platform_.network->repeatReady(port);
  simulation_.runReady();
  EXPECT_THAT(ready_, ElementsAre(port));
  EXPECT_THAT(ownership_, ElementsAre(true));
  EXPECT_EQ(platform_.advertiser->history().size(), 1U);
}

TEST_F(ConnectionServerTest, releasesThePortAndItsClientsAlsoThoseInTheHandshake) {
  serve(true);
  FakeClient proved = join();
  ASSERT_TRUE(proved.pair("123456"));
  FakeClient shaking = join({"10.0.0.3", 50'000});
  shaking.hello();
  handConsoleTo("bea");
  proved.settle();
  shaking.settle();
  EXPECT_TRUE(proved.last<message::Bye>().has_value());
  EXPECT_TRUE(shaking.last<message::Bye>().has_value());
  EXPECT_TRUE(proved.peer->isClosedByHost());
  EXPECT_TRUE(shaking.peer->isClosedByHost());
  EXPECT_FALSE(server_->ownsPublicPort());
  EXPECT_EQ(platform_.advertiser->live(), 0U);
  EXPECT_THAT(ownership_, ElementsAre(true, false));
  EXPECT_TRUE(log_.has(LogLevel::info, "server", "released public port :47900 — not the console session"));
  EXPECT_EQ(server_->clientRegister().connections, 0U);
  EXPECT_EQ(platform_.network->connect(port), nullptr);
  handConsoleTo("anna");
  EXPECT_THAT(ownership_, ElementsAre(true, false, true));
}

TEST_F(ConnectionServerTest, releasesAClientThatComesRightBeforeTheConsoleLeaves) {
  serve(true);
  FakeClient client(simulation_, platform_.network->connect(port));
  handConsoleTo("bea");
  client.settle();
  EXPECT_TRUE(client.peer->isClosedByHost());
  EXPECT_EQ(server_->clientRegister().connections, 0U);
}

TEST_F(ConnectionServerTest, stopsRetryingWhenTheConsoleLeaves) {
  platform_.network->failsCreation = true;
  serve(true);
  handConsoleTo("bea");
  const std::size_t attempts = platform_.network->listenAttempts();
  simulation_.advance(std::chrono::seconds(10));
  EXPECT_LE(platform_.network->listenAttempts(), attempts);
}

TEST_F(ConnectionServerTest, rebindsAfterAFailureWithHandoffAndSaysNothingOfOwnershipUntilItIsBack) {
  serve(true);
  FakeClient client = join();
  ASSERT_TRUE(client.pair("123456"));
  platform_.network->failListener(port, "network down");
  simulation_.runReady();
  EXPECT_FALSE(server_->ownsPublicPort());
  EXPECT_THAT(ownership_, ElementsAre(true));
  simulation_.advance(std::chrono::milliseconds(750));
  EXPECT_TRUE(server_->ownsPublicPort());
  EXPECT_THAT(ownership_, ElementsAre(true, true));
  EXPECT_FALSE(client.peer->isClosedByHost()) << "clients outlive their listener";
}

TEST_F(ConnectionServerTest, keepsRunningWithoutAListenerAfterAFailureWithoutHandoff) {
  serve(false);
  FakeClient client = join();
  ASSERT_TRUE(client.pair("123456"));
  platform_.network->failListener(port, "network down");
  simulation_.advance(std::chrono::seconds(10));
  EXPECT_EQ(platform_.network->listenAttempts(), 1U);
  EXPECT_THAT(ownership_, ElementsAre(true));
  client.send(message::EchoRequest{});
  EXPECT_TRUE(client.last<message::EchoReply>().has_value());
}

TEST_F(ConnectionServerTest, doesNothingOnAConsoleChangeWithoutHandoff) {
  serve(false);
  handConsoleTo("bea");
  EXPECT_TRUE(server_->ownsPublicPort());
  EXPECT_THAT(ownership_, ElementsAre(true));
}

TEST_F(ConnectionServerTest, logsAClientAndReportsEveryChange) {
  serve(false);
  FakeClient client = join();
  EXPECT_TRUE(log_.has(LogLevel::info, "server", "TCP client connected: 10.0.0.2:50000"));
  EXPECT_EQ(clientChanges_, 1);
  ASSERT_TRUE(client.pair("123456"));
  EXPECT_EQ(clientChanges_, 2);
  client.send(message::Bye{});
  EXPECT_EQ(clientChanges_, 3);
  EXPECT_EQ(server_->clientRegister().connections, 0U);
  EXPECT_EQ(platform_.network->liveConnections(), 0U);
}

TEST_F(ConnectionServerTest, listsAuthenticatedClientsOnlyTheOldestFirst) {
  serve(false);
  FakeClient first = join({"10.0.0.9", 1}, "Zebra");
  first.pair("123456");
  simulation_.advance(std::chrono::seconds(1));
  FakeClient second = join({"10.0.0.1", 1}, "Ant");
  second.pair("123456");
  FakeClient shaking = join({"10.0.0.3", 1}, "Shaking");
  shaking.hello();
  const auto list = summaries();
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].name, "Zebra");
  EXPECT_EQ(list[1].name, "Ant");
  std::vector<std::string> described;
  server_->clientDescriptions([&](std::vector<std::string> given) { described = std::move(given); });
  simulation_.runReady();
  EXPECT_THAT(described, ElementsAre("Ant (10.0.0.1)", "Zebra (10.0.0.9)"));
}

TEST_F(ConnectionServerTest, broadcastsToAuthenticatedClientsOnly) {
  serve(false);
  FakeClient first = join();
  first.pair("123456");
  FakeClient second = join({"10.0.0.3", 1});
  second.pair("123456");
  FakeClient shaking = join({"10.0.0.4", 1});
  shaking.hello();
  server_->broadcastControl(message::SessionClosed{.reason = "Disconnected from the Mac."});
  for (FakeClient* client : {&first, &second, &shaking}) client->settle();
  EXPECT_EQ(first.last<message::SessionClosed>()->reason, "Disconnected from the Mac.");
  EXPECT_TRUE(second.last<message::SessionClosed>().has_value());
  EXPECT_FALSE(shaking.last<message::SessionClosed>().has_value());
  EXPECT_FALSE(first.peer->isClosedByHost());
}

TEST_F(ConnectionServerTest, doesNothingOnABroadcastWithoutAuthenticatedClients) {
  serve(false);
  FakeClient shaking = join();
  server_->broadcastControl(message::Bye{});
  shaking.settle();
  EXPECT_THAT(shaking.received, IsEmpty());
}

TEST_F(ConnectionServerTest, keepsAClientThatIgnoresARevocationUntilItReconnects) {
  serve(false);
  FakeClient client = join();
  ASSERT_TRUE(client.pair("123456"));
  server_->broadcastControl(message::SessionClosed{.reason = "Pairings were revoked on the Mac."});
  services_->trustStore->revokeAll();
  client.send(message::EchoRequest{});
  EXPECT_TRUE(client.last<message::EchoReply>().has_value());
  FakeClient again = join();
  EXPECT_FALSE(again.reconnect(*client.token()));
}

TEST_F(ConnectionServerTest, saysByeToEveryClientWhenItStopsAndReturnsAtOnce) {
  serve(false);
  FakeClient first = join();
  first.pair("123456");
  FakeClient shaking = join({"10.0.0.3", 1});
  server_->stop();
  EXPECT_FALSE(first.peer->isClosedByHost());
  EXPECT_EQ(platform_.network->connect(port), nullptr);
  server_->waitForClosing();
  first.settle();
  shaking.settle();
  EXPECT_TRUE(first.last<message::Bye>().has_value());
  EXPECT_TRUE(shaking.last<message::Bye>().has_value());
  EXPECT_THAT(ownership_, ElementsAre(true)) << "stopping fires no callback";
}

TEST_F(ConnectionServerTest, bindsNoMoreOnceStopped) {
  platform_.console->user = "bea";
  serve(true);
  server_->stop();
  handConsoleTo("anna");
  EXPECT_EQ(platform_.network->listenAttempts(), 0U);
  EXPECT_EQ(platform_.advertiser->live(), 0U);
  EXPECT_THAT(ownership_, IsEmpty());
}

TEST_F(ConnectionServerTest, keepsItsRegisterConsistentIfAClientAuthenticatesAfterItsEnd) {
  serve(false);
  FakeClient client = join();
  client.hello();
  Bytes both = Frame{FrameType::control, *ControlCoder::encode(message::Bye{})}.encoded();
  const auto proof = message::PairRequest{{Pairing::pinProof("123456", client.nonce())}};
  const Bytes next = Frame{FrameType::control, *ControlCoder::encode(proof)}.encoded();
  both.insert(both.end(), next.begin(), next.end());
  client.peer->write(both);
  client.settle();
  EXPECT_TRUE(server_->clientRegister().isConsistent);
  EXPECT_EQ(server_->clientRegister().authenticated, 0U);
}

}  // namespace
}  // namespace quorl::test
