// SPDX-License-Identifier: GPL-3.0-or-later
// One host hands over to the next, through the form that crosses an execution, in virtual time.
#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <QuorlHostCore/Handover/HandOver.h>
#include <QuorlHostCore/Runtime/HostRuntime.h>
#include <QuorlHostCore/Trust/PairingState.h>
#include <Support/FakeClient.h>
#include <Support/FakePlatform.h>
#include <Support/LogRecorder.h>

namespace quorl::test {
namespace {

class HostHandOverTest : public testing::Test {
 protected:
  void run() {
    runtime_ = HostRuntime::make(config_, platform_.platform());
    start();
  }
  void start() {
    EXPECT_TRUE(runtime_->start().has_value());
    simulation_.runReady();
  }
  /// Ends the host and makes the next one, not started, from the bytes that the first one leaves.
  void handOver() {
    const Bytes bytes = HandOverFormat::encode(runtime_->handOver([this] { whenClientsLeave(); }));
    simulation_.runReady();
    runtime_.reset();
    simulation_.runReady();
    runtime_ = HostRuntime::make(config_, platform_.platform());
    auto received = HandOverFormat::decode(bytes);
    ASSERT_TRUE(received) << received.error();
    runtime_->restore(std::move(*received));
  }
  FakeClient join() {
    FakeClient client(simulation_, platform_.network->connect(config_.port));
    client.settle();
    return client;
  }
  FakeChild& child() { return platform_.pseudoTerminals->last(); }
  static agentCommand::Spawn spawnCommand() {
    return {{.displayName = "Cat", .command = "cat", .workingDirectory = "~", .env = {}}};
  }

  LogRecorder log_;
  SimulatedScheduler simulation_;
  FakePlatform platform_{simulation_};
  HostCoreConfig config_ = HostCoreConfig::menuBar;
  std::shared_ptr<HostRuntime> runtime_;
  std::function<void()> whenClientsLeave = [] {};
};

TEST_F(HostHandOverTest, aPINThatIsShownPairsAfterwards) {
  run();
  const std::string pin = runtime_->pairing()->pin();
  handOver();
  EXPECT_EQ(runtime_->pairing()->pin(), pin);
  start();
  EXPECT_TRUE(join().pair(pin));
}

TEST_F(HostHandOverTest, aFixedPINStays) {
  config_.fixedPIN = "123456";
  run();
  handOver();
  EXPECT_EQ(runtime_->pairing()->pin(), "123456");
}

TEST_F(HostHandOverTest, wrongGuessesCountOnAndALockLasts) {
  run();
  for (int guess = 0; guess < 9; ++guess) runtime_->pairing()->recordFailure();
  handOver();
  EXPECT_FALSE(runtime_->pairing()->isLockedOut());
  runtime_->pairing()->recordFailure();
  EXPECT_TRUE(runtime_->pairing()->isLockedOut());
  simulation_.advance(std::chrono::seconds(30));
  handOver();
  EXPECT_TRUE(runtime_->pairing()->isLockedOut());
  simulation_.advance(std::chrono::seconds(29));
  EXPECT_TRUE(runtime_->pairing()->isLockedOut());
  simulation_.advance(std::chrono::seconds(1));
  EXPECT_FALSE(runtime_->pairing()->isLockedOut());
}

TEST_F(HostHandOverTest, clientsAreDisconnectedBeforeTheAgentsAreGivenUpAndComeBackWithTheirToken) {
  run();
  FakeClient client = join();
  ASSERT_TRUE(client.pair(runtime_->pairing()->pin()));
  client.send(message::AgentCommand{spawnCommand()});
  whenClientsLeave = [&] {
    client.settle();
    EXPECT_TRUE(client.last<message::Bye>());
    EXPECT_FALSE(child().isGivenUp);
  };
  handOver();
  EXPECT_FALSE(child().isReleased) << "the agent would have been killed";
  EXPECT_EQ(child().terminations + child().kills, 0);
  start();
  FakeClient again = join();
  ASSERT_TRUE(again.reconnect(*client.token()));
  again.send(message::RequestAgentList{});
  ASSERT_EQ(again.last<message::AgentList>()->_0.size(), 1u);
  EXPECT_EQ(again.last<message::AgentList>()->_0[0].name, "Cat");
}

TEST_F(HostHandOverTest, theAgentsAreThereBeforeTheHostListens) {
  run();
  FakeClient client = join();
  ASSERT_TRUE(client.pair(runtime_->pairing()->pin()));
  client.send(message::AgentCommand{spawnCommand()});
  handOver();
  EXPECT_FALSE(child().isGivenUp) << "it is read again";
  EXPECT_EQ(platform_.network->connect(config_.port), nullptr);
}

TEST_F(HostHandOverTest, whatAClientTypedLastReachesTheAgent) {
  run();
  FakeClient client = join();
  ASSERT_TRUE(client.pair(runtime_->pairing()->pin()));
  client.send(message::AgentCommand{spawnCommand()});
  client.peer->send(message::RequestAgentList{});
  client.settle();
  const UUID id = client.last<message::AgentList>()->_0.at(0).id;
  client.send(message::AgentCommand{agentCommand::Write{id, bytesOf("last words")}});
  handOver();
  EXPECT_EQ(child().written, "last words");
}

}  // namespace
}  // namespace quorl::test
