// SPDX-License-Identifier: GPL-3.0-or-later
// The real program streams an application of a desktop: its front window, whichever that is.
#include <optional>

#include "DesktopStreamFixture.h"

namespace quorl::test {
namespace {

class DesktopApplicationStream : public DesktopStreamFixture {
 protected:
  void SetUp() override {
    DesktopStreamFixture::SetUp();
    small = makeWindow(user, {500, 100, 200, 150}, "Small");
    large = makeWindow(user, {50, 100, 400, 300}, "Large");
    largeFrame = frameOf(large);
    smallFrame = frameOf(small);
    ASSERT_TRUE(eventually([this] { return isListed("Large"); }, patience));
  }

  /// Learns the application's identifier from the host's state.
  bool isListed(const std::string& title) {
    viewer->client().send(message::RequestHostState{});
    const auto state = viewer->client().next<message::HostState>();
    if (!state) return false;
    const auto row = std::ranges::find(state->_0.windows, title, &WindowInfo::title);
    if (row == state->_0.windows.end() || !row->appBundleID) return false;
    target.bundleID = *row->appBundleID;
    return true;
  }

  std::uint32_t small = 0;
  std::uint32_t large = 0;
  PointRect smallFrame;
  PointRect largeFrame;
  streamTarget::App target;
};

TEST_F(DesktopApplicationStream, showsTheLargestWindowFittedAndGivesItBack) {
  viewer->start(target, landscape);
  EXPECT_EQ(viewer->nextFit(), true);
  const auto started = viewer->nextStarted();
  ASSERT_TRUE(started);
  EXPECT_EQ(started->contentRect.size, fittedToLandscape);
  EXPECT_EQ(frameOf(small), smallFrame);
  viewer->stop();
  EXPECT_TRUE(getsFrame(large, largeFrame));
}

TEST_F(DesktopApplicationStream, goesOnWithTheNextWindowWhenItsWindowIsClosed) {
  viewer->start(target, landscape);
  EXPECT_EQ(viewer->nextFit(), true);
  ASSERT_TRUE(viewer->nextStarted());
  user.destroy(large);
  EXPECT_EQ(viewer->nextFit(), true);
  const auto started = viewer->nextStarted();
  ASSERT_TRUE(started);
  EXPECT_EQ(started->contentRect.size, fittedToLandscape);
  EXPECT_TRUE(getsFrame(small, started->contentRect));
  viewer->stop();
  EXPECT_TRUE(getsFrame(small, smallFrame));
}

TEST_F(DesktopApplicationStream, showsAnotherWindowInsteadOfAHiddenOne) {
  viewer->start(target);
  auto started = viewer->nextStarted();
  ASSERT_TRUE(started);
  EXPECT_EQ(started->contentRect, largeFrame);
  user.unmap(large);
  user.claimUnmapped(large);
  started = viewer->nextStarted();
  ASSERT_TRUE(started);
  EXPECT_EQ(started->contentRect, smallFrame);
}

TEST_F(DesktopApplicationStream, endsWithTheLastWindow) {
  viewer->start(target);
  ASSERT_TRUE(viewer->nextStarted());
  user.destroy(small);
  user.destroy(large);
  EXPECT_EQ(viewer->nextError(),
            (WireError{"stream.target", "stream 3: app " + target.bundleID + " not running"}));
  EXPECT_TRUE(viewer->client().echoes());
}

TEST_F(DesktopApplicationStream, thatDoesNotRunIsRefused) {
  viewer->start(streamTarget::App{"org.example.Absent"});
  EXPECT_EQ(viewer->nextError(),
            (WireError{"stream.target", "stream 3: app org.example.Absent not running"}));
}

}  // namespace
}  // namespace quorl::test
