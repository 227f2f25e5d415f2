// SPDX-License-Identifier: GPL-3.0-or-later
// What the clients of a whole host receive of its state.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Runtime/HostRuntime.h>
#include <QuorlHostCore/Session/ConnectionServer.h>
#include <Support/FakeClient.h>
#include <Support/FakePlatform.h>
#include <Support/LogRecorder.h>

namespace quorl::test {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;

class HostStateBroadcastTest : public testing::Test {
 protected:
  HostStateBroadcastTest() {
    config_.fixedPIN = "123456";
    platform_.screen->content->windows = {{.windowID = 3,
                                           .pid = 10,
                                           .title = "document",
                                           .bundleID = "org.example.editor",
                                           .appName = "Editor",
                                           .frame = {{0, 0}, {400, 300}},
                                           .isOnScreen = true}};
    platform_.screen->content->applications = {{"org.example.editor", "Editor", 10}};
    platform_.runningApplications->icons["org.example.editor"] = bytesOf("png");
  }

  void run() {
    runtime_ = HostRuntime::make(config_, platform_.platform());
    ASSERT_TRUE(runtime_->start().has_value());
    simulation_.advance(seconds(2));  // the services that look once after the start have done so
  }
  FakeClient knock() {
    FakeClient client(simulation_, platform_.network->connect(config_.port));
    client.settle();
    return client;
  }
  FakeClient join() {
    FakeClient client = knock();
    EXPECT_TRUE(client.pair("123456"));
    client.settle();
    return client;
  }

  /// Nothing else asks for the applications.
  int statesBuilt() const { return platform_.runningApplications->queries; }

  LogRecorder log_;
  SimulatedScheduler simulation_;
  FakePlatform platform_{simulation_};
  HostCoreConfig config_ = HostCoreConfig::menuBar;
  std::shared_ptr<HostRuntime> runtime_;
};

TEST_F(HostStateBroadcastTest, sendsANewClientItsStateAtOnceAndMetricsWithinTwoSeconds) {
  run();
  FakeClient client = join();
  EXPECT_EQ(client.all<message::HostState>().size(), 1U);
  client.received.clear();
  simulation_.advance(seconds(2));
  client.settle();
  EXPECT_EQ(client.all<message::Metrics>().size(), 1U);
}

TEST_F(HostStateBroadcastTest, sendsEveryClientTheStateEvery5SecondsAndMetricsEvery2) {
  run();
  FakeClient first = join();
  FakeClient second = join();
  first.received.clear();
  second.received.clear();
  simulation_.advance(seconds(20));
  for (FakeClient* client : {&first, &second}) {
    client->settle();
    EXPECT_EQ(client->all<message::HostState>().size(), 4U);
    EXPECT_EQ(client->all<message::Metrics>().size(), 10U);
    const auto state = client->last<message::HostState>();
    ASSERT_TRUE(state && !state->_0.apps.empty());
    EXPECT_EQ(state->_0.apps.at(0).iconPNG, bytesOf("png"));
  }
}

TEST_F(HostStateBroadcastTest, doesNoWorkWithoutAClient) {
  run();
  const std::size_t timers = simulation_.pendingTimers();
  simulation_.advance(hours(1));
  EXPECT_EQ(statesBuilt(), 0);
  EXPECT_EQ(platform_.metrics->samples, 0);
  EXPECT_EQ(simulation_.pendingTimers(), timers);
}

TEST_F(HostStateBroadcastTest, doesNoWorkForAClientThatIsNotAuthenticated) {
  run();
  FakeClient stranger = knock();
  simulation_.advance(hours(1));
  EXPECT_EQ(statesBuilt(), 0);
  EXPECT_EQ(platform_.metrics->samples, 0);
  stranger.peer->fail("Connection reset by peer");
  simulation_.runReady();
}

TEST_F(HostStateBroadcastTest, goesOnUntilTheLastClientHasLeft) {
  run();
  const std::size_t idleTimers = simulation_.pendingTimers();
  FakeClient first = join();
  FakeClient second = join();
  first.send(message::Bye{});
  simulation_.advance(seconds(10));
  second.settle();
  EXPECT_GE(second.all<message::HostState>().size(), 2U);
  second.send(message::Bye{});
  simulation_.runReady();
  const auto samples = platform_.metrics->samples;
  const int built = statesBuilt();
  simulation_.advance(hours(1));
  EXPECT_EQ(platform_.metrics->samples, samples);
  EXPECT_EQ(statesBuilt(), built);
  EXPECT_EQ(simulation_.pendingTimers(), idleTimers);
}

TEST_F(HostStateBroadcastTest, startsAgainForTheNextClient) {
  run();
  FakeClient first = join();
  first.peer->fail("Connection reset by peer");
  simulation_.advance(hours(1));
  FakeClient next = join();
  simulation_.advance(seconds(5));
  next.settle();
  EXPECT_EQ(next.all<message::HostState>().size(), 2U);
  EXPECT_EQ(next.all<message::Metrics>().size(), 2U);
}

TEST_F(HostStateBroadcastTest, sendsOnlyTheFirstStateWithoutBackgroundServices) {
  config_.enableBackgroundServices = false;
  run();
  FakeClient client = join();
  simulation_.advance(hours(1));
  client.settle();
  EXPECT_EQ(client.all<message::HostState>().size(), 1U);
  EXPECT_EQ(client.all<message::Metrics>().size(), 0U);
}

TEST_F(HostStateBroadcastTest, keepsOnlyTheNewestStateForAClientThatReadsNothing) {
  run();
  FakeClient slow = join();
  FakeClient other = join();
  slow.received.clear();
  other.received.clear();
  slow.peer->setReading(false);
  // Pictures and other frames fill what the transport takes; state waits after them.
  platform_.screen->content->windows[0].title = std::string(4'000, 't');
  simulation_.advance(hours(2));
  platform_.screen->content->windows[0].title = "newest";
  simulation_.advance(seconds(6));
  other.settle();
  EXPECT_GE(other.all<message::HostState>().size(), 1440U) << "no other client waits for it";
  slow.peer->setReading(true);
  simulation_.runReady();
  slow.settle();
  const auto states = slow.all<message::HostState>();
  EXPECT_LE(states.size(), SendPath::transportShare / 4'000 + 2) << "what the transport took before";
  ASSERT_FALSE(states.empty());
  ASSERT_FALSE(states.back()._0.windows.empty());
  EXPECT_EQ(states.back()._0.windows[0].title, "newest");
}

TEST_F(HostStateBroadcastTest, encodesAStateOnceForAllClients) {
  run();
  FakeClient first = join();
  FakeClient second = join();
  first.peer->setReading(false);
  second.peer->setReading(false);
  simulation_.advance(milliseconds(5'100));  // the state, and metrics twice
  const auto bodies = first.peer->heldBodies();
  EXPECT_EQ(bodies.size(), 3U);
  EXPECT_EQ(bodies, second.peer->heldBodies()) << "the same memory, not the same bytes";
}

TEST_F(HostStateBroadcastTest, buildsFewStatesForAThousandRequestsOfOneClient) {
  run();
  FakeClient client = join();
  const int built = statesBuilt();
  const int samples = platform_.metrics->samples;
  const Bytes request = *ControlCoder::encode(message::RequestHostState{});
  for (int count = 0; count < 1'000; ++count) client.peer->writeFrame(FrameType::control, request);
  simulation_.runReady();
  client.settle();
  EXPECT_LE(statesBuilt() - built, 20);
  EXPECT_GE(statesBuilt() - built, 1);
  EXPECT_LE(platform_.metrics->samples - samples, 20);
}

}  // namespace
}  // namespace quorl::test
