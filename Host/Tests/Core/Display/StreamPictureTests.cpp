// SPDX-License-Identifier: GPL-3.0-or-later
#include "StreamSessionFixture.h"

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class StreamPictureTest : public StreamSessionFixture {};

TEST_F(StreamPictureTest, sendsTheConfigurationAndThenThePictures) {
  start();
  screen_->deliverPicture(1, milliseconds(100));
  scheduler_.runReady();
  screen_->deliverPicture(2, milliseconds(116));
  scheduler_.runReady();
  ASSERT_EQ(sink_->videos.size(), 3U);
  const auto& config = sink_->videos[0];
  EXPECT_EQ(config.streamID, 7U);
  EXPECT_EQ(config.flags, VideoPacketFlags::codecConfig);
  EXPECT_EQ(config.ptsMicros, 0U);
  EXPECT_EQ(config.droppable, Droppable::no);
  EXPECT_EQ(textOf(*config.data), "avcC");
  const auto& key = sink_->videos[1];
  EXPECT_EQ(key.flags, VideoPacketFlags::keyframe);
  EXPECT_EQ(key.ptsMicros, 100'000U);
  EXPECT_EQ(key.droppable, Droppable::no);
  const auto& other = sink_->videos[2];
  EXPECT_EQ(other.flags, VideoPacketFlags{});
  EXPECT_EQ(other.ptsMicros, 116'000U);
  EXPECT_EQ(other.droppable, Droppable::yes);
}

TEST_F(StreamPictureTest, ignoresPicturesThatAreNotComplete) {
  start();
  for (const FrameStatus status : {FrameStatus::idle, FrameStatus::blank, FrameStatus::suspended}) {
    CapturedPicture picture;
    picture.image = std::make_shared<FakePicture>(PixelSize{1920, 1080});
    picture.status = status;
    screen_->deliver(picture);
  }
  screen_->deliver(CapturedPicture{});
  scheduler_.runReady();
  EXPECT_TRUE(compressors_->lastSession().requests.empty());
}

TEST_F(StreamPictureTest, passesTheChangedPartsToTheEncoder) {
  start();
  screen_->deliverPicture(1, milliseconds(1), {{8, 8, 16, 16}});
  scheduler_.runReady();
  EXPECT_EQ(compressors_->lastSession().requests.at(0).changed, (std::vector<PixelRect>{{8, 8, 16, 16}}));
}

TEST_F(StreamPictureTest, makesARequestedKeyFrameOfAStillScreen) {
  start();
  screen_->deliverPicture(1, milliseconds(1));
  scheduler_.advance(seconds(3));
  session_->requestKeyframe();
  scheduler_.advance(milliseconds(17));
  ASSERT_EQ(sink_->videos.size(), 3U);
  EXPECT_EQ(sink_->videos[2].flags, VideoPacketFlags::keyframe);
}

TEST_F(StreamPictureTest, sharpensACoarsePictureWhenTheScreenIsQuiet) {
  compressors_->quantizer = [](const CompressionRequest&, std::size_t index) {
    return index == 0 ? 40.0F : 22.0F;
  };
  start();
  screen_->deliverPicture(1, milliseconds(1));
  scheduler_.advance(milliseconds(100));
  EXPECT_EQ(sink_->videos.size(), 3U);
  scheduler_.advance(seconds(100));
  EXPECT_EQ(sink_->videos.size(), 3U);
}

TEST_F(StreamPictureTest, appliesANewQualityWithoutARestart) {
  start();
  StreamConfig config = request_.config;
  config.quality = 1.0;
  session_->update(config);
  scheduler_.runReady();
  EXPECT_EQ(screen_->streams().size(), 1U);
  EXPECT_EQ(screen_->runningStreams(), 1U);
  EXPECT_EQ(started().size(), 1U);
  EXPECT_EQ(compressors_->lastSession().rates.back().averageBitRate, 24'883'199);
}

TEST_F(StreamPictureTest, appliesANewFrameRateAndCursorWithoutARestart) {
  start();
  StreamConfig config = request_.config;
  config.maxFPS = 30;
  config.showsCursor = false;
  session_->update(config);
  scheduler_.runReady();
  EXPECT_EQ(screen_->streams().size(), 1U);
  EXPECT_EQ(screen_->lastStream().settings.back(),
            (CaptureSettings{.size = {1920, 1080},
                             .minimumFrameInterval = std::chrono::microseconds(33'333),
                             .showsCursor = false,
                             .queueDepth = 5}));
  EXPECT_EQ(compressors_->lastSession().rates.back().expectedFrameRate, 30);
}

TEST_F(StreamPictureTest, restartsForANewLongestSide) {
  start();
  StreamConfig config = request_.config;
  config.maxDimension = 1280;
  session_->update(config);
  scheduler_.runReady();
  ASSERT_EQ(started().size(), 2U);
  EXPECT_EQ(started()[1], (StreamStarted{7, 1280, 720, {{0, 0}, {1920, 1080}}}));
  EXPECT_EQ(screen_->streams().size(), 2U);
  EXPECT_EQ(screen_->runningStreams(), 1U);
  EXPECT_EQ(compressors_->runningSessions(), 1U);
  EXPECT_TRUE(errors().empty());
}

TEST_F(StreamPictureTest, restartsForANewCodec) {
  start();
  StreamConfig config = request_.config;
  config.codec = VideoCodec::hevc;
  session_->update(config);
  scheduler_.runReady();
  EXPECT_EQ(started().size(), 2U);
  EXPECT_EQ(compressors_->lastSession().specification.codec, VideoCodec::hevc);
}

TEST_F(StreamPictureTest, onlyLogsAFailedUpdateOfTheCapture) {
  screen_->updateError = PortError{"no", 0};
  start();
  StreamConfig config = request_.config;
  config.quality = 0.1;
  session_->update(config);
  scheduler_.runReady();
  EXPECT_TRUE(errors().empty());
  EXPECT_EQ(screen_->runningStreams(), 1U);
}

TEST_F(StreamPictureTest, sendsNoPictureOfTheRunBeforeARestart) {
  start();
  screen_->deliverPicture(1, milliseconds(1));
  StreamConfig config = request_.config;
  config.maxDimension = 1280;
  session_->update(config);
  scheduler_.runReady();
  const std::size_t before = sink_->videos.size();
  screen_->streams()[0]->queue->async([stream = screen_->streams()[0]] {
    if (stream->isRunning()) stream->handlers.picture({});
  });
  scheduler_.advance(seconds(1));
  EXPECT_EQ(sink_->videos.size(), before);
}

TEST_F(StreamPictureTest, encodesNothingWhenTheClientHasGone) {
  start();
  sink_.reset();
  screen_->deliverPicture(1, milliseconds(1));
  scheduler_.runReady();
  EXPECT_TRUE(compressors_->lastSession().requests.empty());
}

TEST_F(StreamPictureTest, capturesAndEncodesAsTheLinkAdmits) {
  start();
  sink_->budget = {.bytesPerSecond = 250'000};
  screen_->deliverPicture(1, milliseconds(1));
  scheduler_.runReady();
  EXPECT_EQ(screen_->lastStream().requests, 1);
  const auto& link = compressors_->lastSession().rates.back().link;
  ASSERT_TRUE(link);
  EXPECT_EQ(link->bitRate, 2'000'000);
  EXPECT_EQ(sink_->wantedRate * 8, static_cast<double>(compressors_->lastSession().rates[0].averageBitRate));
  sink_->isOpen = false;
  screen_->deliverPicture(2, milliseconds(20));
  scheduler_.runReady();
  EXPECT_EQ(compressors_->lastSession().requests.size(), 1U);
  sink_->open();
  scheduler_.runReady();
  EXPECT_EQ(compressors_->lastSession().requests.size(), 2U);
  EXPECT_EQ(screen_->lastStream().requests, 2);
}

}  // namespace
}  // namespace quorl::test
