// SPDX-License-Identifier: GPL-3.0-or-later
// The windows of one process. Windows that a test makes as a menu are override-redirect.
#include <unistd.h>

#include <QuorlHostLinux/X11/Windows/X11WindowControl.h>

#include "WindowCaptureFixture.h"

namespace quorl::test {
namespace {

class ApplicationCapture : public WindowCaptureFixture {
 protected:
  using WindowCaptureFixture::WindowCaptureFixture;

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
  std::uint32_t makeOrdinary(const PixelRect& bounds, std::uint32_t color) {
    const auto window = client.makeWindow(bounds, TestClient::Managed::yes);
    client.setBackground(window, color);
    return window;
  }
  PointSize size() { return harness.geometry(own()).value_or(FilterGeometry{}).contentSize; }
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
  const auto their = harness.start(of(other.pid()), settingsOf(300, 300), theirs);
  EXPECT_TRUE(theirs.waitForColor(290, 290, green));
  EXPECT_TRUE(theirs.waitForColor(250, 250, green));
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

TEST_F(ApplicationCapture, isAsLargeAsTheDisplayWithoutAnOrdinaryWindow) {
  makeWindow({100, 100, 100, 100}, blue);
  EXPECT_EQ(size(), (PointSize{800, 600}));
}

TEST_F(ApplicationCapture, showsTheUnionOfTheOrdinaryWindows) {
  makeOrdinary({100, 100, 50, 40}, blue);
  makeOrdinary({300, 250, 60, 50}, red);
  startGreenProgram();
  EXPECT_EQ(size(), (PointSize{260, 200}));
  const auto stream = harness.start(own(), settingsOf(260, 200), deliveries);
  EXPECT_TRUE(shows(2, 2, blue));
  EXPECT_TRUE(nowShows(257, 197, red));
  EXPECT_TRUE(nowShows(130, 100, 0));
}

TEST_F(ApplicationCapture, showsMenusInsideTheUnionOnly) {
  makeOrdinary({100, 100, 200, 150}, blue);
  makeWindow({250, 200, 200, 150}, red);
  EXPECT_EQ(size(), (PointSize{200, 150}));
  const auto stream = harness.start(own(), settingsOf(200, 150), deliveries);
  EXPECT_TRUE(shows(2, 2, blue));
  EXPECT_TRUE(nowShows(197, 147, red));
}

TEST_F(ApplicationCapture, showsThePartsOutsideTheDisplay) {
  const auto window = makeOrdinary({100, 100, 100, 80}, blue);
  client.moveResize(window, {-50, -30, 100, 80});
  EXPECT_EQ(size(), (PointSize{100, 80}));
  const auto stream = harness.start(own(), settingsOf(100, 80), deliveries);
  EXPECT_TRUE(shows(97, 77, blue));
  client.fill(window, {0, 0, 20, 20}, red);
  EXPECT_TRUE(nowShows(4, 4, red));
}

TEST_F(ApplicationCapture, leavesTheShadowsOfWindowsOut) {
  const auto window = makeOrdinary({100, 100, 200, 150}, blue);
  client.setNumbers(window, "_GTK_FRAME_EXTENTS", XCB_ATOM_CARDINAL, {30, 30, 20, 40});
  EXPECT_EQ(size(), (PointSize{140, 90}));
  const auto stream = harness.start(own(), settingsOf(140, 90), deliveries);
  client.fill(window, {30, 20, 10, 10}, red);
  EXPECT_TRUE(nowShows(4, 4, red));
  client.setNumbers(window, "_GTK_FRAME_EXTENTS", XCB_ATOM_CARDINAL, {0, 0, 0, 0});
  EXPECT_TRUE(nowShows(2, 2, blue));
}

TEST_F(ApplicationCapture, isResizedWithTheUnion) {
  const auto first = makeOrdinary({100, 100, 100, 100}, blue);
  const auto stream = harness.start(own(), settingsOf(100, 100), deliveries);
  ASSERT_TRUE(shows(75, 50, blue));
  const auto second = makeOrdinary({200, 100, 100, 100}, red);
  EXPECT_TRUE(nowShows(75, 50, red));
  EXPECT_TRUE(nowShows(25, 50, blue));
  client.moveResize(second, {100, 200, 100, 100});
  EXPECT_TRUE(nowShows(75, 25, blue));
  EXPECT_TRUE(nowShows(75, 75, red));
  client.unmap(second);
  EXPECT_TRUE(nowShows(75, 75, blue));
  client.moveResize(first, {0, 0, 50, 50});
  EXPECT_TRUE(nowShows(97, 97, blue));
}

TEST_F(ApplicationCapture, keepsItsAreaWhenTheLastOrdinaryWindowGoes) {
  const auto window = makeOrdinary({100, 100, 100, 100}, blue);
  const auto stream = harness.start(own(), settingsOf(100, 100), deliveries);
  ASSERT_TRUE(shows(50, 50, blue));
  client.destroy(window);
  ASSERT_TRUE(nowShows(50, 50, 0));
  makeWindow({110, 110, 20, 20}, red);
  EXPECT_TRUE(nowShows(20, 20, red));
  makeOrdinary({300, 300, 40, 40}, green);
  EXPECT_TRUE(nowShows(2, 2, green));
  EXPECT_TRUE(nowShows(97, 97, green));
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

class ManagedApplicationCapture : public ApplicationCapture {
 protected:
  ManagedApplicationCapture() : ApplicationCapture(XServer::WindowManager::openbox) {}

  std::vector<ListedWindow> listed() {
    auto windows = control.windowList(WindowScope::onScreen).value_or(std::vector<ListedWindow>{});
    std::erase_if(windows, [](const auto& each) { return each.layer != 0 || each.pid != ::getpid(); });
    return windows;
  }
  /// What a stream without a front window takes as its content rectangle.
  PointRect listedUnion() {
    PointRect all;
    for (const auto& window : listed()) all = all.unionWith(window.bounds);
    return all;
  }
  bool hasListed(std::size_t count) {
    return eventually([&] { return listed().size() == count && size() == listedUnion().size; },
                      std::chrono::seconds(30));
  }

  X11WindowControl control{
      std::make_shared<WindowSession>(X11DisplayName([name = server.display()] { return name; }))};
};

TEST_F(ManagedApplicationCapture, showsTheContentRectangleThatTheWindowListGives) {
  const auto left = makeOrdinary({100, 100, 90, 50}, blue);
  const auto right = makeOrdinary({300, 250, 90, 50}, red);
  ASSERT_TRUE(hasListed(2));
  const PointRect before = listedUnion();
  // Pictures have even sides.
  const auto even = [](double length) { return static_cast<int>(length) / 2 * 2; };
  const auto stream =
      harness.start(own(), settingsOf(even(before.size.width), even(before.size.height)), deliveries);
  const auto middleOf = [&](std::uint32_t window) {
    const PointRect bounds = control.windowBounds(window).value_or(PointRect{});
    return std::pair{static_cast<int>(bounds.minX() - before.minX() + bounds.size.width / 2),
                     static_cast<int>(bounds.maxY() - before.minY() - 20)};
  };
  const auto [leftX, leftY] = middleOf(left);
  EXPECT_TRUE(shows(leftX, leftY, blue));
  const auto [rightX, rightY] = middleOf(right);
  EXPECT_TRUE(nowShows(rightX, rightY, red));
}

TEST_F(ManagedApplicationCapture, leavesMinimisedWindowsOutOfTheUnion) {
  const auto window = makeOrdinary({100, 100, 90, 50}, blue);
  const auto other = makeOrdinary({300, 250, 90, 50}, red);
  ASSERT_TRUE(hasListed(2));
  const auto stream = harness.start(own(), settingsOf(100, 100), deliveries);
  server.run({"xdotool", "windowminimize", std::to_string(other)});
  EXPECT_TRUE(nowShows(90, 80, blue));
  EXPECT_TRUE(hasListed(1));
  EXPECT_EQ(size(), control.windowBounds(window)->size);
}

}  // namespace
}  // namespace quorl::test
