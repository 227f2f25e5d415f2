// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/StreamSession.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <Support/FakeScreenCapture.h>
#include <Support/FakeVideoCompressor.h>
#include <Support/RecordingSink.h>

namespace quorl {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using test::FakeScreenCapture;
using test::FakeVideoCompressorFactory;
using test::oneDisplay;
using test::RecordingSink;

class StreamSessionTest : public testing::Test {
 protected:
  StreamSessionTest() {
    platform_.scheduler = &scheduler_;
    platform_.screen = screen_;
    platform_.compressors = compressors_;
    screen_->content = oneDisplay({1920, 1080}, 5);
    request_.streamID = 7;
    request_.target = streamTarget::Unified{};
    request_.config = {
        .maxDimension = 4096, .maxFPS = 60, .codec = VideoCodec::h264, .quality = 0.5, .showsCursor = true};
  }

  void make() { session_ = std::make_shared<StreamSession>(request_, sink_, platform_); }
  void start() {
    if (!session_) make();
    session_->start();
    scheduler_.runReady();
  }
  void startWindow() {
    ShareableWindow window;
    window.windowID = 77;
    window.pid = 42;
    window.title = "Notes";
    window.frame = {{100, 50}, {640, 480}};
    window.isOnScreen = true;
    screen_->content->windows.push_back(window);
    screen_->content->applications.push_back({"org.example.notes", "Notes", 42});
    request_.target = streamTarget::Window{77};
    start();
  }
  std::vector<StreamStarted> started() const {
    std::vector<StreamStarted> all;
    for (const auto& message : sink_->messages<message::StreamStarted>()) all.push_back(message._0);
    return all;
  }
  std::vector<WireError> errors() const {
    std::vector<WireError> all;
    for (const auto& message : sink_->messages<message::Error>()) all.push_back(message._0);
    return all;
  }
  std::vector<bool> fitStates() const {
    std::vector<bool> all;
    for (const auto& message : sink_->messages<message::FitState>()) all.push_back(message.fitted);
    return all;
  }
  void expectFailure(const std::string& code, const std::string& text) {
    EXPECT_EQ(errors(), (std::vector{WireError{code, "stream 7: " + text}}));
    EXPECT_EQ(screen_->runningStreams(), 0U);
    EXPECT_EQ(compressors_->runningSessions(), 0U);
  }

  SimulatedScheduler scheduler_;
  std::shared_ptr<FakeScreenCapture> screen_ = std::make_shared<FakeScreenCapture>(scheduler_);
  std::shared_ptr<FakeVideoCompressorFactory> compressors_ = std::make_shared<FakeVideoCompressorFactory>();
  std::shared_ptr<RecordingSink> sink_ = std::make_shared<RecordingSink>();
  Platform platform_;
  StartStream request_;
  std::shared_ptr<StreamSession> session_;
};

// ---- starting

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

TEST_F(StreamSessionTest, makesTwoByTwoOfADisplayOfOnePoint) {
  screen_->content = oneDisplay({1, 1}, 5);
  start();
  ASSERT_EQ(started().size(), 1U);
  EXPECT_EQ(started()[0].pixelWidth, 2);
  EXPECT_EQ(started()[0].pixelHeight, 2);
}

TEST_F(StreamSessionTest, makesPixelsOfPointsOnADenseDisplay) {
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

// ---- failures

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

TEST_F(StreamSessionTest, failsWhenTheTargetGoesDuringTheSetUp) {
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

TEST_F(StreamSessionTest, fallsBackFromHevcWithoutAWord) {
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

TEST_F(StreamSessionTest, announcesTheNewPlaceOfADisplayThatMoved) {
  start();
  screen_->placeDisplay({{-1920, 0}, {1920, 1080}});
  scheduler_.advance(seconds(5));
  ASSERT_EQ(started().size(), 2U);
  EXPECT_EQ(started()[1], (StreamStarted{7, 1920, 1080, {{-1920, 0}, {1920, 1080}}}));
  EXPECT_EQ(session_->currentContentRect(), (PointRect{{-1920, 0}, {1920, 1080}}));
  EXPECT_EQ(screen_->streams().size(), 1U) << "the capture goes on";
}

TEST_F(StreamSessionTest, announcesNothingForAPlaceThatIsKnown) {
  start();
  screen_->placeDisplay({{0, 0}, {1920, 1080}});
  screen_->placeDisplay({{0, 0}, {0, 0}});
  scheduler_.advance(seconds(5));
  EXPECT_EQ(started().size(), 1U);
  EXPECT_EQ(screen_->streams().size(), 1U);
}

TEST_F(StreamSessionTest, continuesAtTheNewSizeOfItsDisplayAfterTheLastOfSeveralChanges) {
  start();
  for (const double width : {1024.0, 1280.0}) {
    screen_->content->displays[0].bounds.size = {width, 800};
    screen_->placeDisplay({{0, 0}, {width, 800}});
    scheduler_.advance(milliseconds(299));
  }
  EXPECT_EQ(session_->currentContentRect(), (PointRect{{0, 0}, {1280, 800}}));
  EXPECT_EQ(screen_->streams().size(), 1U);
  scheduler_.advance(milliseconds(1));
  ASSERT_EQ(screen_->streams().size(), 2U);
  EXPECT_EQ(started().back(), (StreamStarted{7, 1280, 800, {{0, 0}, {1280, 800}}}));
  EXPECT_EQ(compressors_->lastSession().specification.size, (PixelSize{1280, 800}));
  EXPECT_EQ(compressors_->runningSessions(), 1U);
  EXPECT_EQ(screen_->runningStreams(), 1U);
  EXPECT_TRUE(errors().empty());
}

TEST_F(StreamSessionTest, isOverAfterAFailure) {
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

// ---- pictures

TEST_F(StreamSessionTest, sendsTheConfigurationAndThenThePictures) {
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

TEST_F(StreamSessionTest, ignoresPicturesThatAreNotComplete) {
  start();
  for (const FrameStatus status : {FrameStatus::idle, FrameStatus::blank, FrameStatus::suspended}) {
    CapturedPicture picture;
    picture.image = std::make_shared<test::FakePicture>(PixelSize{1920, 1080});
    picture.status = status;
    screen_->deliver(picture);
  }
  screen_->deliver(CapturedPicture{});
  scheduler_.runReady();
  EXPECT_TRUE(compressors_->lastSession().requests.empty());
}

TEST_F(StreamSessionTest, passesTheChangedPartsToTheEncoder) {
  start();
  screen_->deliverPicture(1, milliseconds(1), {{8, 8, 16, 16}});
  scheduler_.runReady();
  EXPECT_EQ(compressors_->lastSession().requests.at(0).changed, (std::vector<PixelRect>{{8, 8, 16, 16}}));
}

TEST_F(StreamSessionTest, makesARequestedKeyFrameOfAStillScreen) {
  start();
  screen_->deliverPicture(1, milliseconds(1));
  scheduler_.advance(seconds(3));
  session_->requestKeyframe();
  scheduler_.advance(milliseconds(17));
  ASSERT_EQ(sink_->videos.size(), 3U);
  EXPECT_EQ(sink_->videos[2].flags, VideoPacketFlags::keyframe);
}

TEST_F(StreamSessionTest, sharpensACoarsePictureWhenTheScreenIsQuiet) {
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

// ---- updates

TEST_F(StreamSessionTest, takesANewQualityWithoutARestart) {
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

TEST_F(StreamSessionTest, takesANewFrameRateAndCursorWithoutARestart) {
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

TEST_F(StreamSessionTest, restartsForANewLongestSide) {
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

TEST_F(StreamSessionTest, restartsForANewCodec) {
  start();
  StreamConfig config = request_.config;
  config.codec = VideoCodec::hevc;
  session_->update(config);
  scheduler_.runReady();
  EXPECT_EQ(started().size(), 2U);
  EXPECT_EQ(compressors_->lastSession().specification.codec, VideoCodec::hevc);
}

TEST_F(StreamSessionTest, onlyLogsAFailedUpdateOfTheCapture) {
  screen_->updateError = PortError{"no", 0};
  start();
  StreamConfig config = request_.config;
  config.quality = 0.1;
  session_->update(config);
  scheduler_.runReady();
  EXPECT_TRUE(errors().empty());
  EXPECT_EQ(screen_->runningStreams(), 1U);
}

TEST_F(StreamSessionTest, sendsNoPictureOfTheRunBeforeARestart) {
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

// ---- windows

TEST_F(StreamSessionTest, showsAWindowAsItIs) {
  startWindow();
  ASSERT_EQ(started().size(), 1U);
  EXPECT_EQ(started()[0], (StreamStarted{7, 640, 480, {{100, 50}, {640, 480}}}));
  EXPECT_EQ(std::get<WindowFilter>(screen_->lastStream().filter).windowID, 77U);
  EXPECT_TRUE(fitStates().empty()) << "without a view of the client there is nothing to fit to";
}

TEST_F(StreamSessionTest, saysThatAWindowWasNotFittedToTheClientsView) {
  request_.clientPointWidth = 1024;
  request_.clientPointHeight = 768;
  startWindow();
  EXPECT_EQ(fitStates(), std::vector{false});
  EXPECT_EQ(started().size(), 1U);
}

TEST_F(StreamSessionTest, saysThatAWindowlessApplicationIsNotFitted) {
  screen_->content->applications.push_back({"org.example.agent", "Agent", 43});
  request_.target = streamTarget::App{"org.example.agent"};
  start();
  EXPECT_EQ(fitStates(), std::vector{false});
  EXPECT_EQ(std::get<ApplicationFilter>(screen_->lastStream().filter).pid, 43);
}

TEST_F(StreamSessionTest, refitsOnceForRapidChangesOfTheView) {
  startWindow();
  for (int step = 1; step <= 5; ++step) {
    session_->updateAspect(1000 + 100 * step, 768);
    scheduler_.advance(milliseconds(100));
  }
  EXPECT_EQ(started().size(), 1U);
  scheduler_.advance(milliseconds(300));
  EXPECT_EQ(started().size(), 2U);
  EXPECT_NEAR(*session_->fitState().clientAspect, 1500.0 / 768, 1e-9);
}

TEST_F(StreamSessionTest, doesNotRefitForASmallChangeOrAViewWithoutPoints) {
  request_.clientPointWidth = 1000;
  request_.clientPointHeight = 1000;
  startWindow();
  session_->updateAspect(1009, 1000);
  session_->updateAspect(0, 1000);
  session_->updateAspect(1000, 0);
  scheduler_.advance(seconds(5));
  EXPECT_EQ(started().size(), 1U);
  EXPECT_DOUBLE_EQ(*session_->fitState().clientAspect, 1.0);
}

TEST_F(StreamSessionTest, doesNotRefitADisplay) {
  start();
  session_->updateAspect(1024, 768);
  session_->setWindowScale(0.5);
  session_->setAutoFit(false);
  scheduler_.advance(seconds(5));
  EXPECT_EQ(started().size(), 1U);
}

TEST_F(StreamSessionTest, clampsTheWindowScaleAndIgnoresASmallChange) {
  startWindow();
  session_->setWindowScale(0.1);
  EXPECT_DOUBLE_EQ(session_->fitState().fitScale, 0.3);
  session_->setWindowScale(2.0);
  EXPECT_DOUBLE_EQ(session_->fitState().fitScale, 1.0);
  scheduler_.advance(seconds(1));
  const std::size_t before = started().size();
  session_->setWindowScale(0.995);
  scheduler_.advance(seconds(1));
  EXPECT_DOUBLE_EQ(session_->fitState().fitScale, 1.0);
  EXPECT_EQ(started().size(), before);
}

TEST_F(StreamSessionTest, restartsAtOnceWhenFittingIsTurnedOff) {
  startWindow();
  session_->setWindowScale(0.5);
  session_->setAutoFit(false);
  scheduler_.runReady();
  EXPECT_EQ(started().size(), 2U);
  EXPECT_FALSE(session_->fitState().autoFit);
  EXPECT_DOUBLE_EQ(session_->fitState().fitScale, 1.0);
  session_->setAutoFit(false);
  scheduler_.advance(seconds(5));
  EXPECT_EQ(started().size(), 2U);
}

// ---- ending

TEST_F(StreamSessionTest, stopsWithoutAWord) {
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

TEST_F(StreamSessionTest, refitsNothingAfterStop) {
  startWindow();
  session_->setWindowScale(0.5);
  session_->stop();
  scheduler_.advance(seconds(5));
  EXPECT_EQ(screen_->streams().size(), 1U);
}

TEST_F(StreamSessionTest, stopsEvenWhenItsOwnerLetsGoAtOnce) {
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

TEST_F(StreamSessionTest, encodesNothingWhenTheClientHasGone) {
  start();
  sink_.reset();
  screen_->deliverPicture(1, milliseconds(1));
  scheduler_.runReady();
  EXPECT_TRUE(compressors_->lastSession().requests.empty());
}

TEST_F(StreamSessionTest, capturesAndEncodesAsTheLinkAdmits) {
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

TEST_F(StreamSessionTest, startsNoSecondCaptureWhenStopFollowsStartAtOnce) {
  for (std::uint64_t seed = 1; seed <= 50; ++seed) {
    SimulatedScheduler scheduler(seed);
    auto screen = std::make_shared<FakeScreenCapture>(scheduler);
    screen->content = oneDisplay({640, 480});
    Platform platform = platform_;
    platform.scheduler = &scheduler;
    platform.screen = screen;
    auto session = std::make_shared<StreamSession>(request_, sink_, platform);
    session->start();
    for (std::uint64_t count = 0; count < seed % 7; ++count) scheduler.step();
    session->stop();
    scheduler.advance(seconds(1));
    ASSERT_EQ(screen->runningStreams(), 0U) << "seed " << seed;
    session.reset();
  }
}

}  // namespace
}  // namespace quorl
