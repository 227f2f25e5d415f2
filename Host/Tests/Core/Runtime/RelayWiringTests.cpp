// SPDX-License-Identifier: GPL-3.0-or-later
// When the relay listens, and what it allows.
#include <gtest/gtest.h>

#include <QuorlHostCore/Relay/HTTPRelay.h>
#include <QuorlHostCore/Runtime/HostRuntime.h>
#include <QuorlHostCore/Session/ConnectionServer.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <Support/FakeClient.h>
#include <Support/FakePlatform.h>
#include <Support/LogRecorder.h>

namespace quorl::test {
namespace {

class RelayWiringTest : public testing::Test {
 protected:
  RelayWiringTest() { config_.fixedPIN = "123456"; }

  void run() {
    runtime_ = HostRuntime::make(config_, platform_.platform());
    EXPECT_TRUE(runtime_->start());
    simulation_.runReady();
  }
  bool relayListens() const { return platform_.network->machine()->isTaken(HTTPRelay::port); }
  void giveConsoleTo(const std::string& user) {
    platform_.console->user = user;
    runtime_->server()->consoleUserChanged();
    simulation_.runReady();
  }
  std::string ask(const std::string& target) {
    const auto peer = platform_.network->connect(HTTPRelay::port);
    const std::string token = runtime_->trustStore()->trustedDevices().front().tokenBase64;
    peer->write(viewOf("GET " + target + " HTTP/1.1\r\nx-quorl-token: " + token + "\r\n\r\n"));
    simulation_.runReady();
    return textOf(peer->takeBytes()).substr(0, 12);
  }

  LogRecorder log_;
  SimulatedScheduler simulation_;
  FakePlatform platform_{simulation_};
  HostCoreConfig config_ = HostCoreConfig::menuBar;
  std::shared_ptr<HostRuntime> runtime_;
};

TEST_F(RelayWiringTest, withoutHandoffItListensFromTheStartToTheStop) {
  config_.multiUserPortHandoff = false;
  run();
  EXPECT_TRUE(relayListens());
  runtime_->stop();
  EXPECT_FALSE(relayListens());
}

TEST_F(RelayWiringTest, withHandoffItListensOnlyWhileTheSessionPortIsOwned) {
  platform_.console->user = "other";
  run();
  EXPECT_FALSE(relayListens());
  EXPECT_TRUE(log_.has(LogLevel::info, "app", "quorl-host core up — port 47900, relay 47901"));
  giveConsoleTo(platform_.user);
  EXPECT_TRUE(relayListens());
  giveConsoleTo("other");
  EXPECT_FALSE(relayListens());
  giveConsoleTo(platform_.user);
  EXPECT_TRUE(relayListens());
  runtime_->stop();
  EXPECT_FALSE(relayListens());
}

TEST_F(RelayWiringTest, theRelayStaysWhenTheSessionListenerFailsAndReturns) {
  run();
  platform_.network->failListener(config_.port, "broken");
  simulation_.runReady();
  EXPECT_TRUE(relayListens());
  simulation_.advance(std::chrono::seconds(1));
  EXPECT_TRUE(relayListens());
  EXPECT_EQ(log_.count("relay listener failed: Address already in use"), 0U);
}

TEST_F(RelayWiringTest, disabledItListensNeitherWithNorWithoutHandoff) {
  config_.enableRelay = false;
  run();
  EXPECT_TRUE(platform_.network->machine()->isTaken(config_.port));
  EXPECT_FALSE(relayListens());
  EXPECT_TRUE(log_.has(LogLevel::info, "app", "quorl-host core up — port 47900, relay off"));
  runtime_->stop();
  config_.multiUserPortHandoff = false;
  run();
  EXPECT_FALSE(relayListens());
}

TEST_F(RelayWiringTest, allowsThePortsOfCustomServices) {
  run();
  FakeClient client(simulation_, platform_.network->connect(config_.port));
  ASSERT_TRUE(client.pair("123456"));
  EXPECT_EQ(ask("/p/3000/"), "HTTP/1.1 403");
  client.send(message::AddCustomService{CustomService{.id = UUID{}, .name = "web", .port = 3000}});
  platform_.network->setAnswer({"127.0.0.1", 3000}, FakeAnswer::accepts);
  EXPECT_EQ(ask("/p/3000/"), "");
  ASSERT_EQ(platform_.network->opened.size(), 1U);
  EXPECT_EQ(platform_.network->opened.front().address, (HostPort{"127.0.0.1", 3000}));
}

}  // namespace
}  // namespace quorl::test
