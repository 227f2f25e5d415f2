// SPDX-License-Identifier: GPL-3.0-or-later
// All windows of one process on a display.
#include <unistd.h>

#include "WindowCaptureFixture.h"

namespace quorl::test {
namespace {

class ApplicationCapture : public WindowCaptureFixture {
 protected:
  ApplicationFilter own() { return {harness.content().displays.at(0).displayID, ::getpid()}; }
  ApplicationFilter of(std::int32_t pid) { return {harness.content().displays.at(0).displayID, pid}; }
  static CaptureSettings wholeSize() {
    auto result = settingsOf(800, 600);
    result.queueDepth = 64;
    return result;
  }
  /// Another program with a green window at the origin.
  HelperProgram startGreenProgram() {
    auto program = server.start({"xlogo", "-geometry", "300x300+0+0", "-bg", "#00ff00", "-fg", "#00ff00"});
    EXPECT_TRUE(eventually([&] { return client.read({50, 50, 1, 1}).front() == green; }));
    return program;
  }
  std::unique_ptr<CaptureStream> startOwn() { return harness.start(own(), wholeSize(), deliveries); }
};

TEST_F(ApplicationCapture, showsTheWindowsOfTheProcessInTheirOrderOverBlack) {
  client.fillRoot({0, 0, 800, 600}, white);
  makeWindow({100, 100, 200, 150}, blue);
  const auto upper = makeWindow({200, 150, 200, 150}, red);
  const auto stream = startOwn();
  EXPECT_TRUE(shows(110, 110, blue));
  EXPECT_TRUE(shows(210, 160, red));
  EXPECT_TRUE(shows(390, 290, red));
  EXPECT_TRUE(shows(50, 50, 0));
  client.lower(upper);
  EXPECT_TRUE(nowShows(210, 160, blue));
  EXPECT_TRUE(nowShows(390, 290, red));
}

TEST_F(ApplicationCapture, leavesOutOtherProgramsWindowsAndWhatTheyCover) {
  makeWindow({200, 200, 200, 150}, blue);
  const auto other = startGreenProgram();
  const auto stream = startOwn();
  EXPECT_TRUE(shows(250, 250, blue));
  EXPECT_TRUE(nowShows(50, 50, 0));
  Deliveries theirs;
  const auto their = harness.start(of(other.pid()), wholeSize(), theirs);
  EXPECT_TRUE(theirs.waitForColor(250, 250, green));
  EXPECT_TRUE(theirs.waitForColor(350, 330, 0));
}

TEST_F(ApplicationCapture, followsWindowsThatAppearMoveChangeAndDisappear) {
  const auto first = makeWindow({100, 100, 100, 100}, blue);
  const auto stream = startOwn();
  ASSERT_TRUE(shows(150, 150, blue));
  const auto second = makeWindow({400, 300, 100, 100}, red);
  EXPECT_TRUE(nowShows(450, 350, red));
  client.moveResize(second, {500, 400, 50, 50});
  EXPECT_TRUE(nowShows(450, 350, 0));
  EXPECT_TRUE(nowShows(545, 445, red));
  client.fill(first, {0, 0, 20, 20}, green);
  EXPECT_TRUE(nowShows(110, 110, green));
  client.unmap(first);
  EXPECT_TRUE(nowShows(110, 110, 0));
  client.destroy(second);
  EXPECT_TRUE(nowShows(545, 445, 0));
  makeWindow({0, 0, 20, 20}, white);
  EXPECT_TRUE(nowShows(10, 10, white));
}

TEST_F(ApplicationCapture, showsTheWindowsOnOneDisplayOnly) {
  client.setMonitor("LEFT", {0, 0, 400, 600}, true);
  client.setMonitor("RIGHT", {400, 0, 400, 600});
  ASSERT_TRUE(eventually([&] { return harness.content().displays.size() == 2; }));
  makeWindow({350, 100, 100, 100}, blue);
  std::uint32_t right = 0;
  for (const auto& display : harness.content().displays)
    if (display.bounds.origin.x > 0) right = display.displayID;
  const ApplicationFilter filter{right, ::getpid()};
  EXPECT_EQ(harness.geometry(filter)->contentSize, (PointSize{400, 600}));
  const auto stream = harness.start(filter, settingsOf(400, 600), deliveries);
  EXPECT_TRUE(shows(25, 150, blue));
  EXPECT_TRUE(shows(75, 150, 0));
}

TEST_F(ApplicationCapture, endsWhenTheProcessHasEnded) {
  auto other = startGreenProgram();
  const auto stream = harness.start(of(other.pid()), wholeSize(), deliveries);
  other.kill();
  const auto error = deliveries.waitForStop();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->description, "the application has ended");
}

TEST_F(ApplicationCapture, continuesWhileTheProcessHasNoWindow) {
  const auto window = makeWindow({100, 100, 100, 100}, blue);
  const auto stream = startOwn();
  ASSERT_TRUE(shows(150, 150, blue));
  client.destroy(window);
  ASSERT_TRUE(nowShows(150, 150, 0));
  makeWindow({200, 200, 100, 100}, red);
  EXPECT_TRUE(nowShows(250, 250, red));
}

TEST_F(ApplicationCapture, isRefusedForAProcessWithoutADisplayAndAnUnknownDisplay) {
  EXPECT_FALSE(harness.startResult(of(1), wholeSize(), deliveries).has_value());
  EXPECT_FALSE(harness.startResult(of(-1), wholeSize(), deliveries).has_value());
  EXPECT_FALSE(harness.startResult(ApplicationFilter{1, ::getpid()}, wholeSize(), deliveries).has_value());
  EXPECT_FALSE(harness.geometry(ApplicationFilter{1, ::getpid()}).has_value());
}

TEST_F(ApplicationCapture, isAsLargeAsTheDisplay) {
  EXPECT_EQ(harness.geometry(own())->contentSize, (PointSize{800, 600}));
}

TEST_F(ApplicationCapture, isFetchedOnceForTwoStreams) {
  const auto window = makeWindow({100, 100, 100, 100}, blue);
  Deliveries second;
  const auto stream = startOwn();
  const auto another = harness.start(own(), wholeSize(), second);
  const auto before = harness.capture.captureGrabs();
  for (std::uint32_t i = 1; i <= 10; ++i) {
    client.fill(window, {0, 0, 100, 100}, i * 0x110B07);
    ASSERT_TRUE(deliveries.waitForColor(150, 150, i * 0x110B07));
    ASSERT_TRUE(second.waitForColor(150, 150, i * 0x110B07));
  }
  EXPECT_LE(harness.capture.captureGrabs() - before, 10U);
}

TEST_F(ApplicationCapture, sharesAWindowWithAStreamOfThatWindow) {
  const auto window = makeBlueWindow();
  const auto whole = startOwn();
  ASSERT_TRUE(shows(150, 150, blue));
  Deliveries alone;
  {
    const auto stream = harness.start(WindowFilter{window}, settings(), alone);
    ASSERT_TRUE(alone.waitForColor(50, 50, blue));
    client.setBackground(window, red);
    EXPECT_TRUE(alone.waitForColor(50, 50, red));
  }
  client.setBackground(window, green);
  EXPECT_TRUE(nowShows(150, 150, green));
}

}  // namespace
}  // namespace quorl::test
