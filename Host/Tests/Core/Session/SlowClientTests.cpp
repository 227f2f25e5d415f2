// SPDX-License-Identifier: GPL-3.0-or-later
// A client with a slow link, or one that reads nothing: it costs bounded memory and does not affect others.
#include <gtest/gtest.h>

#include <QuorlKit/Protocol/VideoUDP.h>
#include <Support/SessionFixture.h>

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class SlowClientTest : public SessionFixture {
 protected:
  static OutgoingFrame frameOfSize(std::size_t size) {
    return OutgoingFrame::raw(FrameType::terminal, shareBytes(Bytes(size - frameHeaderSize)));
  }
  void sendState(const ControlMessage& message) {
    connection_->sendState(*OutgoingFrame::control(message), stateKeyOf(message));
  }
  static message::HostState hostState(std::uint32_t number) {
    HostState state;
    state.displays.push_back({.id = number, .name = std::string(2'000, 'n')});
    return message::HostState{std::move(state)};
  }
  std::optional<PictureBudget> admit() {
    return connection_->admitPicture(
        {.streamID = 1, .wantedRate = 1'000'000, .whenOpen = [this] { ++opened_; }});
  }
  void sendPicture(std::size_t size) {
    connection_->sendVideo(1, {}, 0, shareBytes(Bytes(size)), Droppable::yes);
  }

  int opened_ = 0;
};

TEST_F(SlowClientTest, isHeardWhateverPicturesAndTerminalsWaitForIt) {
  FakeClient client = connectAuthenticated();
  client.peer->setReading(false);
  connection_->sendFrame(frameOfSize(ClientConnection::backpressureThreshold + 1), Droppable::no);
  sendState(hostState(1));
  simulation_.runReady();
  for (int count = 0; count < 10; ++count) {
    client.peer->writeFrame(FrameType::ping, bytesOf("1"));
    simulation_.runReady();
  }
  EXPECT_EQ(client.peer->unreadBytes(), 0U);
  client.peer->send(message::StopStream{.streamID = 1});
  client.peer->send(message::Bye{});
  simulation_.runReady();
  EXPECT_EQ(closes_, 1);
}

TEST_F(SlowClientTest, keepsTheNewestOfEachStateOnly) {
  FakeClient client = connectAuthenticated();
  client.peer->setReading(false);
  connection_->sendFrame(frameOfSize(SendPath::transportShare), Droppable::no);
  simulation_.runReady();
  const std::size_t before = connection_->outstandingBytes();
  for (std::uint32_t number = 1; number <= 10'000; ++number) {
    sendState(hostState(number));
    sendState(message::ServiceList{});
    simulation_.runReady();
  }
  EXPECT_LE(connection_->outstandingBytes() - before, 5'000U);
  client.peer->setReading(true);
  simulation_.runReady();
  client.settle();
  const auto states = client.all<message::HostState>();
  ASSERT_EQ(states.size(), 1U);
  EXPECT_EQ(states[0]._0.displays[0].id, 10'000U);
  EXPECT_EQ(client.all<message::ServiceList>().size(), 1U);
}

TEST_F(SlowClientTest, losesNoMessageThatCounts) {
  FakeClient client = connectAuthenticated();
  client.peer->setReading(false);
  connection_->sendFrame(frameOfSize(SendPath::transportShare), Droppable::no);
  for (std::uint32_t number = 0; number < 500; ++number)
    connection_->sendControl(message::FitState{.streamID = number, .fitted = true});
  simulation_.runReady();
  client.peer->setReading(true);
  simulation_.runReady();
  client.settle();
  const auto states = client.all<message::FitState>();
  ASSERT_EQ(states.size(), 500U);
  for (std::uint32_t number = 0; number < 500; ++number) EXPECT_EQ(states[number].streamID, number);
}

TEST_F(SlowClientTest, answersAFloodOfQuestionsOnce) {
  FakeClient client = connectAuthenticated();
  client.peer->setReading(false);
  const std::size_t queries = platform_.screen->contentQueries();
  const Bytes question = *ControlCoder::encode(message::RequestHostState{});
  for (int count = 0; count < 40'000; ++count) client.peer->writeFrame(FrameType::control, question);
  platform_.screen->holdsContentAnswers = true;
  simulation_.runReady();
  EXPECT_EQ(client.peer->unreadBytes(), 0U);
  EXPECT_EQ(platform_.screen->contentQueries() - queries, 1U);
  platform_.screen->holdsContentAnswers = false;
  platform_.screen->releaseContentAnswers();
  simulation_.runReady();
  EXPECT_EQ(platform_.screen->contentQueries() - queries, 2U)
      << "what came later is answered with newer state";
  EXPECT_LE(connection_->outstandingBytes(), 10'000U);
  client.peer->setReading(true);
  simulation_.runReady();
  client.settle();
  EXPECT_EQ(client.all<message::HostState>().size(), 2U);
}

TEST_F(SlowClientTest, answersEachQuestionOfOneWhoWaits) {
  FakeClient client = connectAuthenticated();
  for (int count = 0; count < 5; ++count) {
    client.peer->send(message::RequestHostState{});
    simulation_.runReady();
  }
  client.settle();
  EXPECT_EQ(client.all<message::HostState>().size(), 5U);
}

TEST_F(SlowClientTest, makesNoPictureBeforeTheLastOneHasArrived) {
  FakeClient client = connectAuthenticated();
  ASSERT_TRUE(admit());
  client.peer->setAcknowledging(false);
  sendPicture(100'000);
  simulation_.runReady();
  EXPECT_FALSE(admit());
  simulation_.advance(seconds(10));
  EXPECT_EQ(opened_, 0);
  client.peer->setAcknowledging(true);
  simulation_.advance(seconds(1));
  EXPECT_EQ(opened_, 1) << "told once";
  EXPECT_TRUE(admit());
}

TEST_F(SlowClientTest, costsNextToNoLooksAtTheTransportWhileNothingArrives) {
  FakeClient client = connectAuthenticated();
  client.peer->setAcknowledging(false);
  sendPicture(100'000);
  EXPECT_FALSE(admit());
  simulation_.advance(seconds(60));
  std::size_t steps = 0;
  simulation_.afterEachStep([&] { ++steps; });
  simulation_.advance(seconds(10));
  simulation_.afterEachStep(nullptr);
  EXPECT_LE(steps, 100U);
}

TEST_F(SlowClientTest, wakesNoStreamAfterItsEnd) {
  FakeClient client = connectAuthenticated();
  client.peer->setAcknowledging(false);
  sendPicture(100'000);
  EXPECT_FALSE(admit());
  client.peer->fail("Connection reset by peer");
  simulation_.advance(seconds(10));
  EXPECT_EQ(opened_, 0);
  EXPECT_FALSE(admit());
}

TEST_F(SlowClientTest, countsNoPictureThatWasDropped) {
  FakeClient client = connectAuthenticated();
  client.peer->setReading(false);
  connection_->sendFrame(frameOfSize(ClientConnection::backpressureThreshold + 1), Droppable::no);
  for (int count = 0; count < 10; ++count) sendPicture(1'000'000);
  simulation_.runReady();
  client.peer->setReading(true);
  simulation_.advance(seconds(5));
  EXPECT_TRUE(admit()) << "what was dropped is not under way";
}

TEST_F(SlowClientTest, isSentDatagramsAtTheRateOfItsStream) {
  FakeClient client = connectAuthenticated();
  client.peer->send(message::VideoTransport{.udpPort = 6'000});
  simulation_.runReady();
  ASSERT_TRUE(admit());  // 1 MB/s, paced at 1.5
  sendPicture(300'000);
  simulation_.runReady();
  const auto& datagrams = *platform_.network->datagrams;
  EXPECT_LE(datagrams.size() * VideoUDP::maxChunk, 20'000U) << "a small burst at once";
  EXPECT_FALSE(admit()) << "more than 33 ms wait";
  simulation_.advance(milliseconds(100));
  EXPECT_NEAR(static_cast<double>(datagrams.size() * VideoUDP::maxChunk), 166'000, 10'000);
  simulation_.advance(milliseconds(100));
  EXPECT_EQ(datagrams.size(), (300'000U + VideoUDP::maxChunk - 1) / VideoUDP::maxChunk);
  EXPECT_EQ(opened_, 1);
  EXPECT_TRUE(admit());
}

TEST_F(SlowClientTest, isSentDatagramsFromTheAddressOfItsSession) {
  FakeClient client = connectAuthenticated();
  client.peer->send(message::VideoTransport{.udpPort = 6'000});
  simulation_.runReady();
  sendPicture(100);
  simulation_.runReady();
  ASSERT_EQ(platform_.network->datagrams->size(), 1U);
  EXPECT_EQ(platform_.network->datagrams->front().localHost, "10.0.0.1");
}

// The frames that wait

OutgoingFrame someFrame() {
  return OutgoingFrame::raw(FrameType::control, shareBytes(Bytes(10)));
}

TEST(HeldFrames, putNewerStateAfterWhatCameBetween) {
  HeldFrames held;
  const StateKey list{.messageCase = 1};
  held.push({OutgoingFrame::raw(FrameType::control, shareBytes(Bytes(1))), Purpose::other}, list);
  held.push({OutgoingFrame::raw(FrameType::control, shareBytes(Bytes(2))), Purpose::other}, std::nullopt);
  const auto removed =
      held.push({OutgoingFrame::raw(FrameType::control, shareBytes(Bytes(3))), Purpose::other}, list);
  ASSERT_EQ(removed.size(), 1U);
  EXPECT_EQ(removed.front().frame.body().size(), 1U);
  EXPECT_EQ(held.pop()->frame.body().size(), 2U);
  EXPECT_EQ(held.pop()->frame.body().size(), 3U);
  EXPECT_FALSE(held.pop());
}

TEST(HeldFrames, keepEventsOfDifferentAgentsApart) {
  HeldFrames held;
  for (std::uint8_t agent = 0; agent < 10; ++agent) {
    UUID id;
    id.bytes[0] = agent;
    const auto key = stateKeyOf(message::AgentEvent{agentEvent::Removed{id}});
    ASSERT_TRUE(key);
    EXPECT_TRUE(held.push({someFrame(), Purpose::other}, key).empty());
    EXPECT_EQ(held.push({someFrame(), Purpose::other}, key).size(), 1U);
  }
  EXPECT_FALSE(held.takeLostAgentEvents());
}

TEST(HeldFrames, giveTooManyEventsUpForAList) {
  HeldFrames held;
  std::size_t removed = 0;
  for (std::size_t agent = 0; agent <= HeldFrames::mostAgentEvents; ++agent) {
    UUID id;
    id.bytes[0] = static_cast<std::uint8_t>(agent);
    id.bytes[1] = static_cast<std::uint8_t>(agent >> 8);
    removed +=
        held.push({someFrame(), Purpose::other}, stateKeyOf(message::AgentEvent{agentEvent::Removed{id}}))
            .size();
  }
  EXPECT_EQ(removed, HeldFrames::mostAgentEvents);
  EXPECT_TRUE(held.takeLostAgentEvents());
  EXPECT_FALSE(held.takeLostAgentEvents());
}

}  // namespace
}  // namespace quorl::test
