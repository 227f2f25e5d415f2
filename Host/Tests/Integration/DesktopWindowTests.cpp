// SPDX-License-Identifier: GPL-3.0-or-later
// The real program streams windows of a desktop with a window manager.
#include <optional>
#include <vector>

#include <xcb/xproto.h>

#include "DesktopStreamFixture.h"

namespace quorl::test {
namespace {

class DesktopWindow : public DesktopStreamFixture {
 protected:
  void SetUp() override {
    DesktopStreamFixture::SetUp();
    window = makeWindow(user, {100, 120, 300, 200}, "Notes", 0xFFFFFF);
    original = frameOf(window);
  }
  streamTarget::Window target() const { return {window}; }

  void startFitted() {
    viewer->start(target(), landscape);
    ASSERT_EQ(viewer->nextFit(), true);
    const auto started = viewer->nextStarted();
    ASSERT_TRUE(started);
    EXPECT_EQ(started->contentRect.size, fittedToLandscape);
  }

  std::uint32_t window = 0;
  PointRect original;
};

TEST_F(DesktopWindow, isFittedToTheViewAndGetsItsFrameBack) {
  viewer->start(target(), landscape);
  EXPECT_EQ(viewer->nextFit(), true);
  const auto started = viewer->nextStarted();
  ASSERT_TRUE(started);
  EXPECT_EQ(started->contentRect.size, fittedToLandscape);
  EXPECT_EQ(started->pixelWidth, 1000);
  EXPECT_EQ(started->pixelHeight, 750);
  EXPECT_TRUE(getsFrame(window, started->contentRect));
  viewer->stop();
  EXPECT_TRUE(getsFrame(window, original));
}

TEST_F(DesktopWindow, followsANewShapeOfTheView) {
  startFitted();
  viewer->client().send(message::ScreenInfo{StreamViewer::streamID, 400, 900});
  EXPECT_EQ(viewer->nextFit(), true);
  const auto started = viewer->nextStarted();
  ASSERT_TRUE(started);
  EXPECT_EQ(started->contentRect.size, (PointSize{356, 800}));
  viewer->fitToScreen(false);
  const auto free = viewer->nextStarted();
  ASSERT_TRUE(free);
  EXPECT_EQ(free->contentRect, original);
  EXPECT_EQ(frameOf(window), original);
}

TEST_F(DesktopWindow, getsItsFrameBackWhenTheClientVanishes) {
  startFitted();
  viewer->client().peer().reset();
  EXPECT_TRUE(getsFrame(window, original));
}

TEST_F(DesktopWindow, keepsItsOriginalFrameOverAReconnection) {
  startFitted();
  const auto before = std::exchange(viewer, std::make_unique<StreamViewer>(port));
  ASSERT_TRUE(viewer->client().authenticate(token));
  startFitted();
  before->client().peer().reset();
  viewer->updateLongestSide(500);
  const auto started = viewer->nextStarted();
  ASSERT_TRUE(started);
  EXPECT_EQ(started->contentRect.size, fittedToLandscape);
  viewer->stop();
  EXPECT_TRUE(getsFrame(window, original));
}

// A resize soon after the fit is the application's own settling, so the user tries again until the host
// gives in. Each try is announced with the window's new rectangle.
TEST_F(DesktopWindow, keepsTheFrameThatTheUserGivesIt) {
  startFitted();
  bool isFitted = true;
  int width = 500;
  server.run({"xdotool", "windowsize", std::to_string(window), std::to_string(width), "300"});
  for (int tries = 0; isFitted; ++tries) {
    ASSERT_LT(tries, 20) << "the host does not give in";
    const auto event = viewer->nextEvent();
    ASSERT_TRUE(event);
    if (const auto* fit = std::get_if<message::FitState>(&*event)) {
      isFitted = fit->fitted;
    } else {
      ASSERT_TRUE(std::holds_alternative<StreamStarted>(*event));
      width = width == 500 ? 600 : 500;
      server.run({"xdotool", "windowsize", std::to_string(window), std::to_string(width), "300"});
    }
  }
  std::optional<StreamStarted> started;
  do {
    started = viewer->nextStarted();
    ASSERT_TRUE(started);
  } while (started->contentRect.size.width < width ||
           started->pixelHeight > static_cast<std::int64_t>(started->contentRect.size.height));
  const PointRect chosen = frameOf(window);
  EXPECT_EQ(started->contentRect, chosen);
  EXPECT_EQ(started->pixelWidth, static_cast<std::int64_t>(chosen.size.width) / 2 * 2);
  viewer->stop();
  EXPECT_TRUE(viewer->client().echoes());
  EXPECT_EQ(frameOf(window), chosen);
}

// The second announcement corrects the first. Once the host has given up, the picture is the window's, and
// not stretched to the fit.
TEST_F(DesktopWindow, ofAFixedSizeKeepsItAndIsStreamed) {
  constexpr std::uint32_t minimumAndMaximum = 1U << 4 | 1U << 5;
  std::vector<std::uint32_t> hints(18);
  hints[0] = minimumAndMaximum;
  hints[5] = hints[7] = 300;
  hints[6] = hints[8] = 200;
  user.setNumbers(window, "WM_NORMAL_HINTS", XCB_ATOM_WM_SIZE_HINTS, hints);
  viewer->start(target(), landscape);
  auto started = viewer->nextStarted();
  ASSERT_TRUE(started);
  // openbox leaves out the resize handle of such a window, so its frame is not as high as before.
  while (started->contentRect.size.width != original.size.width) {
    started = viewer->nextStarted();
    ASSERT_TRUE(started);
  }
  EXPECT_EQ(started->contentRect.size, frameOf(window).size);
  const auto even = [](double side) { return static_cast<int>(side) / 2 * 2; };
  const PixelSize own{even(started->contentRect.size.width), even(started->contentRect.size.height)};
  while (started->pixelWidth != own.width) {
    started = viewer->nextStarted();
    ASSERT_TRUE(started);
  }
  EXPECT_EQ(started->pixelHeight, own.height);
  user.fill(window, {0, 0, 300, 200}, 0x000000);
  user.sync();
  EXPECT_TRUE(viewer->showsPicture([&](const client::DecodedPicture& picture) {
    return picture.size() == own && picture.luma(picture.size().width / 2, picture.size().height / 2) < 50;
  }));
}

TEST_F(DesktopWindow, startsAgainWithASmallerPictureAndTheSameFit) {
  startFitted();
  viewer->updateLongestSide(500);
  const auto started = viewer->nextStarted();
  ASSERT_TRUE(started);
  EXPECT_EQ(started->contentRect.size, fittedToLandscape);
  EXPECT_EQ(started->pixelWidth, 500);
  EXPECT_EQ(started->pixelHeight, 374);
  viewer->stop();
  EXPECT_TRUE(getsFrame(window, original));
}

TEST_F(DesktopWindow, endsItsStreamWhenItIsDestroyed) {
  viewer->start(target());
  ASSERT_TRUE(viewer->nextStarted());
  user.destroy(window);
  const auto error = viewer->nextError();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, "stream.capture");
  EXPECT_TRUE(viewer->client().echoes());
}

TEST_F(DesktopWindow, endsItsStreamWhenTheServerDies) {
  viewer->start(target(), landscape);
  ASSERT_TRUE(viewer->nextStarted());
  server.kill();
  const auto error = viewer->nextError();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, "stream.capture");
  EXPECT_TRUE(viewer->client().echoes());
  viewer->start(streamTarget::Unified{});
  EXPECT_TRUE(viewer->nextError()) << "and starts nothing";
}

TEST_F(DesktopWindow, thatDoesNotExistIsRefused) {
  viewer->start(streamTarget::Window{999});
  EXPECT_EQ(viewer->nextError(), (WireError{"stream.target", "stream 3: window 999 not found"}));
  viewer->start(target());
  EXPECT_TRUE(viewer->nextStarted()) << "the client goes on";
}

TEST_F(DesktopWindow, comesBackWhenItWasMinimised) {
  server.run({"xdotool", "windowminimize", std::to_string(window)});
  const auto isOnScreen = [this] {
    const auto windows = control.windowList(WindowScope::onScreen).value_or(std::vector<ListedWindow>{});
    return std::ranges::find(windows, window, &ListedWindow::windowID) != windows.end();
  };
  ASSERT_TRUE(eventually([&] { return !isOnScreen(); }, patience));
  viewer->start(target());
  const auto started = viewer->nextStarted();
  ASSERT_TRUE(started);
  EXPECT_EQ(started->contentRect, original);
  EXPECT_TRUE(isOnScreen());
}

TEST_F(DesktopWindow, isSeenWhileAnotherCoversIt) {
  viewer->start(target());
  ASSERT_TRUE(viewer->nextStarted());
  TestClient other(server.display());
  const auto cover = makeWindow(other, {50, 60, 600, 500}, "Cover", 0x000000);
  const PointRect frame = frameOf(window);
  other.moveResize(cover, {0, 0, 1000, 800});
  ASSERT_TRUE(eventually([&] { return isActive(cover) && frameOf(cover).unionWith(frame) == frameOf(cover); },
                         patience));
  user.fill(window, {0, 0, 300, 200}, 0x000000);
  user.fill(window, {100, 100, 100, 50}, 0xFFFFFF);
  user.sync();
  const int left = static_cast<int>(frame.size.width - 300) / 2;
  const int top = static_cast<int>(frame.size.height) - 200;
  EXPECT_TRUE(viewer->showsPicture([&](const client::DecodedPicture& picture) {
    return picture.luma(left + 150, top + 120) > 200 && picture.luma(left + 50, top + 120) < 50;
  }));
  EXPECT_TRUE(isActive(cover)) << "it was covered all the time";
}

TEST_F(DesktopWindow, comesToTheFrontWhenItIsClicked) {
  viewer->start(target());
  ASSERT_TRUE(viewer->nextStarted());
  const auto cover = server.start({"xterm", "-T", "Cover", "-geometry", "100x40+50+60", "-e", "cat"});
  ASSERT_TRUE(eventually(
      [&] { return server.run({"xdotool", "getactivewindow", "getwindowname"}) == "Cover\n"; }, patience));
  for (const auto phase : {PointerPhase::down, PointerPhase::up})
    viewer->send(inputEvent::Pointer{
        .streamID = StreamViewer::streamID, .phase = phase, .x = 0.5F, .y = 0.5F, .clickCount = 1});
  EXPECT_TRUE(eventually([&] { return isActive(window); }, patience));
}

}  // namespace
}  // namespace quorl::test
