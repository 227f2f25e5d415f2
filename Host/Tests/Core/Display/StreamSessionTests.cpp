// SPDX-License-Identifier: GPL-3.0-or-later
#include "StreamSessionFixture.h"

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class StreamSessionTest : public StreamSessionFixture {};

TEST_F(StreamSessionTest, startsAndAnnouncesTheMainDisplay) {
  start();
  ASSERT_EQ(started().size(), 1U);
  EXPECT_EQ(started()[0], (StreamStarted{7, 1920, 1080, {{0, 0}, {1920, 1080}}}));
  EXPECT_EQ(session_->currentContentRect(), (PointRect{{0, 0}, {1920, 1080}}));
  EXPECT_EQ(std::get<DisplayFilter>(screen_->lastStream().filter).displayID, 5U);
  EXPECT_EQ(screen_->lastStream().settings.at(0),
            (CaptureSettings{.size = {1920, 1080},
                             .minimumFrameInterval = std::chrono::microseconds(16'667),
                             .showsCursor = true,
                             .queueDepth = 5}));
  EXPECT_EQ(compressors_->lastSession().specification.size, (PixelSize{1920, 1080}));
  EXPECT_EQ(session_->queue().label(), "quorl.stream.7");
}

TEST_F(StreamSessionTest, hasNoContentRectangleBeforeItsCapture) {
  make();
  EXPECT_TRUE(session_->currentContentRect().isEmpty());
}

TEST_F(StreamSessionTest, shrinksThePictureToTheLongestSideAllowed) {
  request_.config.maxDimension = 1280;
  start();
  ASSERT_EQ(started().size(), 1U);
  EXPECT_EQ(started()[0], (StreamStarted{7, 1280, 720, {{0, 0}, {1920, 1080}}}));
}

TEST_F(StreamSessionTest, encodesTwoByTwoForADisplayOfOnePoint) {
  screen_->content = oneDisplay({1, 1}, 5);
  start();
  ASSERT_EQ(started().size(), 1U);
  EXPECT_EQ(started()[0].pixelWidth, 2);
  EXPECT_EQ(started()[0].pixelHeight, 2);
}

TEST_F(StreamSessionTest, encodesPixelsOnADenseDisplay) {
  screen_->geometryOverride = FilterGeometry{{1920, 1080}, 2.0};
  start();
  EXPECT_EQ(started().at(0), (StreamStarted{7, 3840, 2160, {{0, 0}, {1920, 1080}}}));
}

TEST_F(StreamSessionTest, startsNothingWhenTheContentAnswersAfterStop) {
  screen_->holdsContentAnswers = true;
  start();
  ASSERT_EQ(screen_->heldContentAnswers(), 1U);
  session_->stop();
  scheduler_.runReady();
  screen_->releaseContentAnswers();
  scheduler_.runReady();
  EXPECT_TRUE(screen_->streams().empty());
  EXPECT_TRUE(compressors_->sessions().empty());
  EXPECT_TRUE(sink_->order.empty());
}

TEST_F(StreamSessionTest, startsNothingWhenTheSizeAnswersAfterStop) {
  screen_->holdsGeometryAnswers = true;
  start();
  ASSERT_EQ(screen_->heldGeometryAnswers(), 1U);
  session_->stop();
  scheduler_.runReady();
  screen_->releaseGeometryAnswers();
  scheduler_.runReady();
  EXPECT_TRUE(screen_->streams().empty());
  EXPECT_TRUE(compressors_->sessions().empty());
  EXPECT_TRUE(sink_->order.empty());
}

TEST_F(StreamSessionTest, ignoresASizeOfAnOlderRun) {
  screen_->holdsGeometryAnswers = true;
  start();
  StreamConfig smaller = request_.config;
  smaller.maxDimension = 640;
  session_->update(smaller);
  scheduler_.runReady();
  ASSERT_EQ(screen_->heldGeometryAnswers(), 2U);
  screen_->releaseGeometryAnswers();
  scheduler_.runReady();
  EXPECT_EQ(screen_->streams().size(), 1U);
  EXPECT_EQ(started().size(), 1U);
}

TEST_F(StreamSessionTest, ignoresAContentAnswerOfAnOlderRun) {
  screen_->holdsContentAnswers = true;
  start();
  StreamConfig smaller = request_.config;
  smaller.maxDimension = 640;
  session_->update(smaller);
  scheduler_.runReady();
  ASSERT_EQ(screen_->heldContentAnswers(), 2U);
  screen_->releaseContentAnswers();
  scheduler_.runReady();
  EXPECT_EQ(screen_->streams().size(), 1U);
  ASSERT_EQ(started().size(), 1U);
  EXPECT_EQ(started()[0].pixelWidth, 640);
}

TEST_F(StreamSessionTest, treatsAFrameRateBelowOneAsOne) {
  request_.config.maxFPS = -3;
  start();
  EXPECT_EQ(screen_->lastStream().settings[0].minimumFrameInterval, seconds(1));
}

TEST_F(StreamSessionTest, failsWithTheErrorOfTheContent) {
  screen_->content = std::unexpected(PortError{"the display server is away", 0});
  start();
  expectFailure("stream.content", "the display server is away");
}

TEST_F(StreamSessionTest, failsWithAHintWhenThereIsNoContentAndNoError) {
  screen_->content = std::unexpected(PortError{"", 0});
  start();
  expectFailure("stream.content", "no shareable content (Screen Recording permission?)");
}

TEST_F(StreamSessionTest, failsWithoutADisplay) {
  screen_->content = ShareableContent{};
  start();
  expectFailure("stream.target", "no displays available");
}

TEST_F(StreamSessionTest, failsForAnUnknownDisplay) {
  request_.target = streamTarget::Display{99};
  start();
  expectFailure("stream.target", "display 99 not found");
}

TEST_F(StreamSessionTest, failsForAnUnknownWindow) {
  request_.target = streamTarget::Window{99};
  start();
  expectFailure("stream.target", "window 99 not found");
}

TEST_F(StreamSessionTest, failsForAnApplicationThatDoesNotRun) {
  request_.target = streamTarget::App{"org.example.notes"};
  start();
  expectFailure("stream.target", "app org.example.notes not running");
}

TEST_F(StreamSessionTest, failsIfTheTargetDisappearsDuringTheSetUp) {
  request_.target = streamTarget::Display{5};
  screen_->geometryError = PortError{"BadWindow", 3};
  start();
  expectFailure("stream.target", "display 5 not found");
}

TEST_F(StreamSessionTest, failsWithoutAnEncoder) {
  compressors_->h264Failure = -12;
  start();
  expectFailure("stream.encoder", "VTCompressionSessionCreate failed (-12)");
  EXPECT_TRUE(screen_->streams().empty());
}

TEST_F(StreamSessionTest, fallsBackFromHevcSilently) {
  request_.config.codec = VideoCodec::hevc;
  compressors_->hevcFailure = -12;
  start();
  EXPECT_TRUE(errors().empty());
  EXPECT_EQ(started().size(), 1U);
  EXPECT_EQ(compressors_->lastSession().specification.codec, VideoCodec::h264);
}

TEST_F(StreamSessionTest, failsWhenNoOutputCanBeAdded) {
  screen_->makeError = PortError{"out of shared memory", 28};
  start();
  expectFailure("stream.output", "out of shared memory");
}

TEST_F(StreamSessionTest, failsWhenTheCaptureDoesNotStart) {
  screen_->startError = PortError{"BadMatch", 8};
  start();
  expectFailure("stream.start", "BadMatch");
  EXPECT_TRUE(started().empty());
}

TEST_F(StreamSessionTest, failsWhenTheCaptureEndsByItself) {
  start();
  screen_->endCapture({"the monitor is gone", 0});
  scheduler_.runReady();
  expectFailure("stream.capture", "the monitor is gone");
  screen_->streams()[0]->handlers.stopped({"again", 0});
  scheduler_.runReady();
  EXPECT_EQ(errors().size(), 1U);
}

TEST_F(StreamSessionTest, ignoresTheEndOfACaptureThatARestartHasReplaced) {
  start();
  screen_->endCapture({"the monitor is gone", 0});
  StreamConfig smaller = request_.config;
  smaller.maxDimension = 640;
  session_->update(smaller);
  scheduler_.runReady();
  EXPECT_TRUE(errors().empty());
  EXPECT_EQ(screen_->streams().size(), 2U);
  EXPECT_EQ(screen_->runningStreams(), 1U);
  EXPECT_EQ(started().back().pixelWidth, 640);
}

TEST_F(StreamSessionTest, endsAfterAFailure) {
  screen_->makeError = PortError{"no", 0};
  start();
  screen_->makeError.reset();
  StreamConfig smaller = request_.config;
  smaller.maxDimension = 640;
  session_->update(smaller);
  session_->requestKeyframe();
  session_->setAutoFit(false);
  scheduler_.advance(seconds(5));
  EXPECT_TRUE(screen_->streams().empty());
  EXPECT_EQ(screen_->contentQueries(), 1U);
}

TEST_F(StreamSessionTest, stopsSilently) {
  start();
  screen_->deliverPicture(1, milliseconds(1));
  scheduler_.runReady();
  const std::size_t sent = sink_->order.size();
  session_->stop();
  session_->stop();
  scheduler_.advance(seconds(5));
  EXPECT_EQ(sink_->order.size(), sent);
  EXPECT_EQ(screen_->runningStreams(), 0U);
  EXPECT_EQ(compressors_->runningSessions(), 0U);
}

TEST_F(StreamSessionTest, stopsEvenIfItsOwnerReleasesItAtOnce) {
  start();
  session_->stop();
  session_.reset();
  scheduler_.runReady();
  EXPECT_TRUE(screen_->streams()[0]->stopped);
}

TEST_F(StreamSessionTest, endsCaptureAndEncoderOnRelease) {
  start();
  session_.reset();
  EXPECT_TRUE(screen_->streams()[0]->released);
  EXPECT_EQ(compressors_->runningSessions(), 0U);
}

TEST_F(StreamSessionTest, startsNoSecondCaptureWhenStopFollowsStartAtOnce) {
  for (std::uint64_t seed = 1; seed <= 50; ++seed) {
    SimulatedScheduler scheduler(seed);
    auto screen = std::make_shared<FakeScreenCapture>(scheduler);
    screen->content = oneDisplay({640, 480});
    Platform platform = platform_;
    platform.scheduler = &scheduler;
    platform.screen = screen;
    auto session = std::make_shared<StreamSession>(request_, sink_, platform, originals_);
    session->start();
    for (std::uint64_t count = 0; count < seed % 7; ++count) scheduler.step();
    session->stop();
    scheduler.advance(seconds(1));
    ASSERT_EQ(screen->runningStreams(), 0U) << "seed " << seed;
    session.reset();
  }
}

}  // namespace
}  // namespace quorl::test
