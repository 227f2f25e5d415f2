// SPDX-License-Identifier: GPL-3.0-or-later
// Pictures of a window through all that programs, people and window managers do to it.
#include <atomic>
#include <future>

#include <QuorlHostLinux/X11/Windows/X11WindowControl.h>

#include "WindowCaptureFixture.h"

namespace quorl::test {
namespace {

class WindowPictures : public WindowCaptureFixture {
 protected:
  std::future<std::expected<void, PortError>> startLater(std::uint32_t window) {
    auto opened = harness.open(WindowFilter{window}, settings(), deliveries);
    EXPECT_TRUE(opened.has_value());
    later = std::move(*opened);
    auto promise = std::make_shared<std::promise<std::expected<void, PortError>>>();
    later->start([promise](auto result) { promise->set_value(result); });
    return promise->get_future();
  }
  /// Another window over the whole screen that is not a menu of the first.
  void cover() { client.setBackground(client.makeWindow({0, 0, 800, 600}, TestClient::Managed::yes), red); }
  /// A blue window of 184 x 120 with a green title bar 30 high, in a frame whose red edges are no part
  /// of the decoration.
  std::uint32_t makeFramedWindow() {
    frame_ = client.makeWindow({100, 80, 200, 168}, TestClient::Managed::yes);
    client.setBackground(frame_, red);
    const auto titleBar = makeWindow({0, 0, 184, 30}, green);
    client.reparent(titleBar, frame_, 8, 10);
    const auto window = makeWindow({0, 0, 184, 120}, blue);
    client.setNumbers(window, "_NET_FRAME_EXTENTS", XCB_ATOM_CARDINAL, {0, 0, 30, 0});
    client.reparent(window, frame_, 8, 40);
    return window;
  }
  /// Returns when the capture has taken up all events sent so far.
  void settle() {
    const auto marker = harness.start(DisplayFilter{harness.content().displays.at(0).displayID},
                                      {.size = {800, 600}}, elsewhere);
    marker->stop();
  }

  std::uint32_t frame_ = 0;
  std::unique_ptr<CaptureStream> later;
  Deliveries elsewhere;
};

TEST_F(WindowPictures, includeTheBorderAndTheChangesNextToIt) {
  const auto window = makeBlueWindow();
  client.setBorder(window, 10, green);
  ASSERT_EQ(harness.geometry(WindowFilter{window})->contentSize, (PointSize{220, 170}));
  auto settings = settingsOf(220, 170);
  const auto stream = harness.start(WindowFilter{window}, settings, deliveries);
  EXPECT_TRUE(shows(4, 4, green));
  client.fill(window, {180, 130, 20, 20}, red);
  EXPECT_TRUE(nowShows(207, 157, red));
}

TEST_F(WindowPictures, leaveOutTheShadowThatAProgramDrawsAroundItself) {
  const auto window = makeBlueWindow();
  client.fill(window, {30, 20, 140, 90}, red);
  client.setNumbers(window, "_GTK_FRAME_EXTENTS", XCB_ATOM_CARDINAL, {30, 30, 20, 40});
  EXPECT_EQ(harness.geometry(WindowFilter{window})->contentSize, (PointSize{140, 90}));
  const auto stream = harness.start(WindowFilter{window}, settingsOf(140, 90), deliveries);
  EXPECT_TRUE(shows(0, 0, red));
  EXPECT_TRUE(shows(138, 88, red));
  client.fill(window, {30, 20, 10, 10}, green);
  EXPECT_TRUE(nowShows(4, 4, green));
}

TEST_F(WindowPictures, followAShadowThatAProgramRemoves) {
  const auto window = makeBlueWindow();
  client.fill(window, {50, 30, 100, 90}, red);
  client.setNumbers(window, "_GTK_FRAME_EXTENTS", XCB_ATOM_CARDINAL, {50, 50, 30, 30});
  const auto stream = harness.start(WindowFilter{window}, settingsOf(200, 150), deliveries);
  ASSERT_TRUE(shows(2, 2, red));
  client.setNumbers(window, "_GTK_FRAME_EXTENTS", XCB_ATOM_CARDINAL, {0, 0, 0, 0});
  EXPECT_TRUE(nowShows(2, 2, blue));
  // Absurd values count as none.
  client.setNumbers(window, "_GTK_FRAME_EXTENTS", XCB_ATOM_CARDINAL, {0xFFFFFFFF, 100'000, 3, 3});
  client.fill(window, {0, 0, 20, 20}, green);
  EXPECT_TRUE(nowShows(2, 2, green));
}

TEST_F(WindowPictures, leaveOutTheInvisibleBordersOfAFrame) {
  const auto window = makeFramedWindow();
  X11WindowControl control(
      std::make_shared<WindowSession>(X11DisplayName([name = server.display()] { return name; })));
  EXPECT_EQ(control.windowBounds(window), (PointRect{{108, 90}, {184, 150}}));
  EXPECT_EQ(harness.geometry(WindowFilter{window})->contentSize, (PointSize{184, 150}));
  const auto stream = harness.start(WindowFilter{window}, settingsOf(184, 150), deliveries);
  EXPECT_TRUE(shows(4, 10, green)) << "the title bar";
  EXPECT_TRUE(nowShows(180, 10, green));
  EXPECT_TRUE(nowShows(4, 145, blue));
  EXPECT_TRUE(nowShows(180, 145, blue));
}

TEST_F(WindowPictures, followADecorationThatTheWindowManagerChanges) {
  const auto window = makeFramedWindow();
  const auto stream = harness.start(WindowFilter{window}, settingsOf(184, 150), deliveries);
  ASSERT_TRUE(shows(90, 10, green));
  client.setNumbers(window, "_NET_FRAME_EXTENTS", XCB_ATOM_CARDINAL, {0, 0, 0, 0});
  EXPECT_TRUE(nowShows(90, 2, blue));
  EXPECT_TRUE(nowShows(90, 145, blue));
}

TEST_F(WindowPictures, ofAShadedWindowAreItsTitleBar) {
  const auto window = makeFramedWindow();
  const auto stream = harness.start(WindowFilter{window}, settingsOf(184, 30), deliveries);
  ASSERT_TRUE(shows(90, 20, blue));
  client.moveResize(frame_, {100, 80, 200, 40});
  EXPECT_EQ(harness.geometry(WindowFilter{window})->contentSize, (PointSize{184, 30}));
  EXPECT_TRUE(nowShows(90, 20, green));
}

TEST_F(WindowPictures, showNothingOutsideTheShapeOfAWindow) {
  cover();
  const auto window = client.makeWindow(place);
  client.unmap(window);
  client.setShape(window, {50, 40, 100, 70});
  client.setBackground(window, blue);
  client.lower(window);
  client.map(window);
  const auto stream = start(window);
  EXPECT_TRUE(shows(100, 75, blue));
  client.setBackground(window, green);
  EXPECT_TRUE(nowShows(100, 75, green));
  for (const auto& picture : deliveries.all()) EXPECT_EQ(colorAt(*picture.image, 20, 20), 0U);
}

TEST_F(WindowPictures, neverShowWhatCoversTheWindow) {
  const auto window = makeBlueWindow();
  // A program that paints its window itself, and does not right now.
  client.setNoBackground(window);
  cover();
  const auto stream = start(window);
  client.fill(window, {0, 0, 50, 50}, green);
  ASSERT_TRUE(nowShows(20, 20, green));
  EXPECT_TRUE(neverShowed(100, 100, red));
  client.fill(window, {0, 0, 200, 150}, white);
  EXPECT_TRUE(nowShows(100, 100, white));
}

TEST_F(WindowPictures, followTheWindowThatMoves) {
  client.setBlockCursor(8, white);
  client.movePointer(160, 150);
  const auto window = makeBlueWindow();
  const auto stream = start(window, true);
  ASSERT_TRUE(shows(63, 53, white));
  client.moveResize(window, {60, 50, 200, 150});
  EXPECT_TRUE(nowShows(103, 103, white));
  EXPECT_TRUE(nowShows(63, 53, blue));
}

TEST_F(WindowPictures, waitForTheStartUntilTheWindowIsMapped) {
  const auto window = makeBlueWindow();
  client.unmap(window);
  auto started = startLater(window);
  settle();
  EXPECT_EQ(started.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  client.map(window);
  ASSERT_EQ(started.wait_for(std::chrono::seconds(30)), std::future_status::ready);
  EXPECT_TRUE(started.get().has_value());
  EXPECT_TRUE(shows(100, 75, blue));
}

TEST_F(WindowPictures, failToStartWhenTheWindowStaysUnmapped) {
  const auto window = makeBlueWindow();
  client.unmap(window);
  auto started = startLater(window);
  ASSERT_EQ(started.wait_for(std::chrono::seconds(30)), std::future_status::ready);
  const auto result = started.get();
  ASSERT_FALSE(result.has_value());
  EXPECT_EQ(result.error().description, "the window is not shown on the screen");
  // Nothing is left of it.
  client.map(window);
  settle();
  EXPECT_EQ(deliveries.count(), 0U);
}

TEST_F(WindowPictures, failToStartOnceWhenTheWindowIsDestroyedMeanwhile) {
  const auto window = makeBlueWindow();
  client.unmap(window);
  std::atomic<int> stops = 0;
  auto opened = harness.capture.makeStream(
      WindowFilter{window}, settings(), harness.queue,
      {.picture = {}, .placed = {}, .stopped = [&](const PortError&) { ++stops; }});
  std::promise<std::expected<void, PortError>> started;
  (*opened)->start([&](auto result) { started.set_value(result); });
  settle();
  client.destroy(window);
  const auto result = started.get_future().get();
  ASSERT_FALSE(result.has_value());
  EXPECT_EQ(result.error().description, "the window was closed");
  settle();
  EXPECT_EQ(stops, 0);
}

TEST_F(WindowPictures, endOnceWhenTheWindowIsDestroyed) {
  const auto window = makeBlueWindow();
  std::atomic<int> stops = 0;
  std::promise<void> stopped;
  auto opened = harness.capture.makeStream(WindowFilter{window}, settings(), harness.queue,
                                           {.picture = {}, .placed = {}, .stopped = [&](const PortError&) {
                                              if (++stops == 1) stopped.set_value();
                                            }});
  std::promise<bool> started;
  (*opened)->start([&](auto result) { started.set_value(result.has_value()); });
  ASSERT_TRUE(started.get_future().get());
  client.destroy(window);
  EXPECT_EQ(stopped.get_future().wait_for(std::chrono::seconds(30)), std::future_status::ready);
  settle();
  EXPECT_EQ(stops, 1);
}

TEST_F(WindowPictures, forgetAStartThatIsStoppedWhileItWaits) {
  const auto window = makeBlueWindow();
  client.unmap(window);
  std::atomic<bool> isAnswered = false;
  const auto stream = harness.open(WindowFilter{window}, settings(), deliveries);
  ASSERT_TRUE(stream);
  (*stream)->start([&](auto) { isAnswered = true; });
  settle();
  (*stream)->stop();
  client.map(window);
  settle();
  EXPECT_FALSE(isAnswered);
  EXPECT_EQ(deliveries.count(), 0U);
}

TEST_F(WindowPictures, areMadeOfAWindowOfOnePixel) {
  const auto window = makeWindow({100, 100, 1, 1}, blue);
  EXPECT_EQ(harness.geometry(WindowFilter{window})->contentSize, (PointSize{1, 1}));
  const auto stream = harness.start(WindowFilter{window}, settingsOf(2, 2), deliveries);
  EXPECT_TRUE(shows(0, 0, blue));
  EXPECT_TRUE(shows(1, 1, blue));
  client.setBackground(window, red);
  EXPECT_TRUE(nowShows(1, 1, red));
}

TEST_F(WindowPictures, areMadeOfAVeryWideWindow) {
  const auto window = makeWindow({0, 0, 16'000, 40}, blue);
  const auto stream = harness.start(WindowFilter{window}, settingsOf(1280, 2), deliveries);
  EXPECT_TRUE(shows(1270, 1, blue));
  client.setBackground(window, red);
  EXPECT_TRUE(nowShows(1270, 1, red));
}

TEST_F(WindowPictures, areRefusedForAWindowOfTooManyPixels) {
  const auto window = makeWindow({0, 0, 16'000, 16'000}, blue);
  const auto result = harness.startResult(WindowFilter{window}, settingsOf(1280, 1280), deliveries);
  ASSERT_FALSE(result.has_value());
  EXPECT_EQ(result.error().description, "a window of 16000 x 16000 is too large to be shown");
}

TEST_F(WindowPictures, areScaledWhenTheWindowBecomesTiny) {
  const auto window = makeBlueWindow();
  const auto stream = start(window);
  client.moveResize(window, {100, 100, 1, 1});
  client.setBackground(window, red);
  EXPECT_TRUE(nowShows(190, 140, red));
  client.moveResize(window, {100, 100, 400, 300});
  client.fill(window, {0, 0, 200, 150}, green);
  EXPECT_TRUE(nowShows(50, 50, green));
  EXPECT_TRUE(nowShows(150, 100, red));
}

TEST_F(WindowPictures, refuseTheRootAndWhatIsNoWindow) {
  EXPECT_FALSE(harness.startResult(WindowFilter{client.root()}, settings(), deliveries).has_value());
  for (const std::uint32_t absurd : {0U, 1U, 0xFFFFFFFFU, 0x20000000U}) {
    EXPECT_FALSE(harness.startResult(WindowFilter{absurd}, settings(), deliveries).has_value()) << absurd;
  }
}

TEST_F(WindowPictures, areFetchedOnceForAllStreamsOfAWindow) {
  constexpr std::size_t streamCount = 12;  // eight of one client, and one of each of four others
  const auto window = makeBlueWindow();
  std::vector<std::unique_ptr<Deliveries>> viewers;
  std::vector<std::unique_ptr<CaptureStream>> streams;
  for (std::size_t i = 0; i < streamCount; ++i) {
    viewers.push_back(std::make_unique<Deliveries>());
    streams.push_back(harness.start(WindowFilter{window}, settings(), *viewers.back()));
  }
  const auto before = harness.capture.captureGrabs();
  constexpr std::uint32_t changes = 20;
  for (std::uint32_t i = 1; i <= changes; ++i) {
    const std::uint32_t color = i * 0x0B0703;
    client.fill(window, {0, 0, 200, 150}, color);
    for (auto& viewer : viewers) {
      ASSERT_TRUE(viewer->waitForColor(100, 75, color)) << i;
      viewer->release();
    }
  }
  EXPECT_LE(harness.capture.captureGrabs() - before, changes);
}

class ManagedWindowPictures : public testing::Test {
 protected:
  static CaptureSettings settings() {
    auto result = settingsOf(200, 150);
    result.queueDepth = 64;
    return result;
  }
  std::uint32_t makeWindow(const std::string& title) {
    const auto window = client.makeWindow({100, 100, 200, 150}, TestClient::Managed::yes, title);
    client.setBackground(window, blue);
    return window;
  }
  void xdotool(const std::vector<std::string>& command, std::uint32_t window) {
    auto whole = command;
    whole.insert(whole.begin(), "xdotool");
    whole.push_back(std::to_string(window));
    server.run(whole);
  }
  bool isViewable(std::uint32_t window) {
    return server.run({"xwininfo", "-id", std::to_string(window)}).find("IsViewable") != std::string::npos;
  }
  bool nowShows(std::uint32_t color) {
    const std::size_t count = deliveries.count();
    return deliveries.waitForColor(100, 100, color, count == 0 ? 0 : count - 1).has_value();
  }

  XServer server{{.width = 800, .height = 600, .windowManager = XServer::WindowManager::openbox}};
  TestClient client{server.display()};
  Deliveries deliveries;
  CaptureHarness harness{server.display()};
};

TEST_F(ManagedWindowPictures, stayWhileTheWindowIsMinimisedAndResumeWhenItIsBack) {
  const auto window = makeWindow("iconic");
  const auto stream = harness.start(WindowFilter{window}, settings(), deliveries);
  ASSERT_TRUE(nowShows(blue));
  xdotool({"windowminimize"}, window);
  ASSERT_TRUE(eventually([&] { return !isViewable(window); }));
  Deliveries second;
  const auto another = harness.start(WindowFilter{window}, settings(), second);
  EXPECT_TRUE(second.waitForColor(100, 100, blue));
  client.setBackground(window, red);
  xdotool({"windowmap"}, window);
  EXPECT_TRUE(nowShows(red));
  EXPECT_TRUE(second.waitForColor(100, 100, red));
}

TEST_F(ManagedWindowPictures, stayWhileTheWindowIsOnAnotherWorkspace) {
  const auto window = makeWindow("away");
  server.run({"xdotool", "set_num_desktops", "2"});
  const auto stream = harness.start(WindowFilter{window}, settings(), deliveries);
  ASSERT_TRUE(nowShows(blue));
  server.run({"xdotool", "set_desktop_for_window", std::to_string(window), "1"});
  ASSERT_TRUE(eventually([&] { return !isViewable(window); }));
  EXPECT_TRUE(nowShows(blue));
  client.setBackground(window, red);
  server.run({"xdotool", "set_desktop", "1"});
  EXPECT_TRUE(nowShows(red));
}

TEST_F(ManagedWindowPictures, continueWhenTheWindowManagerIsKilledAndStartedAgain) {
  const auto window = makeWindow("orphan");
  const auto stream = harness.start(WindowFilter{window}, settings(), deliveries);
  ASSERT_TRUE(nowShows(blue));
  for (const std::uint32_t color : {red, green}) {
    server.killWindowManager();
    ASSERT_TRUE(
        eventually([&] { return harness.geometry(WindowFilter{window})->contentSize.height == 150; }));
    client.setBackground(window, color);
    EXPECT_TRUE(nowShows(color));
    server.restartWindowManager();
    ASSERT_TRUE(eventually([&] { return harness.geometry(WindowFilter{window})->contentSize.height > 150; },
                           std::chrono::seconds(30)));
    client.setBackground(window, color ^ 0x808080);
    EXPECT_TRUE(nowShows(color ^ 0x808080));
  }
}

TEST_F(ManagedWindowPictures, continueWhenTheWindowManagerIsKilledWhileTheWindowIsMinimised) {
  const auto window = makeWindow("sleeper");
  const auto stream = harness.start(WindowFilter{window}, settings(), deliveries);
  ASSERT_TRUE(nowShows(blue));
  xdotool({"windowminimize"}, window);
  ASSERT_TRUE(eventually([&] { return !isViewable(window); }));
  server.killWindowManager();
  server.restartWindowManager();
  client.setBackground(window, red);
  ASSERT_TRUE(eventually(
      [&] {
        xdotool({"windowmap"}, window);
        return isViewable(window);
      },
      std::chrono::seconds(30)));
  EXPECT_TRUE(nowShows(red));
}

TEST_F(ManagedWindowPictures, showADialogThatTheWindowManagerFrames) {
  const auto window = makeWindow("parent");
  const auto stream = harness.start(WindowFilter{window}, settings(), deliveries);
  const auto dialog = client.makeWindow({150, 150, 120, 90}, TestClient::Managed::yes, "dialog");
  client.unmap(dialog);
  client.setNumbers(dialog, "WM_TRANSIENT_FOR", XCB_ATOM_WINDOW, {window});
  client.setBackground(dialog, red);
  client.map(dialog);
  EXPECT_TRUE(nowShows(red));
  client.destroy(dialog);
  EXPECT_TRUE(nowShows(blue));
}

}  // namespace
}  // namespace quorl::test
