// SPDX-License-Identifier: GPL-3.0-or-later
#include "StreamWindowFixture.h"

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

const PointRect original{{100, 50}, {640, 480}};

class StreamFitTest : public StreamWindowFixture {};

// Verification

TEST_F(StreamFitTest, verifiesNothingMoreOnceTheWindowHasSettled) {
  startFittedNotes();
  resize(77, -12, 0);
  windows_->calls.clear();
  advance(milliseconds(800));
  EXPECT_THAT(windows_->calls, ElementsAre("windowBounds 77"));
  advance(milliseconds(150));
  EXPECT_THAT(sizesSet(), IsEmpty());
}

TEST_F(StreamFitTest, fitsAgainTwiceWhenTheWindowDoesNotSettle) {
  setClientView();
  addNotes().ignoresWrites = true;
  start();
  windows_->calls.clear();
  advance(milliseconds(799));
  EXPECT_THAT(sizesSet(), IsEmpty());
  advance(milliseconds(1));
  EXPECT_EQ(sizesSet().size(), 2U);
  EXPECT_EQ(log_.count("fit settle retry #1 (drift 880) window 77"), 1U);
  advance(milliseconds(1'599));
  EXPECT_EQ(sizesSet().size(), 2U);
  advance(milliseconds(1));
  EXPECT_EQ(sizesSet().size(), 4U);
  EXPECT_EQ(log_.count("fit settle retry #2 (drift 880) window 77"), 1U);
  advance(seconds(10));
  EXPECT_EQ(sizesSet().size(), 4U);
  EXPECT_TRUE(session_->fitState().autoFit) << "the application is no user";
}

TEST_F(StreamFitTest, endsWithTheSizeOfAWindowWithStepsAndItsPlaceAnnounced) {
  setClientView();
  addNotes().step = {11, 19};  // 1199x798
  startNotes();
  advance(seconds(10));
  ASSERT_EQ(started().size(), 2U);
  EXPECT_EQ(started()[1].contentRect.size, (PointSize{1199, 798}));
  EXPECT_TRUE(session_->fitState().autoFit);
  EXPECT_EQ(screen_->streams().size(), 1U);
  stop();
  EXPECT_EQ(frameOf(77).origin, original.origin);
  EXPECT_EQ(frameOf(77).size, (PointSize{638, 475})) << "as close to 640x480 as its steps allow";
}

TEST_F(StreamFitTest, endsWithTheMinimumSizeOfAWindow) {
  request_.clientPointWidth = 300;
  request_.clientPointHeight = 1000;
  addNotes().minimum = {600, 400};
  start();
  advance(seconds(10));
  EXPECT_EQ(frameOf(77).size, (PointSize{600, 1067}));
  EXPECT_EQ(started().back(), (StreamStarted{7, 600, 1066, frameOf(77)}));
  EXPECT_THAT(fitStates(), ElementsAre(true));
  EXPECT_TRUE(session_->fitState().autoFit);
}

TEST_F(StreamFitTest, showsAWindowThatRefusesTheFitInItsOwnAspect) {
  setClientView();
  addNotes().ignoresWrites = true;
  start();
  ASSERT_EQ(started().back().pixelWidth, 1200);
  advance(milliseconds(3'199));
  EXPECT_EQ(screen_->streams().size(), 1U);
  advance(milliseconds(1));
  EXPECT_EQ(started().back(), (StreamStarted{7, 640, 480, original}));
  EXPECT_EQ(compressors_->lastSession().specification.size, (PixelSize{640, 480}));
  EXPECT_EQ(log_.count("window 77 keeps its own size (100, 50, 640, 480)"), 1U);
  advance(seconds(60));
  EXPECT_EQ(screen_->streams().size(), 2U) << "once";
  EXPECT_EQ(screen_->runningStreams(), 1U);
  EXPECT_EQ(compressors_->runningSessions(), 1U);
  EXPECT_TRUE(session_->fitState().autoFit);
  EXPECT_THAT(fitStates(), ElementsAre(true));
}

TEST_F(StreamFitTest, keepsTheOwnAspectOfAWindowOverARestartForTheEncoder) {
  setClientView();
  addNotes().ignoresWrites = true;
  start();
  advance(seconds(10));
  StreamConfig smaller = request_.config;
  smaller.maxDimension = 320;
  session_->update(smaller);
  settle();
  EXPECT_EQ(started().back().pixelWidth, 320);
  EXPECT_EQ(started().back().pixelHeight, 240);
  advance(seconds(10));
  EXPECT_EQ(screen_->streams().size(), 3U);
}

TEST_F(StreamFitTest, yieldsToAUserWhoResizesAWindowThatRefusedItsFit) {
  setClientView();
  addNotes().ignoresWrites = true;
  start();
  advance(milliseconds(4'901));
  resize(77, 100, 0);
  const PointRect users = frameOf(77);
  advance(seconds(2));
  EXPECT_FALSE(session_->fitState().autoFit);
  EXPECT_EQ(started().back(), (StreamStarted{7, 740, 480, users}));
  windows_->find(77)->ignoresWrites = false;
  stop();
  EXPECT_EQ(frameOf(77), users);
}

TEST_F(StreamFitTest, leavesAWindowOnStopThatTheUserResizedWithinTheSettlingTime) {
  startFittedNotes();
  advance(milliseconds(2'450));
  resize(77, -200, 0);
  const PointRect users = frameOf(77);
  advance(milliseconds(100));
  stop();
  EXPECT_EQ(frameOf(77), users);
}

TEST_F(StreamFitTest, fitsAWindowThatRefusedBeforeWhenTheClientsViewChanges) {
  setClientView();
  addNotes().ignoresWrites = true;
  start();
  advance(seconds(10));
  ASSERT_EQ(started().back().pixelWidth, 640);
  windows_->find(77)->ignoresWrites = false;
  session_->updateAspect(1000, 1000);
  advance(seconds(10));
  EXPECT_EQ(started().back().pixelWidth, 800);
  EXPECT_EQ(frameOf(77).size, (PointSize{800, 800}));
  stop();
  EXPECT_EQ(frameOf(77), original);
}

TEST_F(StreamFitTest, verifiesTheFitOnceTheWindowServerAnswersAgain) {
  startFittedNotes();
  resize(77, -100, -100);
  windows_->answers = false;
  advance(seconds(2));
  windows_->calls.clear();
  windows_->answers = true;
  advance(milliseconds(800));
  EXPECT_THAT(sizesSet(), ElementsAre("setSize 77 1200x800", "setSize 77 1200x800"));
  EXPECT_EQ(frameOf(77).size, (PointSize{1200, 800}));
}

TEST_F(StreamFitTest, verifiesAWindowThatVanishesInBetween) {
  startFittedNotes();
  for (const char* last : {"windowBounds 77", "accessibleWindows 42", "frame 77", "screens", "setSize 77"}) {
    resize(77, -300, 0);
    session_->setAutoFit(false);
    session_->setAutoFit(true);
    settle();
    windows_->beforeCall = [this, last](const std::string& call) {
      if (call.starts_with(last)) windows_->destroy(77);
    };
    advance(seconds(3));
    windows_->beforeCall = nullptr;
    if (!windows_->find(77)) addNotes();
  }
  stop();
  EXPECT_EQ(screen_->runningStreams(), 0U);
}

TEST_F(StreamFitTest, keepsTheAspectOfAScaledWindowInARetry) {
  addNotes().minimum = {0, 450};
  start();
  session_->setWindowScale(0.5);
  advance(milliseconds(300));
  ASSERT_EQ(frameOf(77).size, (PointSize{533, 450}));
  advance(seconds(5));
  EXPECT_EQ(frameOf(77).size, (PointSize{533, 450}));
}

// The user wins

TEST_F(StreamFitTest, takesNoResizeWithinTheSettlingTimeForTheUsers) {
  startFittedNotes();
  advance(milliseconds(1'500));
  resize(77, 5, 5);
  resize(77, 4, 4);
  advance(milliseconds(999));
  EXPECT_TRUE(session_->fitState().autoFit);
  EXPECT_THAT(fitStates(), ElementsAre(true));
  EXPECT_EQ(started().size(), 2U) << "the new place is announced all the same";
}

TEST_F(StreamFitTest, yieldsToAResizeByTheUserAfterTheSettlingTime) {
  startFittedNotes();
  session_->setWindowScale(0.9);
  advance(seconds(5));
  ASSERT_THAT(fitStates(), ElementsAre(true, true));
  resize(77, 0, -100);
  const PointRect users = frameOf(77);
  advance(seconds(1));
  EXPECT_FALSE(session_->fitState().autoFit);
  EXPECT_DOUBLE_EQ(session_->fitState().fitScale, 1.0);
  EXPECT_THAT(fitStates(), ElementsAre(true, true, false));
  advance(seconds(5));
  EXPECT_EQ(started().back(), (StreamStarted{7, 1080, 620, users})) << "the encoder takes the new size";
  stop();
  EXPECT_EQ(frameOf(77), users);
}

TEST_F(StreamFitTest, ignoresAMoveByTheUser) {
  startFittedNotes();
  advance(seconds(5));
  windows_->find(77)->frame.origin = {200, 30};
  advance(seconds(5));
  EXPECT_TRUE(session_->fitState().autoFit);
  stop();
  EXPECT_EQ(frameOf(77), original);
}

TEST_F(StreamFitTest, fitsAgainWhenTheClientAsksAfterTheUserTookOver) {
  startFittedNotes();
  advance(seconds(5));
  resize(77, 0, -100);
  const PointRect users = frameOf(77);
  advance(seconds(5));
  session_->setAutoFit(true);
  settle();
  EXPECT_EQ(frameOf(77).size, (PointSize{1200, 800}));
  EXPECT_THAT(fitStates(), ElementsAre(true, false, true));
  stop();
  EXPECT_EQ(frameOf(77), users) << "the frame before this fit";
}

// Giving back

TEST_F(StreamFitTest, givesTheWindowBackOnStop) {
  startFittedNotes();
  advance(seconds(5));
  windows_->calls.clear();
  stop();
  EXPECT_EQ(frameOf(77), original);
  EXPECT_THAT(windows_->changes(),
              ElementsAre("setSize 77 640x480", "setPosition 77 100,50", "setSize 77 640x480"));
  windows_->calls.clear();
  stop();
  EXPECT_THAT(windows_->calls, IsEmpty());
}

TEST_F(StreamFitTest, givesTheWindowBackBeforeItStopsTheCapture) {
  startFittedNotes();
  std::size_t running = 0;
  windows_->beforeCall = [&](const std::string& call) {
    if (call.starts_with("setPosition")) running = screen_->runningStreams();
  };
  stop();
  EXPECT_EQ(running, 1U);
  EXPECT_EQ(screen_->runningStreams(), 0U);
}

TEST_F(StreamFitTest, leavesAWindowOnStopThatTheUserChangedByTwelvePoints) {
  startFittedNotes();
  advance(seconds(5));
  resize(77, 6, -6);
  const PointRect users = frameOf(77);
  stop();
  EXPECT_EQ(frameOf(77), users);
}

TEST_F(StreamFitTest, givesAWindowBackThatTheUserChangedByElevenPoints) {
  startFittedNotes();
  advance(seconds(5));
  resize(77, 5, -6);
  stop();
  EXPECT_EQ(frameOf(77), original);
}

TEST_F(StreamFitTest, givesTheWindowBackWhenFittingIsTurnedOff) {
  startFittedNotes();
  session_->setWindowScale(0.5);
  advance(seconds(5));
  session_->setAutoFit(false);
  settle();
  EXPECT_EQ(frameOf(77), original);
  EXPECT_DOUBLE_EQ(session_->fitState().fitScale, 1.0);
  EXPECT_EQ(started().back(), (StreamStarted{7, 640, 480, original}));
  advance(seconds(5));
  EXPECT_EQ(screen_->streams().size(), 3U) << "its new size is not taken for the user's";
  windows_->calls.clear();
  stop();
  EXPECT_THAT(sizesSet(), IsEmpty());
}

TEST_F(StreamFitTest, keepsTheOriginalFrameOverRefits) {
  startFittedNotes();
  session_->updateAspect(1000, 1000);
  advance(milliseconds(300));
  EXPECT_EQ(frameOf(77).size, (PointSize{800, 800}));
  session_->setWindowScale(0.5);
  advance(milliseconds(300));
  EXPECT_EQ(frameOf(77).size, (PointSize{400, 400}));
  EXPECT_THAT(fitStates(), ElementsAre(true, true, true));
  stop();
  EXPECT_EQ(frameOf(77), original);
}

TEST_F(StreamFitTest, keepsTheFitOverARestartForTheEncoder) {
  startFittedNotes();
  StreamConfig smaller = request_.config;
  smaller.maxDimension = 600;
  session_->update(smaller);
  settle();
  EXPECT_EQ(started().back(), (StreamStarted{7, 600, 400, {{0, 32}, {1200, 800}}}));
  stop();
  EXPECT_EQ(frameOf(77), original);
}

TEST_F(StreamFitTest, encodesTheWindowsOwnSizeWhenARefitIsSkipped) {
  startFittedNotes();
  windows_->find(77)->isAccessible = false;
  resize(77, -300, -100);
  session_->updateAspect(1000, 1000);
  advance(milliseconds(300));
  EXPECT_THAT(fitStates(), ElementsAre(true, false));
  EXPECT_EQ(started().back(), (StreamStarted{7, 900, 700, {{0, 32}, {900, 700}}}));
}

TEST_F(StreamFitTest, doesNotGiveTheWindowBackOnAFailureButOnTheStopAfterIt) {
  startFittedNotes();
  endCapture();
  ASSERT_EQ(errors().size(), 1U);
  EXPECT_EQ(frameOf(77).size, (PointSize{1200, 800}));
  stop();
  EXPECT_EQ(frameOf(77), original);
}

TEST_F(StreamFitTest, givesTheWindowBackWhenItsOwnerReleasesTheStreamAfterStop) {
  startFittedNotes();
  session_->stop();
  session_.reset();
  scheduler_.runReady();
  EXPECT_EQ(frameOf(77), original);
}

TEST_F(StreamFitTest, givesTheWindowBackOnReleaseWithoutStop) {
  startFittedNotes();
  session_.reset();
  EXPECT_EQ(frameOf(77), original);
}

TEST_F(StreamFitTest, givesTheWindowBackWhenTheSchedulerEndsBeforeTheStopRuns) {
  auto scheduler = std::make_unique<SimulatedScheduler>();
  Platform platform = platform_;
  platform.scheduler = scheduler.get();
  const auto screen = std::make_shared<FakeScreenCapture>(*scheduler);
  screen->content = oneDisplay({1440, 832}, 5);
  screen->refresh = screen_->refresh;
  platform.screen = screen;
  setClientView();
  addNotes();
  auto session = std::make_shared<StreamSession>(request_, sink_, platform, originals_);
  session->start();
  scheduler->runReady();
  ASSERT_EQ(frameOf(77).size, (PointSize{1200, 800}));
  session->stop();
  session.reset();
  scheduler.reset();
  EXPECT_EQ(frameOf(77), original);
}

TEST_F(StreamFitTest, changesNoOtherWindowForOneThatIsGone) {
  startFittedNotes();
  addWindow(78, 42, "Notes", {{0, 40}, {500, 400}});
  windows_->main[42] = 78;
  windows_->destroy(77);
  windows_->calls.clear();
  stop();
  EXPECT_THAT(sizesSet(), IsEmpty());
}

TEST_F(StreamFitTest, findsTheWindowByItsPlaceAfterItsTitleHasChanged) {
  startFittedNotes();
  windows_->find(77)->title = "Notes (edited)";
  addWindow(78, 42, "Notes", {{0, 40}, {500, 400}});
  stop();
  EXPECT_EQ(frameOf(77), original);
  EXPECT_EQ(frameOf(78), (PointRect{{0, 40}, {500, 400}}));
}

// Several streams of one window

TEST_F(StreamFitTest, givesTheOriginalFrameBackAfterAStreamThatReplacedAnother) {
  for (std::uint64_t seed = 1; seed <= 100; ++seed) {
    SimulatedScheduler scheduler(seed);
    Platform platform = platform_;
    platform.scheduler = &scheduler;
    const auto screen = std::make_shared<FakeScreenCapture>(scheduler);
    screen->content = oneDisplay({1440, 832}, 5);
    screen->refresh = screen_->refresh;
    platform.screen = screen;
    setClientView();
    windows_->entries.clear();
    addNotes();
    auto first = std::make_shared<StreamSession>(request_, sink_, platform, originals_);
    first->start();
    scheduler.advance(seconds(4));
    first->stop();
    auto second = std::make_shared<StreamSession>(request_, sink_, platform, originals_);
    second->start();
    scheduler.advance(seconds(4));
    ASSERT_EQ(frameOf(77).size, (PointSize{1200, 800})) << "seed " << seed;
    ASSERT_TRUE(second->fitState().autoFit) << "seed " << seed;
    second->stop();
    scheduler.runReady();
    ASSERT_EQ(frameOf(77), original) << "seed " << seed;
  }
}

TEST_F(StreamFitTest, keepsTheFitWhileAnotherStreamUsesIt) {
  startFittedNotes();
  auto other = std::make_shared<StreamSession>(request_, sink_, platform_, originals_);
  other->start();
  settle();
  stop();
  EXPECT_EQ(frameOf(77).size, (PointSize{1200, 800}));
  other->stop();
  settle();
  EXPECT_EQ(frameOf(77), original);
}

}  // namespace
}  // namespace quorl::test
