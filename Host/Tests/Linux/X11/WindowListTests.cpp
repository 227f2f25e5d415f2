// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>

#include <xcb/xcb.h>

#include "TestWindows.h"

namespace quorl::test {
namespace {

class WindowList : public WindowFixture {
 protected:
  std::uint32_t makeTyped(const PixelRect& bounds, const std::string& title, const std::string& type) {
    const auto window = client.makeWindow(bounds, TestClient::Managed::no, title);
    client.unmap(window);
    const std::uint32_t managed = 0;
    xcb_change_window_attributes(client.xcb(), window, XCB_CW_OVERRIDE_REDIRECT, &managed);
    setAtoms(client, window, "_NET_WM_WINDOW_TYPE", {type});
    client.map(window);
    return window;
  }
};

TEST_F(WindowList, isFrontToBackWithProcessesAndFrames) {
  const auto back = makeWindow({50, 60, 200, 150}, "back");
  makeWindow({100, 110, 200, 150}, "front");
  const auto windows = listWindows();
  ASSERT_EQ(windows.size(), 2U);
  EXPECT_EQ(windows[0].title, "front");
  EXPECT_EQ(windows[1].windowID, back);
  EXPECT_EQ(windows[1].pid, ownPid());
  EXPECT_EQ(windows[1].layer, 0);
  EXPECT_TRUE(windows[1].isOnScreen);
  EXPECT_EQ(windows[1].bounds, control.windowBounds(back));
  EXPECT_GT(windows[1].bounds.size.height, 150) << "with the title bar";
}

TEST_F(WindowList, putsPanelsAndUtilitiesOnOtherLayersAndLeavesOutTheDesktop) {
  makeTyped({0, 0, 800, 600}, "the desktop", "_NET_WM_WINDOW_TYPE_DESKTOP");
  makeTyped({0, 0, 800, 30}, "the panel", "_NET_WM_WINDOW_TYPE_DOCK");
  makeTyped({300, 300, 100, 100}, "tools", "_NET_WM_WINDOW_TYPE_UTILITY");
  makeTyped({300, 100, 100, 100}, "question", "_NET_WM_WINDOW_TYPE_DIALOG");
  ASSERT_TRUE(waitFor("question"));
  ASSERT_TRUE(waitFor("the panel"));
  ASSERT_TRUE(waitFor("tools"));
  EXPECT_EQ(find("question")->layer, 0);
  EXPECT_NE(find("the panel")->layer, 0);
  EXPECT_NE(find("tools")->layer, 0);
  EXPECT_FALSE(find("the desktop"));
  ASSERT_TRUE(eventuallyHolds(
      [&] { return server.run({"xprop", "-root", "_NET_CLIENT_LIST"}).find(',') != std::string::npos; }));
  EXPECT_EQ(control.accessibleWindows(ownPid()).size(), 1U) << "the question alone";
}

TEST_F(WindowList, leavesOutMenusAndTooltips) {
  makeWindow({50, 60, 200, 150}, "window");
  client.makeWindow({100, 100, 50, 50}, TestClient::Managed::no, "menu");
  EXPECT_FALSE(find("menu"));
  EXPECT_EQ(listWindows().size(), 1U);
}

TEST_F(WindowList, boundsTitlesOfAnyLength) {
  const auto window = makeWindow({50, 60, 200, 150}, "long");
  setText(client, window, "_NET_WM_NAME", std::string(3'000'000, 'x') + "\x1B\xFF");
  ASSERT_TRUE(eventuallyHolds([&] { return accessible(window)->title()->starts_with("xxx"); }));
  EXPECT_EQ(accessible(window)->title()->size(), 1'024U);
  EXPECT_EQ(listWindows().at(0).title, accessible(window)->title());
}

TEST_F(WindowList, findsTheProcessOfAWindowThatDoesNotSayIt) {
  const auto eyes = server.start({"xeyes", "-geometry", "200x100+400+300"});
  const auto listed = waitFor("xeyes");
  ASSERT_TRUE(listed);
  EXPECT_EQ(server.run({"xprop", "-id", std::to_string(listed->windowID), "_NET_WM_PID"}).find(" = "),
            std::string::npos);
  EXPECT_EQ(listed->pid, eyes.pid());
}

TEST_F(WindowList, isReadWhileWindowsComeAndGo) {
  for (int round = 0; round < 40; ++round) {
    const auto first = client.makeWindow({10, 10, 100, 80}, TestClient::Managed::yes, "comes");
    const auto second = client.makeWindow({50, 50, 100, 80}, TestClient::Managed::yes, "goes");
    for (const auto& each : control.accessibleWindows(ownPid())) {
      client.destroy(round % 2 == 0 ? first : second);
      each->frame();
      each->title();
    }
    for (const auto& each : listWindows()) EXPECT_FALSE(each.bounds.isEmpty());
    client.destroy(first);
    client.destroy(second);
  }
  EXPECT_TRUE(eventuallyHolds([&] { return listWindows().empty(); }));
}

TEST_F(WindowList, countsNoStaleOrForeignNumbersOfTheRootsList) {
  const auto window = makeWindow({50, 60, 200, 150}, "true");
  std::vector<std::uint32_t> list(5'000, 0x1FFFFFF0);
  list.push_back(window);
  setNumbers(client, client.root(), "_NET_CLIENT_LIST_STACKING", list);
  const auto windows = listWindows();
  ASSERT_EQ(windows.size(), 1U);
  EXPECT_EQ(windows[0].windowID, window);
}

TEST_F(WindowList, hasTheScreenWithThePanelLeftOut) {
  ASSERT_EQ(control.screens().size(), 1U);
  EXPECT_EQ(control.screens()[0].frame, (PointRect{{0, 0}, {800, 600}}));
  EXPECT_EQ(control.screens()[0].visibleFrame, (PointRect{{0, 0}, {800, 600}}));
  EXPECT_TRUE(control.screens()[0].isMain);
  const auto panel = makeTyped({0, 0, 800, 30}, "the panel", "_NET_WM_WINDOW_TYPE_DOCK");
  setNumbers(client, panel, "_NET_WM_STRUT_PARTIAL", {0, 0, 30, 0, 0, 0, 0, 0, 0, 799, 0, 0});
  EXPECT_TRUE(eventuallyHolds(
      [&] { return control.screens().at(0).visibleFrame == PointRect{{0, 30}, {800, 570}}; }));
  client.destroy(panel);
  EXPECT_TRUE(
      eventuallyHolds([&] { return control.screens().at(0).visibleFrame == PointRect{{0, 0}, {800, 600}}; }));
}

TEST_F(WindowList, followsMonitorsThatChange) {
  const auto window = makeWindow({450, 60, 200, 150}, "window");
  const double before = control.windowBounds(window)->origin.x;
  ASSERT_EQ(control.screens().size(), 1U);
  client.setMonitor("LEFT", {0, 0, 400, 600});
  client.setMonitor("RIGHT", {400, 0, 400, 600}, true);
  EXPECT_TRUE(eventuallyHolds([&] { return control.screens().size() == 2; }));
  EXPECT_TRUE(eventuallyHolds([&] { return control.windowBounds(window)->origin.x == before - 400; }));
}

TEST_F(WindowList, hasThePanelOfOneMonitorOnThatMonitor) {
  client.setMonitor("LEFT", {0, 0, 400, 600});
  client.setMonitor("RIGHT", {400, 0, 400, 600}, true);
  const auto panel = makeTyped({400, 560, 400, 40}, "the panel", "_NET_WM_WINDOW_TYPE_DOCK");
  setNumbers(client, panel, "_NET_WM_STRUT_PARTIAL", {0, 0, 0, 40, 0, 0, 0, 0, 0, 0, 400, 799});
  const auto freeOf = [&](bool isMain) {
    const auto screens = control.screens();
    const auto screen = std::ranges::find(screens, isMain, &ScreenFrames::isMain);
    return screen == screens.end() ? PointRect{} : screen->visibleFrame;
  };
  EXPECT_TRUE(eventuallyHolds([&] { return freeOf(true) == PointRect{{0, 0}, {400, 560}}; }));
  EXPECT_EQ(freeOf(false), (PointRect{{-400, 0}, {400, 600}}));
}

}  // namespace
}  // namespace quorl::test
