// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Sound/AudioStreamer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Sound/AudioSpecificConfig.h>
#include <Support/FakeScreenCapture.h>
#include <Support/FakeSound.h>
#include <Support/LogRecorder.h>
#include <Support/RecordingSink.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using Acknowledge = AudioStreamer::Acknowledge;

class AudioStreamerTest : public ::testing::Test {
 protected:
  AudioStreamerTest() {
    screen->content = oneDisplay({1920, 1080});
    streamer = std::make_shared<AudioStreamer>(scheduler, screen, sound, compressors);
  }

  std::shared_ptr<RecordingSink> subscribed() {
    auto sink = std::make_shared<RecordingSink>();
    streamer->subscribe(sink);
    settle();
    return sink;
  }
  void settle() { scheduler.advance(std::chrono::milliseconds(1)); }
  void play(int buffers = 1, PCMFormat format = {}) {
    for (int count = 0; count < buffers; ++count) sound->play({format, Bytes(8'192, 1)});
    settle();
  }
  static std::vector<AudioPacket> packetsOf(const RecordingSink& sink) {
    std::vector<AudioPacket> packets;
    for (const auto& frame : sink.frames) {
      EXPECT_EQ(frame.type(), FrameType::audio);
      Bytes payload(frame.prefix().begin() + frameHeaderSize, frame.prefix().end());
      payload.insert(payload.end(), frame.body().begin(), frame.body().end());
      packets.push_back(AudioPacket::decode(payload).value());
    }
    return packets;
  }

  SimulatedScheduler scheduler;
  LogRecorder log;
  std::shared_ptr<FakeScreenCapture> screen = std::make_shared<FakeScreenCapture>(scheduler);
  std::shared_ptr<FakeSoundCapture> sound = std::make_shared<FakeSoundCapture>();
  std::shared_ptr<FakeSoundCompressors> compressors = std::make_shared<FakeSoundCompressors>();
  std::shared_ptr<AudioStreamer> streamer;
};

TEST_F(AudioStreamerTest, oneCaptureServesTwoSubscribers) {
  const auto first = subscribed();
  const auto second = subscribed();
  EXPECT_EQ(sound->streams.size(), 1U);
  play();
  for (const auto& sink : {first, second}) {
    ASSERT_EQ(sink->controls.size(), 2U);
    EXPECT_EQ(sink->controls[0], ControlMessage(message::AudioControl{.enabled = true}));
    EXPECT_TRUE(std::holds_alternative<message::AudioConfig>(sink->controls[1]));
    EXPECT_THAT(sink->order, ElementsAre('c', 'c', 'f')) << "the configuration comes before the first packet";
    EXPECT_EQ(packetsOf(*sink)[0].data, bytesOf("aac"));
  }
  EXPECT_EQ(first->frames[0].sharedBody(), second->frames[0].sharedBody()) << "encoded once";
  EXPECT_TRUE(log.has(LogLevel::info, "audio", "audio capture started"));
}

TEST_F(AudioStreamerTest, aLaterSubscriberGetsTheConfigurationBeforeItsFirstPacket) {
  const auto first = subscribed();
  play(3);
  const auto second = subscribed();
  play();
  EXPECT_THAT(second->order, ElementsAre('c', 'c', 'f'));
  EXPECT_EQ(first->messages<message::AudioConfig>().size(), 1U);
}

TEST_F(AudioStreamerTest, theLastUnsubscriptionEndsTheCapture) {
  const auto first = subscribed();
  const auto second = subscribed();
  streamer->unsubscribe(first, Acknowledge::yes);
  settle();
  EXPECT_EQ(first->controls.back(), ControlMessage(message::AudioControl{.enabled = false}));
  EXPECT_EQ(sound->running(), 1U);
  streamer->unsubscribe(second, Acknowledge::no);
  settle();
  EXPECT_EQ(sound->running(), 0U);
  EXPECT_EQ(second->controls.size(), 1U);
  EXPECT_TRUE(log.has(LogLevel::info, "audio", "audio capture stopped"));
}

TEST_F(AudioStreamerTest, anUnsubscriptionOfAStrangerSendsNothing) {
  const auto subscriber = subscribed();
  const auto stranger = std::make_shared<RecordingSink>();
  streamer->unsubscribe(stranger, Acknowledge::yes);
  settle();
  EXPECT_TRUE(stranger->controls.empty());
  EXPECT_EQ(sound->running(), 1U);
}

TEST_F(AudioStreamerTest, aSinkReleasedWithoutUnsubscriptionIsGoneAtTheNextIdleCheck) {
  auto lost = subscribed();
  lost.reset();
  EXPECT_EQ(sound->running(), 1U);
  streamer->unsubscribe(std::make_shared<RecordingSink>(), Acknowledge::no);
  settle();
  EXPECT_EQ(sound->running(), 0U);
}

TEST_F(AudioStreamerTest, timeStampsCountSamples) {
  const auto sink = subscribed();
  play(48);
  const auto packets = packetsOf(*sink);
  ASSERT_EQ(packets.size(), 48U);
  EXPECT_EQ(packets[0].ptsMicros, 0U);
  EXPECT_EQ(packets[1].ptsMicros, 21'333U);
  EXPECT_EQ(packets[47].ptsMicros, 1'002'666U);
}

// Time stamps count encoded samples, so sound that is not encoded or not sent would come too early after it.
TEST_F(AudioStreamerTest, silenceIsSentSoThatTimeStampsGoOn) {
  const auto sink = subscribed();
  play();
  for (int count = 0; count < 100; ++count) sound->play({{}, Bytes(8'192)});
  settle();
  play();
  const auto packets = packetsOf(*sink);
  ASSERT_EQ(packets.size(), 102U);
  EXPECT_EQ(packets.back().ptsMicros, 2'154'666U);
}

TEST_F(AudioStreamerTest, aChangeOfFormatBeginsAgainWithTheConfiguration) {
  const auto first = subscribed();
  const auto second = subscribed();
  play(2);
  play(1, {.sampleRate = 44'100, .channels = 1, .samples = SampleType::int16});
  for (const auto& sink : {first, second}) {
    EXPECT_EQ(sink->messages<message::AudioConfig>().size(), 2U);
    EXPECT_EQ(packetsOf(*sink).back().ptsMicros, 0U);
  }
  EXPECT_EQ(compressors->inputs.size(), 2U);
}

TEST_F(AudioStreamerTest, asksForAACAt160Kilobits) {
  const auto sink = subscribed();
  play();
  EXPECT_EQ(compressors->lastOutput.sampleRate, 48'000);
  EXPECT_EQ(compressors->lastOutput.channels, 2);
  EXPECT_EQ(compressors->lastOutput.bitRate, 160'000);
}

TEST_F(AudioStreamerTest, theCompressorsConfigurationGoesOutElseOneMadeFromItsFormat) {
  compressors->configuration = bytesOf("cookie");
  const auto first = subscribed();
  play();
  EXPECT_EQ(first->messages<message::AudioConfig>()[0]._0,
            (AudioConfig{.sampleRate = 48'000, .channels = 2, .magicCookie = bytesOf("cookie")}));
  compressors->configuration.clear();
  compressors->sampleRate = 0;
  compressors->channels = 0;
  play(1, {.channels = 6});
  EXPECT_EQ(first->messages<message::AudioConfig>()[1]._0,
            (AudioConfig{.sampleRate = 48'000, .channels = 2, .magicCookie = {0x11, 0x90}}));
}

TEST_F(AudioStreamerTest, packetsAreCutByTheirDescriptions) {
  const auto sink = subscribed();
  compressors->results.push_back(FakeSoundCompressors::packets({bytesOf("one"), bytesOf("three")}));
  play();
  const auto packets = packetsOf(*sink);
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(packets[0].data, bytesOf("one"));
  EXPECT_EQ(packets[1].data, bytesOf("three"));
}

TEST_F(AudioStreamerTest, onePacketNeedsNoDescriptionAndSeveralDo) {
  const auto sink = subscribed();
  compressors->results.push_back(CompressedSound{.data = bytesOf("whole"), .packetCount = 1, .packets = {}});
  compressors->results.push_back(CompressedSound{.data = bytesOf("both"), .packetCount = 2, .packets = {}});
  compressors->results.push_back(CompressedSound{});
  play(3);
  ASSERT_EQ(packetsOf(*sink).size(), 1U);
  EXPECT_EQ(packetsOf(*sink)[0].data, bytesOf("whole"));
  EXPECT_TRUE(log.has(LogLevel::error, "audio", "dropping 2 AAC frames lacking packet descriptions"));
}

TEST_F(AudioStreamerTest, aFailedConversionDropsItsBufferAlone) {
  const auto sink = subscribed();
  compressors->results.push_back(std::unexpected(PortError{"bad samples", 0}));
  play(2);
  EXPECT_EQ(sink->frames.size(), 1U);
  EXPECT_TRUE(log.has(LogLevel::error, "audio", "AAC convert error: bad samples"));
}

TEST_F(AudioStreamerTest, withoutACompressorNothingIsHeard) {
  compressors->makeError = PortError{"none", 0};
  const auto sink = subscribed();
  play();
  EXPECT_TRUE(sink->frames.empty());
  EXPECT_TRUE(log.has(LogLevel::error, "audio", "AAC converter unavailable"));
}

TEST_F(AudioStreamerTest, withoutADisplayALaterSubscriptionTriesAgain) {
  screen->content = ShareableContent{};
  const auto first = subscribed();
  EXPECT_EQ(first->controls.size(), 1U) << "acknowledged all the same";
  EXPECT_TRUE(log.has(LogLevel::error, "audio", "audio capture unavailable: no display"));
  screen->content = std::unexpected(PortError{"asleep", 0});
  subscribed();
  EXPECT_TRUE(log.has(LogLevel::error, "audio", "audio capture unavailable: asleep"));
  screen->content = oneDisplay({800, 600});
  const auto third = subscribed();
  play();
  EXPECT_EQ(first->frames.size(), 1U);
  EXPECT_EQ(third->frames.size(), 1U);
}

TEST_F(AudioStreamerTest, aFailedStartLeavesRoomForAnother) {
  sound->startError = PortError{"refused", 0};
  const auto first = subscribed();
  EXPECT_TRUE(log.has(LogLevel::error, "audio", "audio start failed: refused"));
  sound->startError.reset();
  const auto second = subscribed();
  EXPECT_EQ(sound->running(), 1U);
}

TEST_F(AudioStreamerTest, subscriptionsDuringTheLookUpShareOneCapture) {
  screen->holdsContentAnswers = true;
  const auto first = subscribed();
  const auto second = subscribed();
  EXPECT_EQ(second->controls, std::vector{ControlMessage(message::AudioControl{.enabled = true})});
  EXPECT_TRUE(sound->streams.empty());
  screen->releaseContentAnswers();
  settle();
  EXPECT_EQ(sound->streams.size(), 1U);
  play();
  for (const auto& sink : {first, second}) EXPECT_THAT(sink->order, ElementsAre('c', 'c', 'f'));
}

TEST_F(AudioStreamerTest, subscriptionsDuringTheStartShareOneCapture) {
  sound->holdsAnswers = true;
  const auto first = subscribed();
  const auto second = subscribed();
  EXPECT_EQ(sound->streams.size(), 1U);
}

TEST_F(AudioStreamerTest, aLateErrorOfAnEarlierStartEndsNoLaterCapture) {
  sound->holdsAnswers = true;
  const auto first = subscribed();
  streamer->unsubscribe(first, Acknowledge::yes);
  const auto second = subscribed();
  ASSERT_EQ(sound->streams.size(), 2U);
  sound->streams[0]->answer(PortError{"too late", 0});
  settle();
  EXPECT_TRUE(log.has(LogLevel::error, "audio", "audio start failed: too late"));
  EXPECT_EQ(sound->running(), 1U);
  play();
  EXPECT_EQ(second->frames.size(), 1U);
  sound->streams[1]->answer(PortError{"refused", 0});
  settle();
  EXPECT_EQ(sound->running(), 0U) << "its own error ends it";
}

TEST_F(AudioStreamerTest, aSinkAtTheAddressOfAnEarlierOneGetsTheConfiguration) {
  const auto other = subscribed();
  std::optional<RecordingSink> place;
  const auto make = [&place] {
    return std::shared_ptr<RecordingSink>(&place.emplace(), [&place](RecordingSink*) { place.reset(); });
  };
  auto sink = make();
  streamer->subscribe(sink);
  settle();
  play();
  ASSERT_EQ(sink->messages<message::AudioConfig>().size(), 1U);
  sink.reset();
  sink = make();
  streamer->subscribe(sink);
  settle();
  play();
  EXPECT_THAT(sink->order, ElementsAre('c', 'c', 'f'));
  EXPECT_EQ(other->messages<message::AudioConfig>().size(), 1U);
}

TEST_F(AudioStreamerTest, aCaptureThatCannotBeSetUpIsLogged) {
  sound->makeError = PortError{"no server", 0};
  const auto sink = subscribed();
  EXPECT_TRUE(log.has(LogLevel::error, "audio", "audio output attach failed: no server"));
}

TEST_F(AudioStreamerTest, endsACaptureThatStillRunsOnItsQueue) {
  const auto sink = subscribed();
  ASSERT_EQ(sound->running(), 1U);
  streamer.reset();
  EXPECT_TRUE(sound->streams.back()->released);
  EXPECT_TRUE(sound->streams.back()->releasedOnQueue);
}

TEST_F(AudioStreamerTest, aSubscriberThatLeavesDuringTheLookUpStartsNothing) {
  screen->holdsContentAnswers = true;
  const auto sink = subscribed();
  streamer->unsubscribe(sink, Acknowledge::yes);
  settle();
  screen->releaseContentAnswers();
  settle();
  EXPECT_TRUE(sound->streams.empty());
}

TEST(AudioSpecificConfig, holdsTheRatesIndexAndTheChannels) {
  EXPECT_EQ(audioSpecificConfig(48'000, 2), (Bytes{0x11, 0x90}));
  EXPECT_EQ(audioSpecificConfig(44'100, 1), (Bytes{0x12, 0x08}));
  EXPECT_EQ(audioSpecificConfig(7'350, 2), (Bytes{0x16, 0x10}));
  EXPECT_EQ(audioSpecificConfig(12'345, 2), (Bytes{0x11, 0x90})) << "an unknown rate counts as 48000";
}

}  // namespace
}  // namespace quorl::test
