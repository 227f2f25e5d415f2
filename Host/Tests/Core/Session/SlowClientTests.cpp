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

  void playPacket(std::uint64_t number) {
    connection_->sendFrame(OutgoingFrame::audio({.ptsMicros = number, .data = shareBytes(Bytes(400))}),
                           Droppable::yes);
  }
  // The numbers of the packets of sound that have arrived, and 0 for each other frame.
  static std::vector<std::uint64_t> arrived(const FakeClient& client) {
    std::vector<std::uint64_t> numbers;
    for (const Frame& frame : client.peer->takeFrames())
      numbers.push_back(frame.type == FrameType::audio ? AudioPacket::decode(frame.payload).value().ptsMicros
                                                       : 0);
    return numbers;
  }
  static constexpr std::size_t mostSound = SendPath::transportSoundPackets + HeldFrames::mostSoundPackets;

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

TEST_F(SlowClientTest, hearsTheNewestHalfSecondOfSound) {
  FakeClient client = connectAuthenticated();
  client.peer->setReading(false);
  const std::size_t before = connection_->outstandingBytes();
  for (std::uint64_t number = 1; number <= 28'125; ++number) playPacket(number);  // ten minutes
  simulation_.runReady();
  EXPECT_LE(connection_->outstandingBytes() - before, mostSound * 500);
  client.peer->setReading(true);
  simulation_.runReady();
  const auto numbers = arrived(client);
  ASSERT_EQ(numbers.size(), mostSound);
  EXPECT_LE(mostSound * 1'024 * 1'000 / 48'000, 520U) << "milliseconds";
  EXPECT_EQ(numbers.back(), 28'125U);
  EXPECT_EQ(numbers[SendPath::transportSoundPackets], 28'126 - HeldFrames::mostSoundPackets);
  EXPECT_TRUE(std::ranges::is_sorted(numbers));
  EXPECT_EQ(connection_->outstandingBytes(), 0U);
}

TEST_F(SlowClientTest, losesNothingElseToSound) {
  FakeClient client = connectAuthenticated();
  client.peer->setReading(false);
  std::uint64_t number = 0;
  const auto playSecond = [&] {
    for (int count = 0; count < 47; ++count) playPacket(++number);
  };
  playSecond();
  connection_->sendControl(message::AudioConfig{});
  playSecond();
  connection_->sendFrame(frameOfSize(1'000), Droppable::no);
  sendPicture(1'000);
  playSecond();
  simulation_.runReady();
  client.peer->setReading(true);
  simulation_.runReady();
  const auto numbers = arrived(client);
  EXPECT_EQ(std::ranges::count(numbers, 0U), 3);
  EXPECT_EQ(numbers.size(), mostSound + 3);
  EXPECT_EQ(numbers.back(), number);
}

TEST_F(SlowClientTest, getsAllSoundOnceItKeepsUp) {
  FakeClient client = connectAuthenticated();
  client.peer->setReading(false);
  for (std::uint64_t number = 1; number <= 100; ++number) playPacket(number);
  simulation_.runReady();
  client.peer->setReading(true);
  simulation_.runReady();
  client.peer->takeFrames();
  for (std::uint64_t number = 101; number <= 300; ++number) {
    playPacket(number);
    simulation_.runReady();
  }
  const auto numbers = arrived(client);
  ASSERT_EQ(numbers.size(), 200U);
  EXPECT_EQ(numbers.front(), 101U);
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

TEST_F(SlowClientTest, getsEachAttentionOfAnAgent) {
  FakeClient client = connectAuthenticated();
  client.peer->setReading(false);
  connection_->sendFrame(frameOfSize(SendPath::transportShare), Droppable::no);
  const UUID agent{{1}};
  for (const char* body : {"May I delete it?", "finished"}) {
    const ControlMessage message = message::AgentEvent{agentEvent::Attention{agent, "Agent", body}};
    connection_->sendState(*OutgoingFrame::control(message), stateKeyOf(message));
  }
  simulation_.runReady();
  client.peer->setReading(true);
  simulation_.runReady();
  client.settle();
  EXPECT_EQ(client.all<message::AgentEvent>().size(), 2U);
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

TEST(HeldFrames, keepTheNewestPacketsOfSoundInOrder) {
  HeldFrames held;
  const auto packet = [](std::size_t size) {
    return HeldFrames::Held{OutgoingFrame::audio({.ptsMicros = 0, .data = shareBytes(Bytes(size))}),
                            Purpose::other};
  };
  held.push({someFrame(), Purpose::other}, std::nullopt);
  for (std::size_t size = 1; size <= HeldFrames::mostSoundPackets; ++size)
    EXPECT_TRUE(held.push(packet(size), std::nullopt).empty());
  const auto removed = held.push(packet(100), std::nullopt);
  ASSERT_EQ(removed.size(), 1U);
  EXPECT_EQ(removed.front().frame.body().size(), 1U) << "the oldest";
  EXPECT_EQ(held.front()->type(), FrameType::control);
  held.pop();
  for (std::size_t size = 2; size <= HeldFrames::mostSoundPackets; ++size) {
    EXPECT_EQ(held.pop()->frame.body().size(), size);
    EXPECT_TRUE(held.push(packet(1), std::nullopt).empty()) << "popped packets leave room";
  }
  EXPECT_EQ(held.pop()->frame.body().size(), 100U);
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
