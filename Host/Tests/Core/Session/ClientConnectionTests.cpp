// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlKit/Protocol/MediaPackets.h>
#include <QuorlKit/Protocol/VideoUDP.h>
#include <Support/SessionFixture.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ClientConnectionTest : public SessionFixture {
 protected:
  // A frame with this many bytes on the wire.
  static OutgoingFrame frameOfSize(std::size_t size) {
    return OutgoingFrame::raw(FrameType::terminal, shareBytes(Bytes(size - frameHeaderSize)));
  }
  bool isBackpressured() { return connection_->isBackpressured(); }
};

// Handshake, on the wire

TEST_F(ClientConnectionTest, answersAValidProofInAFirstHelloWithANonceOnly) {
  FakeClient paired = connect();
  ASSERT_TRUE(paired.pair("123456"));
  FakeClient client = connect();
  client.hello(Pairing::tokenProof(*paired.token(), {}));
  const auto ack = client.last<message::HelloAck>();
  ASSERT_TRUE(ack);
  EXPECT_FALSE(ack->_0.authenticated);
  EXPECT_EQ(ack->_0.nonce.size(), 16U);
  EXPECT_EQ(ack->_0.protocolVersion, 4U);
}

TEST_F(ClientConnectionTest, letsAPairedClientBackInByItsProof) {
  FakeClient paired = connect();
  ASSERT_TRUE(paired.pair("123456"));
  FakeClient client = connect();
  EXPECT_TRUE(client.reconnect(*paired.token()));
  EXPECT_EQ(authentications_, 2);
}

TEST_F(ClientConnectionTest, refusesTheFifthHelloAfterAnyDelay) {
  FakeClient client = connect();
  std::set<std::string> nonces;
  for (int count = 0; count < 4; ++count) {
    client.hello();
    nonces.insert(textOf(client.nonce()));
    simulation_.advance(std::chrono::hours(1));
  }
  EXPECT_EQ(nonces.size(), 4U);
  client.hello();
  EXPECT_EQ(client.lastError(), "auth.tooManyAttempts");
  EXPECT_TRUE(client.peer->isClosedByHost());
  EXPECT_EQ(closes_, 1);
}

TEST_F(ClientConnectionTest, failsAProofOverAnEarlierNonce) {
  FakeClient paired = connect();
  ASSERT_TRUE(paired.pair("123456"));
  FakeClient client = connect();
  client.hello();
  const Bytes old = client.nonce();
  client.hello();
  client.hello(Pairing::tokenProof(*paired.token(), old));
  EXPECT_FALSE(client.isAuthenticated());
}

TEST_F(ClientConnectionTest, givesFourPINAttemptsAfterAHello) {
  FakeClient client = connect();
  client.hello();
  const Bytes nonce = client.nonce();
  for (int count = 0; count < 3; ++count) {
    client.requestPairing("000000");
    EXPECT_FALSE(client.peer->isClosedByHost());
    EXPECT_EQ(client.nonce(), nonce);
  }
  client.requestPairing("000000");
  EXPECT_TRUE(client.peer->isClosedByHost());
  EXPECT_EQ(client.all<message::PairResponse>().size(), 4U);
}

TEST_F(ClientConnectionTest, acceptsAnotherPINOnTheSameNonceAfterAWrongOne) {
  FakeClient client = connect();
  client.hello();
  client.requestPairing("000000");
  client.requestPairing("123456");
  EXPECT_TRUE(client.isAuthenticated());
}

TEST_F(ClientConnectionTest, locksPairingAcrossConnectionsAndClosesAFifthOfASecondLater) {
  for (int connections = 0; connections < 3; ++connections) {
    FakeClient guesser = connect();
    guesser.hello();
    for (int guesses = 0; guesses < 4; ++guesses) guesser.requestPairing("000000");
  }
  FakeClient client = connect();
  client.hello();
  client.requestPairing("123456");
  EXPECT_EQ(client.lastError(), "auth.lockout");
  EXPECT_FALSE(client.peer->isClosedByHost());
  simulation_.advance(std::chrono::milliseconds(199));
  EXPECT_FALSE(client.peer->isClosedByHost());
  simulation_.advance(std::chrono::milliseconds(1));
  EXPECT_TRUE(client.peer->isClosedByHost());
  simulation_.advance(std::chrono::seconds(61));
  FakeClient later = connect();
  EXPECT_TRUE(later.pair("123456"));
}

TEST_F(ClientConnectionTest, refusesGuessesBeyondTheLimitEvenIfTheyArriveTogether) {
  std::vector<FakeClient> clients;
  std::vector<std::shared_ptr<ClientConnection>> alive;
  for (int count = 0; count < 20; ++count) {
    clients.push_back(connect());
    alive.push_back(connection_);
    clients.back().hello();
  }
  for (FakeClient& client : clients) client.peer->send(message::PairRequest{{Bytes(32)}});
  simulation_.runReady();
  int looked = 0;
  for (FakeClient& client : clients) {
    client.settle();
    looked += static_cast<int>(client.all<message::PairResponse>().size());
  }
  EXPECT_EQ(looked, 10);
}

TEST_F(ClientConnectionTest, pushesStateAgentsAndServicesOnceAuthenticated) {
  FakeClient client = connect();
  client.hello();
  const Bytes nonce = client.nonce();
  client.received.clear();
  client.send(message::PairRequest{{Pairing::pinProof("123456", nonce)}});
  EXPECT_THAT(client.names(), testing::UnorderedElementsAre("pairResponse", "helloAck", "agentList",
                                                            "serviceList", "hostState"));
  EXPECT_EQ(client.received[0].index(), ControlMessage(message::PairResponse{}).index());
  EXPECT_EQ(client.received[1].index(), ControlMessage(message::HelloAck{}).index());
  const auto state = client.last<message::HostState>();
  ASSERT_TRUE(state);
  ASSERT_EQ(state->_0.displays.size(), 1U);
  EXPECT_EQ(state->_0.displays[0].pixelWidth, 1920);
}

TEST_F(ClientConnectionTest, describesTheHost) {
  platform_.machine->name = "";
  platform_.machine->model = "";
  FakeClient client = connect();
  client.hello();
  const DeviceInfo host = client.last<message::HelloAck>()->_0.device;
  EXPECT_EQ(host.name, "Mac");
  EXPECT_EQ(host.model, "Mac");
  EXPECT_EQ(host.osVersion, "Version 1.0");
  EXPECT_EQ(host.deviceID, services_->trustStore->settings().hostDeviceID);
}

TEST_F(ClientConnectionTest, logsTheWayOfASession) {
  FakeClient client = connect();
  client.pair("123456");
  client.send(message::Bye{});
  EXPECT_TRUE(log_.has(LogLevel::info, "auth", "client authenticated: Tablet (10.0.0.2:50000)"));
  EXPECT_TRUE(log_.has(LogLevel::info, "auth", "paired + connected: Tablet (10.0.0.2:50000)"));
  EXPECT_TRUE(log_.has(LogLevel::info, "auth", "client disconnected: Tablet"));
}

TEST_F(ClientConnectionTest, logsTheTransportVerbosely) {
  Log::verbose = true;
  FakeClient client = connect();
  client.settle();
  client.peer->failSends("Broken pipe");
  client.peer->writeFrame(FrameType::ping, {});
  client.settle();
  FakeClient other = connect();
  other.peer->fail("Connection reset by peer");
  other.settle();
  Log::verbose = false;
  EXPECT_TRUE(log_.has(LogLevel::debug, "server", "connection ready: 10.0.0.2:50000"));
  EXPECT_TRUE(log_.has(LogLevel::debug, "server", "send failed: Broken pipe"));
  EXPECT_TRUE(log_.has(LogLevel::debug, "server", "connection failed: Connection reset by peer"));
}

// Frames

TEST_F(ClientConnectionTest, answersAPingBeforeAuthentication) {
  FakeClient client = connect();
  client.peer->writeFrame(FrameType::ping, bytesOf("abc"));
  simulation_.runReady();
  EXPECT_THAT(client.peer->takeFrames(), ElementsAre(Frame{FrameType::pong, bytesOf("abc")}));
  EXPECT_EQ(connection_->summary().lastProbe, simulation_.date());
}

TEST_F(ClientConnectionTest, answersAnUndecodableMessageInAnyStateAndStaysOpen) {
  FakeClient client = connect();
  client.peer->writeFrame(FrameType::control, bytesOf("{"));
  client.settle();
  EXPECT_EQ(client.last<message::Error>()->_0, (WireError{"proto.badJSON", "undecodable control message"}));
  EXPECT_TRUE(client.pair("123456"));
  client.received.clear();
  client.peer->writeFrame(FrameType::control, bytesOf(R"({"nonsense":{}})"));
  client.settle();
  EXPECT_EQ(client.lastError(), "proto.badJSON");
  EXPECT_FALSE(client.peer->isClosedByHost());
}

TEST_F(ClientConnectionTest, swallowsInputAndFilesBeforeAuthentication) {
  FakeClient client = connect();
  client.input(InputEvent(inputEvent::Key{.keyCode = 0, .down = true, .modifiers = {}}));
  client.peer->writeFrame(FrameType::file, Bytes(24));
  client.peer->writeFrame(FrameType::input, bytesOf("?"));
  client.settle();
  EXPECT_THAT(client.received, IsEmpty());
  EXPECT_TRUE(platform_.events->posted.empty());
  EXPECT_FALSE(client.peer->isClosedByHost());
}

TEST_F(ClientConnectionTest, ignoresFramesThatOnlyAHostSends) {
  FakeClient client = connect();
  for (const FrameType type : {FrameType::pong, FrameType::video, FrameType::audio, FrameType::terminal})
    client.peer->writeFrame(type, bytesOf("x"));
  client.settle();
  EXPECT_THAT(client.received, IsEmpty());
  EXPECT_FALSE(client.peer->isClosedByHost());
}

TEST_F(ClientConnectionTest, closesOnWhatIsNoFrame) {
  FakeClient client = connect();
  client.peer->write(Bytes{0x05, 0, 0, 0, 0});
  client.settle();
  EXPECT_TRUE(client.peer->isClosedByHost());
  EXPECT_TRUE(log_.has(LogLevel::error, "server", "deframe error: unknownType(5)"));
}

TEST_F(ClientConnectionTest, dispatchesAFrameAfterAFatalOneInTheSameReadAndDropsItsAnswers) {
  FakeClient client = connectAuthenticated();
  Bytes both = Frame{FrameType::control, *ControlCoder::encode(message::Bye{})}.encoded();
  const Bytes next = Frame{FrameType::control, *ControlCoder::encode(message::InsertText{"late"})}.encoded();
  const Bytes ping = Frame{FrameType::ping, bytesOf("x")}.encoded();
  both.insert(both.end(), next.begin(), next.end());
  both.insert(both.end(), ping.begin(), ping.end());
  client.peer->write(both);
  client.settle();
  EXPECT_TRUE(client.peer->isClosedByHost());
  EXPECT_FALSE(platform_.events->posted.empty()) << "dispatched";
  EXPECT_THAT(client.received, IsEmpty());
  EXPECT_EQ(client.peer->sendsAfterCancel(), 0U);
}

TEST_F(ClientConnectionTest, startsNoStreamAfterTheEndOfItsSession) {
  FakeClient client = connectAuthenticated();
  Bytes both = Frame{FrameType::control, *ControlCoder::encode(message::Bye{})}.encoded();
  const Bytes next =
      Frame{FrameType::control, *ControlCoder::encode(message::StartStream{streamNumber(1)})}.encoded();
  both.insert(both.end(), next.begin(), next.end());
  client.peer->write(both);
  client.settle();
  EXPECT_TRUE(streams_.empty());
}

// The end

TEST_F(ClientConnectionTest, tearsDownOnceForSeveralReasons) {
  FakeClient client = connectAuthenticated();
  client.peer->failSends("Broken pipe");
  client.peer->writeFrame(FrameType::ping, {});
  client.peer->send(message::Bye{});
  client.peer->finish();
  client.peer->fail("Connection reset by peer");
  connection_->close();
  client.settle();
  EXPECT_EQ(closes_, 1);
  EXPECT_TRUE(client.peer->isClosedByHost());
}

TEST_F(ClientConnectionTest, endsWithEachReasonAlone) {
  const std::vector<std::function<void(FakeClient&)>> reasons{
      [](FakeClient& client) { client.peer->finish(); },
      [](FakeClient& client) { client.peer->fail("reset"); },
      [](FakeClient& client) { client.send(message::Bye{}); },
      [](FakeClient& client) {
        client.peer->failSends("Broken pipe");
        client.peer->writeFrame(FrameType::ping, {});
      },
      [this](FakeClient&) { connection_->close(); },
  };
  for (std::size_t index = 0; index < reasons.size(); ++index) {
    closes_ = 0;
    FakeClient client = connectAuthenticated();
    reasons[index](client);
    client.settle();
    EXPECT_EQ(closes_, 1) << index;
  }
}

TEST_F(ClientConnectionTest, handlesTheLastBytesOfAClientThatHasFinished) {
  FakeClient client = connect();
  client.peer->writeFrame(FrameType::ping, bytesOf("last"));
  client.peer->finish();
  simulation_.runReady();
  EXPECT_THAT(client.peer->takeFrames(), ElementsAre(Frame{FrameType::pong, bytesOf("last")}));
  EXPECT_EQ(closes_, 1);
}

TEST_F(ClientConnectionTest, saysByeWhenTheHostCloses) {
  FakeClient client = connect();
  connection_->close();
  client.settle();
  EXPECT_THAT(client.names(), ElementsAre("bye"));
}

TEST_F(ClientConnectionTest, stopsItsStreamsAtTheEnd) {
  FakeClient client = connectAuthenticated();
  client.send(message::StartStream{streamNumber(1)});
  client.send(message::StartStream{streamNumber(2)});
  client.peer->finish();
  client.settle();
  EXPECT_THAT(streams_[0]->calls, ElementsAre("start", "stop"));
  EXPECT_THAT(streams_[1]->calls, ElementsAre("start", "stop"));
}

TEST_F(ClientConnectionTest, endsWithItsLastReference) {
  FakeClient client = connectAuthenticated();
  client.send(message::StartStream{streamNumber(1)});
  client.peer->finish();
  client.settle();
  const std::weak_ptr<ClientConnection> weak = connection_;
  connection_.reset();
  simulation_.runReady();
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(platform_.network->liveConnections(), 0U);
}

// Sending

TEST_F(ClientConnectionTest, doesNotCountABacklogOfExactlyTheThreshold) {
  FakeClient client = connectAuthenticated();
  client.peer->setReading(false);
  connection_->sendFrame(frameOfSize(ClientConnection::backpressureThreshold), Droppable::no);
  simulation_.runReady();
  EXPECT_FALSE(isBackpressured());
  connection_->sendFrame(frameOfSize(5), Droppable::yes);
  simulation_.runReady();
  EXPECT_TRUE(isBackpressured()) << "a droppable frame passes at the threshold";
  const std::size_t before = connection_->outstandingBytes();
  connection_->sendFrame(frameOfSize(5), Droppable::yes);
  simulation_.runReady();
  EXPECT_EQ(connection_->outstandingBytes(), before) << "beyond it, it is dropped";
  connection_->sendControl(message::Bye{});
  simulation_.runReady();
  EXPECT_GT(connection_->outstandingBytes(), before) << "control is never dropped";
  client.peer->setReading(true);
  simulation_.runReady();
  EXPECT_EQ(connection_->outstandingBytes(), 0U);
  EXPECT_FALSE(isBackpressured());
}

TEST_F(ClientConnectionTest, asksForAKeyFrameOfEachStreamThatLostAPictureOnceTheBacklogIsGone) {
  FakeClient client = connectAuthenticated();
  client.send(message::StartStream{streamNumber(1)});
  client.send(message::StartStream{streamNumber(2)});
  client.settle();
  client.peer->setReading(false);
  connection_->sendFrame(frameOfSize(ClientConnection::backpressureThreshold + 1), Droppable::no);
  for (int count = 0; count < 3; ++count)
    connection_->sendVideo(2, {}, 42, shareBytes(bytesOf("picture")), Droppable::yes);
  connection_->sendVideo(1, VideoPacketFlags::keyframe, 42, shareBytes(bytesOf("key")), Droppable::no);
  simulation_.runReady();
  EXPECT_THAT(streams_[1]->calls, ElementsAre("start")) << "it would only lengthen the backlog";
  client.peer->setReading(true);
  simulation_.runReady();
  EXPECT_THAT(streams_[0]->calls, ElementsAre("start")) << "it has lost nothing";
  EXPECT_THAT(streams_[1]->calls, ElementsAre("start", "keyframe"));
}

TEST_F(ClientConnectionTest, isNotBackpressuredOnceClosedEvenWithOutstandingBytes) {
  FakeClient client = connectAuthenticated();
  client.peer->setReading(false);
  connection_->sendFrame(frameOfSize(ClientConnection::backpressureThreshold + 1), Droppable::no);
  simulation_.runReady();
  ASSERT_TRUE(isBackpressured());
  client.peer->fail("reset");
  client.settle();
  EXPECT_GT(connection_->outstandingBytes(), ClientConnection::backpressureThreshold);
  EXPECT_FALSE(isBackpressured());
}

TEST_F(ClientConnectionTest, keepsTheOrderOfOneCaller) {
  FakeClient client = connectAuthenticated();
  for (int number = 0; number < 50; ++number)
    connection_->sendControl(message::SessionClosed{.reason = std::to_string(number)});
  client.settle();
  const auto closed = client.all<message::SessionClosed>();
  ASSERT_EQ(closed.size(), 50U);
  for (int number = 0; number < 50; ++number) EXPECT_EQ(closed[number].reason, std::to_string(number));
}

TEST_F(ClientConnectionTest, dropsAMessageThatCannotBeEncoded) {
  FakeClient client = connectAuthenticated();
  message::WindowScale endless{.streamID = 1, .scale = std::numeric_limits<double>::infinity()};
  connection_->sendControl(endless);
  connection_->sendControl(message::SessionClosed{.reason = "after"});
  client.settle();
  EXPECT_THAT(client.names(), ElementsAre("sessionClosed"));
}

TEST_F(ClientConnectionTest, stopsReadingFromAPeerThatDoesNotReadItsAnswers) {
  FakeClient client = connectAuthenticated();
  client.peer->setReading(false);
  client.peer->writeFrame(FrameType::ping, Bytes(ClientConnection::backpressureThreshold));
  simulation_.runReady();
  client.peer->writeFrame(FrameType::ping, bytesOf("1"));
  simulation_.runReady();
  EXPECT_EQ(client.peer->unreadBytes(), 6U);
  client.peer->setReading(true);
  simulation_.runReady();
  EXPECT_EQ(client.peer->unreadBytes(), 0U);
}

TEST_F(ClientConnectionTest, boundsWhatAnUnknownPeerCanMakeItKeep) {
  FakeClient client = connect();
  client.peer->setReading(false);
  Bytes pings;
  const Bytes ping = Frame{FrameType::ping, {}}.encoded();
  while (pings.size() < 2U << 20) pings.insert(pings.end(), ping.begin(), ping.end());
  client.peer->write(pings);
  simulation_.runReady();
  EXPECT_GT(client.peer->unreadBytes(), 1U << 20) << "no more than a read's worth of questions is taken";
  client.peer->setReading(true);
  simulation_.runReady();
  EXPECT_EQ(client.peer->unreadBytes(), 0U);
}

TEST_F(ClientConnectionTest, readsAtMostHalfAMebibyteAtATime) {
  FakeClient client = connect();
  client.peer->writeFrame(FrameType::ping, Bytes(2U << 20));
  simulation_.runReady();
  EXPECT_EQ(client.peer->largestReceive(), 524'288U);
}

// Video

TEST_F(ClientConnectionTest, sendsVideoAsFramesWithoutADatagramChannel) {
  FakeClient client = connectAuthenticated();
  connection_->sendVideo(7, VideoPacketFlags::keyframe, 42, shareBytes(bytesOf("picture")), Droppable::no);
  simulation_.runReady();
  const auto frames = client.peer->takeFrames();
  ASSERT_EQ(frames.size(), 1U);
  EXPECT_EQ(frames[0].type, FrameType::video);
  EXPECT_EQ(*VideoPacket::decode(frames[0].payload),
            (VideoPacket{7, VideoPacketFlags::keyframe, 42, bytesOf("picture")}));
}

TEST_F(ClientConnectionTest, sendsTheCodecConfigurationOverTCPWhileDatagramsCarryThePictures) {
  FakeClient client = connectAuthenticated();
  client.send(message::VideoTransport{.udpPort = 6000});
  connection_->sendVideo(7, VideoPacketFlags::codecConfig, 0, shareBytes(bytesOf("record")), Droppable::no);
  connection_->sendVideo(7, {}, 42, shareBytes(Bytes(1101, 9)), Droppable::no);
  connection_->sendVideo(7, {}, 43, shareBytes(bytesOf("p")), Droppable::yes);
  simulation_.runReady();
  const auto frames = client.peer->takeFrames();
  ASSERT_EQ(frames.size(), 1U);
  EXPECT_EQ(VideoPacket::decode(frames[0].payload)->data, bytesOf("record"));
  const auto& datagrams = *platform_.network->datagrams;
  ASSERT_EQ(datagrams.size(), 3U);
  EXPECT_EQ(datagrams[0].peer, (HostPort{"10.0.0.2", 6000}));
  const auto first = VideoUDP::parse(datagrams[0].bytes);
  const auto third = VideoUDP::parse(datagrams[2].bytes);
  ASSERT_TRUE(first && third);
  EXPECT_EQ(first->frameID, 1U);
  EXPECT_EQ(first->count, 2U);
  EXPECT_EQ(third->frameID, 2U);
  EXPECT_EQ(connection_->outstandingBytes(), 0U);
}

TEST_F(ClientConnectionTest, countsDatagramFramesOnThroughAChangeOfTransport) {
  FakeClient client = connectAuthenticated();
  client.send(message::VideoTransport{.udpPort = 6000});
  connection_->sendVideo(7, {}, 1, shareBytes(bytesOf("a")), Droppable::yes);
  client.send(message::VideoTransport{.udpPort = 0});
  connection_->sendVideo(7, {}, 2, shareBytes(bytesOf("b")), Droppable::yes);
  client.send(message::VideoTransport{.udpPort = 6001});
  connection_->sendVideo(7, {}, 3, shareBytes(bytesOf("c")), Droppable::yes);
  client.settle();
  const auto& datagrams = *platform_.network->datagrams;
  ASSERT_EQ(datagrams.size(), 2U);
  EXPECT_EQ(VideoUDP::parse(datagrams[1].bytes)->frameID, 2U);
  EXPECT_EQ(datagrams[1].peer.port, 6001);
}

TEST_F(ClientConnectionTest, sendsDroppableDatagramsBesideABackloggedTCPConnection) {
  FakeClient client = connectAuthenticated();
  client.send(message::VideoTransport{.udpPort = 6000});
  client.peer->setReading(false);
  connection_->sendFrame(frameOfSize(ClientConnection::backpressureThreshold + 1), Droppable::no);
  simulation_.runReady();
  ASSERT_TRUE(isBackpressured());
  connection_->sendVideo(7, {}, 1, shareBytes(bytesOf("a")), Droppable::yes);
  simulation_.runReady();
  EXPECT_EQ(platform_.network->datagrams->size(), 1U);
}

TEST_F(ClientConnectionTest, dropsEverythingOnceClosed) {
  FakeClient client = connectAuthenticated();
  client.send(message::VideoTransport{.udpPort = 6000});
  client.peer->finish();
  client.settle();
  connection_->sendVideo(7, {}, 1, shareBytes(bytesOf("a")), Droppable::no);
  connection_->sendControl(message::Bye{});
  connection_->sendFrame(frameOfSize(10), Droppable::no);
  simulation_.runReady();
  EXPECT_TRUE(platform_.network->datagrams->empty());
  EXPECT_EQ(client.peer->sendsAfterCancel(), 0U);
}

// Descriptions

TEST_F(ClientConnectionTest, describesItselfFromTheKnownParts) {
  FakeClient client = connect();
  EXPECT_EQ(connection_->displayDescription(), "10.0.0.2");
  EXPECT_EQ(connection_->summary(),
            (ClientSummary{"connecting…", "10.0.0.2", Date{1'700'000'000}, std::nullopt}));
  client.hello();
  EXPECT_EQ(connection_->displayDescription(), "Tablet (10.0.0.2)");
  FakeClient nowhere = connect(std::nullopt);
  EXPECT_EQ(connection_->displayDescription(), "connecting…");
  nowhere.hello();
  EXPECT_EQ(connection_->displayDescription(), "Tablet");
}

TEST(PrintedEndpoint, putsBracketsAroundIPv6) {
  EXPECT_EQ(printed(HostPort{"::1", 5}), "[::1]:5");
  EXPECT_EQ(printed(HostPort{"10.0.0.2", 5}), "10.0.0.2:5");
  EXPECT_EQ(printed(std::nullopt), "unknown");
}

}  // namespace
}  // namespace quorl::test
