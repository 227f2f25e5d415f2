// SPDX-License-Identifier: GPL-3.0-or-later
#include "StreamWindowFixture.h"

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class StreamWindowTest : public StreamWindowFixture {
 protected:
  void startApp() {
    applications_["org.example.notes"] = 42;
    request_.target = streamTarget::App{"org.example.notes"};
    start();
    settle();
  }
};

// Setting up

TEST_F(StreamWindowTest, bringsTheWindowForwardBeforeItsCapture) {
  addNotes().isMinimized = true;
  start();
  EXPECT_THAT(windows_->changes(), ElementsAre("setMinimized 77 false"));
  settle();
  EXPECT_THAT(windows_->changes(), ElementsAre("setMinimized 77 false", "activate 42 77"));
  EXPECT_EQ(started().size(), 1U);
}

TEST_F(StreamWindowTest, leavesAWindowOfAnUnknownProcessAsItIs) {
  addNotes().pid = 0;
  setClientView();
  start();
  settle();
  session_->raiseForInput({});
  settle();
  EXPECT_THAT(windows_->changes(), IsEmpty());
  EXPECT_THAT(fitStates(), IsEmpty());
  EXPECT_EQ(started().size(), 1U);
}

TEST_F(StreamWindowTest, showsAWindowAsItIsWithoutAViewToFitTo) {
  startNotes();
  EXPECT_EQ(started().at(0), (StreamStarted{7, 640, 480, {{100, 50}, {640, 480}}}));
  EXPECT_THAT(sizesSet(), IsEmpty());
  EXPECT_THAT(fitStates(), IsEmpty());
}

TEST_F(StreamWindowTest, fitsTheWindowToTheClientsAspect) {
  startFittedNotes();
  EXPECT_EQ(started().at(0), (StreamStarted{7, 1200, 800, {{0, 32}, {1200, 800}}}));
  EXPECT_EQ(session_->currentContentRect(), (PointRect{{0, 32}, {1200, 800}}));
  EXPECT_THAT(fitStates(), ElementsAre(true));
  EXPECT_EQ(log_.count("fit window 77 → (0, 32, 1200, 800) scale 1"), 1U);
  EXPECT_EQ(log_.count("stream 7 started 1200x800 rect=(0, 32, 1200, 800)"), 1U);
}

TEST_F(StreamWindowTest, encodesTheSizeOfTheFitInPixels) {
  setClientView();
  addNotes();
  screen_->geometryOverride = FilterGeometry{{640, 480}, 2.0};
  start();
  EXPECT_EQ(started().at(0).pixelWidth, 2400);
  EXPECT_EQ(started().at(0).pixelHeight, 1600);
}

TEST_F(StreamWindowTest, scalesAWindowInItsOwnAspectWithoutTellingTheClient) {
  startNotes();
  session_->setWindowScale(0.5);
  advance(milliseconds(300));
  EXPECT_EQ(frameOf(77).size, (PointSize{533, 400}));
  EXPECT_THAT(fitStates(), IsEmpty());
  EXPECT_EQ(started().back().pixelWidth, 532);
}

TEST_F(StreamWindowTest, saysThatAWindowWithoutAccessibilityIsNotFitted) {
  setClientView();
  addNotes().isAccessible = false;
  start();
  EXPECT_THAT(fitStates(), ElementsAre(false));
  EXPECT_EQ(started().at(0), (StreamStarted{7, 640, 480, {{100, 50}, {640, 480}}}));
  EXPECT_EQ(log_.count("fit skipped (window 77 pid 42) — no AX window? (Accessibility granted?)"), 1U);
}

TEST_F(StreamWindowTest, reportsNoSkippedFitOfAScale) {
  startNotes();
  windows_->find(77)->isAccessible = false;
  session_->setWindowScale(0.5);
  advance(milliseconds(300));
  EXPECT_THAT(fitStates(), IsEmpty());
  EXPECT_EQ(log_.count("fit skipped (window 77 pid 42) — no AX window? (Accessibility granted?)"), 1U);
}

TEST_F(StreamWindowTest, skipsTheFitWithoutAScreen) {
  setClientView();
  windows_->screenFrames.clear();
  addNotes();
  start();
  EXPECT_THAT(fitStates(), ElementsAre(false));
  EXPECT_EQ(started().size(), 1U);
}

TEST_F(StreamWindowTest, changesNoOtherWindowWhenItsOwnVanishesBeforeTheFit) {
  setClientView();
  addNotes();
  addWindow(78, 42, "Notes", {{0, 40}, {500, 400}});
  windows_->beforeCall = [this](const std::string& call) {
    if (call == "windowBounds 77") windows_->destroy(77);
  };
  start();
  EXPECT_THAT(sizesSet(), IsEmpty());
  expectFailure("stream.target", "window 77 not found");
}

// Applications

TEST_F(StreamWindowTest, showsTheFrontWindowOfAnApplication) {
  addWindow(76, 42, "Palette", {{0, 40}, {99, 400}});
  addNotes();
  startApp();
  EXPECT_EQ(std::get<WindowFilter>(screen_->lastStream().filter).windowID, 77U);
  EXPECT_THAT(windows_->changes(), ElementsAre("activate 42"));
  EXPECT_EQ(started().at(0), (StreamStarted{7, 640, 480, {{100, 50}, {640, 480}}}));
}

TEST_F(StreamWindowTest, fitsTheFrontWindowAndReportsWhereItIsThen) {
  setClientView();
  addNotes().step = {7, 13};
  startApp();
  EXPECT_THAT(fitStates(), ElementsAre(true));
  EXPECT_EQ(started().at(0), (StreamStarted{7, 1200, 800, {{0, 32}, {1197, 793}}}));
}

TEST_F(StreamWindowTest, bringsAMinimisedFrontWindowOfAnApplicationBack) {
  auto& notes = addNotes();
  notes.isMinimized = true;
  notes.isOnScreen = false;
  startApp();
  EXPECT_FALSE(windows_->find(77)->isMinimized);
  EXPECT_EQ(started().size(), 1U);
}

TEST_F(StreamWindowTest, showsAWindowlessApplicationWithTheUnionOfItsWindows) {
  addWindow(80, 42, "a", {{10, 40}, {50, 50}});
  addWindow(81, 42, "b", {{100, 60}, {50, 50}});
  addWindow(82, 42, "panel", {{900, 60}, {50, 50}}).layer = 3;
  addWindow(83, 42, "hidden", {{900, 60}, {50, 50}}).isOnScreen = false;
  addWindow(84, 43, "foreign", {{900, 60}, {50, 50}});
  startApp();
  EXPECT_EQ(std::get<ApplicationFilter>(screen_->lastStream().filter).pid, 42);
  EXPECT_EQ(started().at(0).contentRect, (PointRect{{10, 40}, {140, 70}}));
  EXPECT_THAT(fitStates(), ElementsAre(false));
}

TEST_F(StreamWindowTest, showsAnApplicationWithoutAnyWindowOnTheWholeDisplay) {
  startApp();
  EXPECT_EQ(started().at(0).contentRect, (PointRect{{0, 0}, {1440, 832}}));
  EXPECT_THAT(windows_->changes(), ElementsAre("activate 42"));
}

TEST_F(StreamWindowTest, saysNothingOfAWindowlessApplicationThatIsNotToBeFitted) {
  startApp();
  session_->setAutoFit(false);
  settle();
  EXPECT_THAT(fitStates(), ElementsAre(false)) << "that of the start";
  EXPECT_EQ(started().size(), 2U);
}

TEST_F(StreamWindowTest, showsTheApplicationWhenItsFrontWindowIsNotInTheContent) {
  addNotes();
  screen_->refresh = nullptr;
  screen_->content->applications.push_back({"org.example.notes", "Notes", 42});
  startApp();
  EXPECT_EQ(std::get<ApplicationFilter>(screen_->lastStream().filter).pid, 42);
}

TEST_F(StreamWindowTest, fitsTheFirstWindowThatAnApplicationOpensLater) {
  setClientView();
  startApp();
  ASSERT_THAT(fitStates(), ElementsAre(false));
  addNotes();
  advance(milliseconds(1'300));
  EXPECT_THAT(fitStates(), ElementsAre(false, true));
  EXPECT_EQ(std::get<WindowFilter>(screen_->lastStream().filter).windowID, 77U);
  EXPECT_TRUE(session_->fitState().autoFit);
}

TEST_F(StreamWindowTest, goesOnWithTheNextWindowWhenTheCapturedOneCloses) {
  setClientView();
  addWindow(78, 42, "Save?", {{300, 300}, {800, 500}});
  addNotes();
  startApp();
  ASSERT_EQ(std::get<WindowFilter>(screen_->lastStream().filter).windowID, 78U);
  windows_->destroy(78);
  endCapture();
  EXPECT_EQ(screen_->runningStreams(), 0U);
  EXPECT_EQ(compressors_->runningSessions(), 0U);
  advance(milliseconds(299));
  EXPECT_EQ(screen_->streams().size(), 1U);
  advance(milliseconds(1));
  EXPECT_EQ(std::get<WindowFilter>(screen_->lastStream().filter).windowID, 77U);
  EXPECT_THAT(errors(), IsEmpty());
  EXPECT_EQ(started().size(), 2U);
  EXPECT_EQ(frameOf(77).size, (PointSize{1200, 800}));
  stop();
  EXPECT_EQ(frameOf(77), (PointRect{{100, 50}, {640, 480}})) << "each window gets its own frame back";
}

TEST_F(StreamWindowTest, goesOnWithTheNextWindowWhenTheCapturedOneIsOnlyHidden) {
  setClientView();
  addWindow(78, 42, "Save?", {{300, 300}, {800, 500}});
  addNotes();
  startApp();
  windows_->destroy(78);  // the capture reports nothing
  advance(milliseconds(1'300));
  EXPECT_EQ(std::get<WindowFilter>(screen_->lastStream().filter).windowID, 77U);
  EXPECT_EQ(screen_->runningStreams(), 1U);
  EXPECT_TRUE(session_->fitState().autoFit) << "the user has resized nothing";
  EXPECT_THAT(fitStates(), ElementsAre(true, true));
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(StreamWindowTest, showsTheDisplayWhenAnApplicationHidesItsOnlyWindow) {
  addNotes();
  startApp();
  windows_->destroy(77);
  advance(milliseconds(1'300));
  EXPECT_EQ(std::get<ApplicationFilter>(screen_->lastStream().filter).pid, 42);
  EXPECT_EQ(started().back().contentRect, (PointRect{{0, 0}, {1440, 832}}));
}

TEST_F(StreamWindowTest, givesAWindowItsFrameBackWhenTheStreamGoesToAnother) {
  setClientView();
  addNotes();
  startApp();
  windows_->find(77)->isOnScreen = false;
  addWindow(78, 42, "Front", {{300, 300}, {800, 500}});
  session_->updateAspect(1000, 1000);
  advance(milliseconds(300));
  EXPECT_EQ(std::get<WindowFilter>(screen_->lastStream().filter).windowID, 78U);
  EXPECT_EQ(frameOf(77), (PointRect{{100, 50}, {640, 480}}));
  EXPECT_EQ(frameOf(78).size, (PointSize{800, 800}));
  stop();
  EXPECT_EQ(frameOf(78), (PointRect{{300, 300}, {800, 500}}));
}

TEST_F(StreamWindowTest, failsWhenTheApplicationOfTheClosedWindowIsGone) {
  addNotes();
  startApp();
  windows_->destroy(77);
  applications_.clear();
  endCapture();
  EXPECT_THAT(errors(), IsEmpty());
  advance(milliseconds(300));
  expectFailure("stream.target", "app org.example.notes not running");
}

TEST_F(StreamWindowTest, goesOnWhenTheFrontWindowClosesDuringTheSetUp) {
  addNotes();
  screen_->holdsGeometryAnswers = true;
  screen_->geometryError = PortError{"BadWindow", 3};
  startApp();
  windows_->destroy(77);
  screen_->holdsGeometryAnswers = false;
  screen_->releaseGeometryAnswers();
  settle();
  screen_->geometryError.reset();
  advance(milliseconds(300));
  EXPECT_THAT(errors(), IsEmpty());
  EXPECT_EQ(std::get<ApplicationFilter>(screen_->lastStream().filter).pid, 42);
}

TEST_F(StreamWindowTest, failsAtOnceWhenTheCaptureOfAnApplicationDoesNotStart) {
  addNotes();
  screen_->startError = PortError{"not mapped", 0};
  startApp();
  expectFailure("stream.start", "not mapped");
  advance(seconds(30));
  EXPECT_EQ(screen_->streams().size(), 1U);
}

TEST_F(StreamWindowTest, keepsAnApplicationsWindowWhileTheWindowServerDoesNotAnswer) {
  addNotes();
  startApp();
  windows_->answers = false;
  advance(seconds(60));
  EXPECT_TRUE(errors().empty());
  EXPECT_EQ(screen_->streams().size(), 1U);
  EXPECT_EQ(session_->currentContentRect(), frameOf(77));
  windows_->answers = true;
  windows_->find(77)->frame.origin = {10, 40};
  advance(seconds(1));
  EXPECT_EQ(started().back().contentRect, frameOf(77));
  EXPECT_EQ(screen_->streams().size(), 1U);
}

TEST_F(StreamWindowTest, endsAStreamWhoseApplicationNeverKeepsAWindow) {
  addNotes();
  startApp();
  for (int round = 0; round < 11; ++round) {
    EXPECT_THAT(errors(), IsEmpty());
    endCapture();
    advance(milliseconds(300));
  }
  EXPECT_EQ(errors().size(), 1U);
  EXPECT_EQ(screen_->streams().size(), 11U);
}

TEST_F(StreamWindowTest, countsOnlyWindowsThatAreLostSoon) {
  addNotes();
  startApp();
  for (int round = 0; round < 30; ++round) {
    endCapture();
    advance(milliseconds(1'300));
  }
  EXPECT_THAT(errors(), IsEmpty());
  EXPECT_EQ(screen_->runningStreams(), 1U);
}

TEST_F(StreamWindowTest, failsWhenTheWindowOfAWindowTargetIsDestroyed) {
  startFittedNotes();
  windows_->destroy(77);
  endCapture();
  expectFailure("stream.capture", "the window was closed");
  advance(seconds(5));
  EXPECT_EQ(screen_->streams().size(), 1U);
}

// Following

TEST_F(StreamWindowTest, announcesAMovedWindowWithinASecond) {
  startNotes();
  windows_->find(77)->frame.origin = {300, 200};
  advance(milliseconds(999));
  EXPECT_EQ(started().size(), 1U);
  advance(milliseconds(1));
  ASSERT_EQ(started().size(), 2U);
  EXPECT_EQ(started()[1], (StreamStarted{7, 640, 480, {{300, 200}, {640, 480}}}));
  EXPECT_EQ(session_->currentContentRect(), (PointRect{{300, 200}, {640, 480}}));
  advance(seconds(5));
  EXPECT_EQ(started().size(), 2U);
  EXPECT_EQ(screen_->streams().size(), 1U) << "the capture goes on";
}

TEST_F(StreamWindowTest, tracksNoDisplay) {
  addNotes();
  request_.target = streamTarget::Unified{};
  start();
  settle();
  session_->raiseForInput({});
  advance(seconds(5));
  EXPECT_THAT(windows_->calls, IsEmpty());
}

TEST_F(StreamWindowTest, keepsTheLastPlaceOfAWindowThatIsGoneOrEmpty) {
  startNotes();
  windows_->find(77)->frame.size = {0, 480};
  advance(seconds(2));
  windows_->destroy(77);
  advance(seconds(2));
  EXPECT_EQ(started().size(), 1U);
  EXPECT_EQ(session_->currentContentRect(), (PointRect{{100, 50}, {640, 480}}));
}

TEST_F(StreamWindowTest, ignoresThePlaceThatACaptureReportsOfAWindow) {
  startFittedNotes();
  screen_->placeDisplay({{0, 0}, {1440, 832}});
  advance(milliseconds(500));
  EXPECT_EQ(started().size(), 1U);
}

TEST_F(StreamWindowTest, followsTheUnionOfAnApplicationsWindows) {
  addWindow(80, 42, "a", {{10, 40}, {50, 50}});
  startApp();
  addWindow(81, 42, "b", {{60, 40}, {8, 50}});
  advance(seconds(1));
  ASSERT_EQ(started().size(), 2U);
  EXPECT_EQ(started()[1].contentRect, (PointRect{{10, 40}, {58, 50}}));
  EXPECT_TRUE(session_->fitState().autoFit);
}

// Raising

TEST_F(StreamWindowTest, raisesTheWindowForInputAtMostOnceASecond) {
  startNotes();
  windows_->frontmost = 7;
  windows_->calls.clear();
  session_->raiseForInput({});
  session_->raiseForInput({});
  scheduler_.runReady();
  EXPECT_THAT(windows_->calls, IsEmpty()) << "the main thread has not run";
  mainThread_->runPending();
  EXPECT_THAT(windows_->changes(), ElementsAre("setMinimized 77 false", "activate 42 77"));
  windows_->calls.clear();
  windows_->frontmost = 7;
  advance(seconds(1));
  session_->raiseForInput({});
  settle();
  EXPECT_THAT(windows_->changes(), IsEmpty()) << "a second is not more than a second";
  advance(Duration(1));
  session_->raiseForInput({});
  settle();
  EXPECT_THAT(windows_->changes(), Contains("activate 42 77"));
}

TEST_F(StreamWindowTest, raisesNothingInTheFrontmostApplication) {
  startNotes();
  windows_->frontmost = 42;
  windows_->calls.clear();
  session_->raiseForInput({});
  settle();
  EXPECT_THAT(windows_->calls, ElementsAre("frontmostApplication"));
}

TEST_F(StreamWindowTest, raisesNothingAfterStop) {
  startNotes();
  stop();
  windows_->frontmost = 7;
  windows_->calls.clear();
  session_->raiseForInput({});
  settle();
  EXPECT_THAT(windows_->calls, IsEmpty());
}

TEST_F(StreamWindowTest, holdsInputUntilTheWindowIsInFront) {
  startNotes();
  windows_->frontmost = 7;
  windows_->calls.clear();
  session_->raiseForInput(holdInput());
  EXPECT_THAT(windows_->calls, ElementsAre("hold")) << "in place, before the click is passed on";
  scheduler_.runReady();
  EXPECT_THAT(windows_->calls, ElementsAre("hold")) << "the main thread has not run";
  mainThread_->runPending();
  EXPECT_THAT(windows_->changes(), ElementsAre("setMinimized 77 false", "activate 42 77"));
  EXPECT_EQ(windows_->calls.back(), "release");
}

TEST_F(StreamWindowTest, holdsNoInputWithinASecondOfTheLastRaise) {
  startNotes();
  session_->raiseForInput({});
  settle();
  windows_->calls.clear();
  session_->raiseForInput(holdInput());
  settle();
  EXPECT_THAT(windows_->calls, IsEmpty());
}

TEST_F(StreamWindowTest, releasesInputAtOnceInTheFrontmostApplicationAndAfterStop) {
  startNotes();
  windows_->frontmost = 42;
  windows_->calls.clear();
  session_->raiseForInput(holdInput());
  settle();
  EXPECT_THAT(windows_->calls, ElementsAre("hold", "frontmostApplication", "release"));
  stop();
  advance(seconds(2));
  windows_->calls.clear();
  session_->raiseForInput(holdInput());
  settle();
  EXPECT_THAT(windows_->calls, ElementsAre("hold", "release"));
}

TEST_F(StreamWindowTest, doesWithoutThePortForWindows) {
  platform_.windows = nullptr;
  setClientView();
  startNotes();
  EXPECT_THAT(fitStates(), ElementsAre(false));
  EXPECT_EQ(started().at(0), (StreamStarted{7, 640, 480, {{100, 50}, {640, 480}}}));
  session_->raiseForInput({});
  windows_->find(77)->frame.origin = {300, 200};
  advance(seconds(5));
  EXPECT_EQ(started().size(), 1U);
  stop();
  EXPECT_THAT(windows_->calls, IsEmpty());
}

TEST_F(StreamWindowTest, findsAnApplicationsFrontWindowWithoutThePortForWindows) {
  platform_.windows = nullptr;
  addNotes();
  startApp();
  EXPECT_EQ(std::get<WindowFilter>(screen_->lastStream().filter).windowID, 77U);
}

}  // namespace
}  // namespace quorl::test
