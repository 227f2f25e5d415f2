// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Session/Handshake.h>
#include <quorl-client/Video/Decoder.h>
#include <quorl-client/Video/VideoReceiver.h>

#include <gtest/gtest.h>

#include "../Support/FakeHost.h"

namespace quorl::client {
namespace {

using test::FakeHost;
using test::HostBehaviour;
using test::SampleVideo;

const DeviceInfo device{"Test client", "Model", "1.0", *UUID::parse("00000000-0000-4000-8000-000000000001")};
const StreamConfig config{8192, 60, VideoCodec::h264, 0.8, true};

Deadline soon() {
  return within(std::chrono::seconds(10));
}

// Every picture needs several datagrams.
const SampleVideo& sample() {
  static const SampleVideo video = SampleVideo::encode(VideoCodec::h264, "testsrc2=size=640x480:rate=30", 12);
  return video;
}

class VideoReceiverTest : public testing::Test {
 protected:
  void connect(HostBehaviour behaviour) {
    host_ = std::make_unique<FakeHost>(std::move(behaviour));
    const auto paired = host_->pairedHost();
    auto session = Session::connect(paired.endpoint(), waiter_, soon());
    ASSERT_TRUE(session);
    session_ = std::move(*session);
    const auto greeting = greet(*session_, device, soon());
    ASSERT_TRUE(greeting && proveToken(*session_, device, paired.token, *greeting, soon()));
  }
  void start(VideoTransport transport) {
    auto receiver = VideoReceiver::start(*session_, streamTarget::Unified{}, config, transport);
    ASSERT_TRUE(receiver);
    receiver_ = std::move(*receiver);
  }
  // The next `count` pictures.
  std::vector<EncodedPicture> pictures(std::size_t count) {
    std::vector<EncodedPicture> result;
    while (result.size() < count) {
      auto event = receiver_->next(soon());
      if (!event || !*event) {
        ADD_FAILURE() << (event ? "time-out" : event.error().what);
        break;
      }
      if (auto* picture = std::get_if<EncodedPicture>(&**event)) result.push_back(std::move(*picture));
    }
    return result;
  }

  Waiter waiter_;
  std::unique_ptr<FakeHost> host_;
  std::unique_ptr<Session> session_;
  std::unique_ptr<VideoReceiver> receiver_;
};

TEST_F(VideoReceiverTest, returnsSizeConfigurationAndPicturesInOrder) {
  connect({.video = &sample()});
  start(VideoTransport::tcp);
  auto event = receiver_->next(soon());
  ASSERT_TRUE(event && *event);
  const auto* started = std::get_if<StreamStarted>(&**event);
  ASSERT_NE(started, nullptr);
  EXPECT_EQ(*started, (StreamStarted{1, 640, 480, {{0, 0}, {320, 240}}}));
  event = receiver_->next(soon());
  ASSERT_TRUE(event && *event);
  const auto* decoderConfig = std::get_if<DecoderConfig>(&**event);
  ASSERT_NE(decoderConfig, nullptr);
  EXPECT_EQ(decoderConfig->codec, VideoCodec::h264);
  EXPECT_EQ(decoderConfig->record, sample().config);
  const auto received = pictures(sample().pictures.size());
  for (std::size_t index = 0; index < received.size(); ++index) {
    EXPECT_TRUE(received[index].data == sample().pictures[index].data) << index;
    EXPECT_EQ(received[index].ptsMicros, sample().pictures[index].ptsMicros);
    EXPECT_EQ(received[index].isKeyframe, index == 0);
  }
}

TEST_F(VideoReceiverTest, receivesTheSamePicturesAsDatagrams) {
  connect({.video = &sample()});
  start(VideoTransport::udp);
  const auto received = pictures(sample().pictures.size());
  for (std::size_t index = 0; index < received.size(); ++index)
    EXPECT_TRUE(received[index].data == sample().pictures[index].data) << index;
  EXPECT_EQ(receiver_->keyframeRequests(), 0U);
  const auto transports = host_->messagesOf<message::VideoTransport>();
  ASSERT_EQ(transports.size(), 1U);
  EXPECT_GT(transports[0].udpPort, 0);
}

TEST_F(VideoReceiverTest, requestsAKeyframeAfterALostDatagramAndContinuesFromIt) {
  connect({.video = &sample(), .losesDatagram = [](std::uint32_t frameID, std::uint16_t index) {
             return frameID == 4 && index == 1;
           }});
  start(VideoTransport::udp);
  const auto received = pictures(8);
  ASSERT_EQ(received.size(), 8U);
  for (std::size_t index = 0; index < 3; ++index)
    EXPECT_TRUE(received[index].data == sample().pictures[index].data) << index;
  // No picture that builds on the lost one was delivered.
  EXPECT_TRUE(received[3].isKeyframe);
  EXPECT_TRUE(received[3].data == sample().pictures[0].data);
  EXPECT_GE(host_->keyframeRequests(), 1U);
  EXPECT_GE(receiver_->lostFrames(), 1U);
}

TEST_F(VideoReceiverTest, decodesAfterLossesWithoutASingleBrokenPicture) {
  connect({.video = &sample(), .losesDatagram = [](std::uint32_t frameID, std::uint16_t index) {
             return frameID % 5 == 3 && index == frameID % 2;
           }});
  start(VideoTransport::udp);
  Decoder decoder;
  std::size_t decoded = 0;
  while (decoded < 25) {
    const auto event = receiver_->next(soon());
    ASSERT_TRUE(event && *event);
    if (const auto* configuration = std::get_if<DecoderConfig>(&**event)) {
      ASSERT_TRUE(decoder.configure(configuration->record));
    }
    if (const auto* picture = std::get_if<EncodedPicture>(&**event))
      decoded += decoder.decode(picture->data, picture->ptsMicros).size();
  }
  EXPECT_EQ(decoder.failedUnits(), 0U);
  EXPECT_GE(host_->keyframeRequests(), 2U);
}

TEST_F(VideoReceiverTest, failsWithTheErrorOfTheHost) {
  connect({.streamError = WireError{"stream.target", "stream 1: window 9 not found"}});
  start(VideoTransport::tcp);
  const auto event = receiver_->next(soon());
  ASSERT_FALSE(event);
  EXPECT_NE(event.error().what.find("window 9 not found"), std::string::npos);
  EXPECT_NE(event.error().advice.find("info"), std::string::npos);
}

TEST_F(VideoReceiverTest, passesOtherMessagesOn) {
  connect({.video = &sample()});
  start(VideoTransport::tcp);
  std::vector<std::uint32_t> echoes;
  receiver_->onControl = [&](const ControlMessage& message) {
    if (const auto* reply = std::get_if<message::EchoReply>(&message)) echoes.push_back(reply->_0.seq);
  };
  ASSERT_TRUE(session_->send(ControlMessage(message::EchoRequest{{42, 0, {}}})));
  const auto deadline = soon();
  while (echoes.empty() && Clock::now() < deadline) ASSERT_TRUE(receiver_->next(deadline));
  EXPECT_EQ(echoes, std::vector<std::uint32_t>{42});
}

TEST_F(VideoReceiverTest, returnsNothingAtTheDeadline) {
  connect({});
  start(VideoTransport::udp);
  const auto started = receiver_->next(soon());
  ASSERT_TRUE(started && *started);
  const auto nothing = receiver_->next(within(std::chrono::milliseconds(50)));
  ASSERT_TRUE(nothing);
  EXPECT_FALSE(*nothing);
}

TEST_F(VideoReceiverTest, limitsRequestsForKeyframesOfABrokenDecoder) {
  connect({});
  start(VideoTransport::tcp);
  ASSERT_TRUE(receiver_->requestKeyframe());
  ASSERT_TRUE(receiver_->requestKeyframe());
  EXPECT_EQ(receiver_->keyframeRequests(), 1U);
}

}  // namespace
}  // namespace quorl::client
