// SPDX-License-Identifier: GPL-3.0-or-later
#include "StreamSessionFixture.h"

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class StreamPlacementTest : public StreamSessionFixture {};

TEST_F(StreamPlacementTest, announcesTheNewPlaceOfADisplayThatMoved) {
  start();
  screen_->placeDisplay({{-1920, 0}, {1920, 1080}});
  scheduler_.advance(seconds(5));
  ASSERT_EQ(started().size(), 2U);
  EXPECT_EQ(started()[1], (StreamStarted{7, 1920, 1080, {{-1920, 0}, {1920, 1080}}}));
  EXPECT_EQ(session_->currentContentRect(), (PointRect{{-1920, 0}, {1920, 1080}}));
  EXPECT_EQ(screen_->streams().size(), 1U) << "the capture goes on";
}

TEST_F(StreamPlacementTest, announcesNothingForAKnownPlace) {
  start();
  screen_->placeDisplay({{0, 0}, {1920, 1080}});
  screen_->placeDisplay({{0, 0}, {0, 0}});
  scheduler_.advance(seconds(5));
  EXPECT_EQ(started().size(), 1U);
  EXPECT_EQ(screen_->streams().size(), 1U);
}

TEST_F(StreamPlacementTest, restartsAtTheDisplaysNewSizeAfterTheLastOfSeveralChanges) {
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

TEST_F(StreamPlacementTest, showsAWindowAsItIs) {
  startWindow();
  ASSERT_EQ(started().size(), 1U);
  EXPECT_EQ(started()[0], (StreamStarted{7, 640, 480, {{100, 50}, {640, 480}}}));
  EXPECT_EQ(std::get<WindowFilter>(screen_->lastStream().filter).windowID, 77U);
  EXPECT_TRUE(fitStates().empty()) << "without a view of the client there is nothing to fit to";
}

TEST_F(StreamPlacementTest, saysThatAWindowWasNotFittedToTheClientsView) {
  request_.clientPointWidth = 1024;
  request_.clientPointHeight = 768;
  startWindow();
  EXPECT_EQ(fitStates(), std::vector{false});
  EXPECT_EQ(started().size(), 1U);
}

TEST_F(StreamPlacementTest, saysThatAWindowlessApplicationIsNotFitted) {
  screen_->content->applications.push_back({"org.example.agent", "Agent", 43});
  request_.target = streamTarget::App{"org.example.agent"};
  start();
  EXPECT_EQ(fitStates(), std::vector{false});
  EXPECT_EQ(std::get<ApplicationFilter>(screen_->lastStream().filter).pid, 43);
}

TEST_F(StreamPlacementTest, refitsOnceForRapidChangesOfTheView) {
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

TEST_F(StreamPlacementTest, doesNotRefitForASmallChangeOrAViewWithoutPoints) {
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

TEST_F(StreamPlacementTest, doesNotRefitADisplay) {
  start();
  session_->updateAspect(1024, 768);
  session_->setWindowScale(0.5);
  session_->setAutoFit(false);
  scheduler_.advance(seconds(5));
  EXPECT_EQ(started().size(), 1U);
}

TEST_F(StreamPlacementTest, clampsTheWindowScaleAndIgnoresASmallChange) {
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

TEST_F(StreamPlacementTest, restartsAtOnceWhenFittingIsTurnedOff) {
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

TEST_F(StreamPlacementTest, refitsNothingAfterStop) {
  startWindow();
  session_->setWindowScale(0.5);
  session_->stop();
  scheduler_.advance(seconds(5));
  EXPECT_EQ(screen_->streams().size(), 1U);
}

}  // namespace
}  // namespace quorl::test
