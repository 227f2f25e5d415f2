// SPDX-License-Identifier: GPL-3.0-or-later
// The windows and applications that can be captured.
#include <algorithm>

#include <xcb/xcb.h>

#include "CaptureHarness.h"
#include "TestWindows.h"

namespace quorl::test {
namespace {

class WindowContent : public WindowFixture {
 protected:
  std::optional<ShareableWindow> window(const std::string& title) {
    for (auto& each : harness.content().windows)
      if (each.title == title) return each;
    return std::nullopt;
  }
  void makeTyped(const PixelRect& bounds, const std::string& title, const std::string& type) {
    const std::uint32_t id = xcb_generate_id(client.xcb());
    xcb_create_window(client.xcb(), XCB_COPY_FROM_PARENT, id, client.root(),
                      static_cast<std::int16_t>(bounds.x), static_cast<std::int16_t>(bounds.y),
                      static_cast<std::uint16_t>(bounds.width), static_cast<std::uint16_t>(bounds.height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    setAtoms(client, id, "_NET_WM_WINDOW_TYPE", {type});
    setText(client, id, "_NET_WM_NAME", title);
    client.map(id);
  }
  bool isManaged(std::size_t count) {
    return eventuallyHolds([&] {
      const auto list = server.run({"xprop", "-root", "_NET_CLIENT_LIST"});
      return static_cast<std::size_t>(std::ranges::count(list, 'x')) == count;
    });
  }

  CaptureHarness harness{server.display()};
};

TEST_F(WindowContent, hasNoDesktopAndGivesPanelsALayerOfTheirOwn) {
  makeTyped({0, 0, 800, 600}, "Desktop", "_NET_WM_WINDOW_TYPE_DESKTOP");
  makeTyped({0, 0, 800, 30}, "Panel", "_NET_WM_WINDOW_TYPE_DOCK");
  ASSERT_TRUE(isManaged(2));
  const auto panels = harness.content().windows;
  ASSERT_EQ(panels.size(), 1U) << "without the desktop";
  EXPECT_EQ(panels[0].title, "Panel");
  EXPECT_EQ(panels[0].layer, 2) << "as in the list of windows";
  EXPECT_TRUE(harness.content().applications.empty()) << "their process is no application";
  const auto id = makeWindow({50, 60, 200, 150}, "window");
  const auto content = harness.content();
  ASSERT_TRUE(window("window"));
  EXPECT_EQ(window("window")->windowID, id);
  EXPECT_EQ(window("window")->layer, 0);
  ASSERT_EQ(content.applications.size(), 1U);
  EXPECT_EQ(content.applications[0].pid, ownPid());
}

TEST_F(WindowContent, hasTheFrameThatTheWindowControlReports) {
  const auto id = makeWindow({50, 60, 300, 250}, "window");
  EXPECT_EQ(window("window")->frame, control.windowBounds(id));
  setNumbers(client, id, "_GTK_FRAME_EXTENTS", {10, 10, 10, 10});
  EXPECT_EQ(window("window")->frame, control.windowBounds(id));
  EXPECT_LT(window("window")->frame.size.width, 300);
}

TEST_F(WindowContent, hasMinimisedWindowsOffTheScreen) {
  const auto id = makeWindow({50, 60, 200, 150}, "window");
  EXPECT_TRUE(window("window")->isOnScreen);
  accessible(id)->setMinimized(true);
  EXPECT_TRUE(eventuallyHolds([&] { return window("window") && !window("window")->isOnScreen; }));
}

TEST_F(WindowContent, namesTheApplicationByTheDesktopFileThatTheWindowClaims) {
  // xterm brings a desktop file with it.
  const auto id = makeWindow({50, 60, 200, 150}, "claims");
  setText(client, id, "_GTK_APPLICATION_ID", "debian-xterm");
  EXPECT_EQ(window("claims")->bundleID, "debian-xterm");
}

TEST_F(WindowContent, hasOneApplicationForTwoOfItsProcesses) {
  const auto id = makeWindow({50, 60, 200, 150}, "claims");
  setText(client, id, "_GTK_APPLICATION_ID", "debian-xterm");
  const auto xterm = server.start({"xterm", "-title", "another process", "-e", "sleep", "60"});
  ASSERT_TRUE(eventuallyHolds([&] { return window("another process").has_value(); }));
  const auto content = harness.content();
  ASSERT_EQ(window("another process")->bundleID, "debian-xterm");
  ASSERT_NE(window("another process")->pid, window("claims")->pid);
  ASSERT_EQ(content.applications.size(), 1U);
  EXPECT_EQ(content.applications[0].bundleID, "debian-xterm");
  EXPECT_EQ(content.applications[0].pid, content.windows.at(0).pid) << "the one in front";
}

}  // namespace
}  // namespace quorl::test
