// SPDX-License-Identifier: GPL-3.0-or-later
// Changes of windows, with openbox as the window manager.
#include <cmath>
#include <limits>

#include "TestWindows.h"

namespace quorl::test {
namespace {

class WindowChanges : public WindowFixture {
 protected:
  PointRect frameOf(std::uint32_t window) { return control.windowBounds(window).value_or(PointRect{}); }
};

TEST_F(WindowChanges, giveAWindowExactlyTheFrameAskedFor) {
  const auto window = makeWindow({50, 60, 200, 150}, "plain");
  const auto element = accessible(window);
  ASSERT_EQ(element->setSize({420, 310}), 0);
  ASSERT_EQ(element->setPosition({123, 45}), 0);
  ASSERT_EQ(element->setSize({420, 310}), 0);
  EXPECT_EQ(element->frame(), (PointRect{{123, 45}, {420, 310}}));
  EXPECT_EQ(control.windowBounds(window), element->frame());
  EXPECT_EQ(find("plain")->bounds, (PointRect{{123, 45}, {420, 310}}));
}

TEST_F(WindowChanges, giveAQtWindowExactlyTheFrameAskedFor) {
  const auto program = server.start({QUORL_QT_TYPING_TARGET, server.folder() + "/typed"});
  const auto listed = waitFor("Typing target");
  ASSERT_TRUE(listed);
  EXPECT_EQ(listed->pid, program.pid());
  const auto windows = control.accessibleWindows(program.pid());
  ASSERT_EQ(windows.size(), 1U);
  const PointRect wanted{{30, 40}, {500, 360}};
  EXPECT_TRUE(eventuallyHolds([&] {
    return windows[0]->setSize(wanted.size) == 0 && windows[0]->setPosition(wanted.origin) == 0 &&
           windows[0]->frame() == wanted;
  }));
}

TEST_F(WindowChanges, endAtTheCellsOfATerminal) {
  const auto terminal = server.start({"xterm", "-T", "cells", "-geometry", "40x10+100+50", "-e", "cat"});
  const auto listed = waitFor("cells");
  ASSERT_TRUE(listed);
  const auto element = control.accessibleWindows(terminal.pid()).at(0);
  EXPECT_TRUE(eventuallyHolds(
      [&] { return element->setSize({503, 307}) == 0 && element->frame()->size != listed->bounds.size; }));
  const PointSize size = element->frame()->size;
  EXPECT_LE(size.width, 503);
  EXPECT_GE(size.width, 503 - 12) << "less than a column";
  EXPECT_LE(size.height, 307);
  EXPECT_GE(size.height, 307 - 24) << "less than a row";
}

TEST_F(WindowChanges, endTheMaximisedStateFirst) {
  const auto window = makeWindow({50, 60, 200, 150}, "maximised");
  addState(client, window, "_NET_WM_STATE_MAXIMIZED_VERT", "_NET_WM_STATE_MAXIMIZED_HORZ");
  ASSERT_TRUE(eventuallyHolds([&] { return frameOf(window).size.width >= 800; }));
  const auto element = accessible(window);
  EXPECT_EQ(element->setSize({400, 300}), 0);
  EXPECT_EQ(element->setPosition({10, 20}), 0);
  EXPECT_TRUE(eventuallyHolds([&] { return element->frame() == PointRect{{10, 20}, {400, 300}}; }));
  const auto state = server.run({"xprop", "-id", std::to_string(window), "_NET_WM_STATE"});
  EXPECT_EQ(state.find("MAXIMIZED"), std::string::npos) << state;
}

TEST_F(WindowChanges, endTheFullScreenStateFirst) {
  const auto window = makeWindow({50, 60, 200, 150}, "full");
  addState(client, window, "_NET_WM_STATE_FULLSCREEN");
  ASSERT_TRUE(eventuallyHolds([&] { return frameOf(window) == PointRect{{0, 0}, {800, 600}}; }));
  const auto element = accessible(window);
  EXPECT_EQ(element->setSize({400, 300}), 0);
  EXPECT_EQ(element->setPosition({10, 20}), 0);
  EXPECT_TRUE(eventuallyHolds([&] { return element->frame() == PointRect{{10, 20}, {400, 300}}; }));
  const auto state = server.run({"xprop", "-id", std::to_string(window), "_NET_WM_STATE"});
  EXPECT_EQ(state.find("FULLSCREEN"), std::string::npos) << state;
}

// As the host gives a window back: size, position, size.
void giveBack(AccessibleWindow& window, const PointRect& frame) {
  EXPECT_EQ(window.setSize(frame.size), 0);
  EXPECT_EQ(window.setPosition(frame.origin), 0);
  EXPECT_EQ(window.setSize(frame.size), 0);
}

TEST_F(WindowChanges, backToTheFrameOfAStateRestoreTheState) {
  for (const std::vector<const char*>& states :
       {std::vector{"_NET_WM_STATE_MAXIMIZED_VERT", "_NET_WM_STATE_MAXIMIZED_HORZ"},
        std::vector{"_NET_WM_STATE_FULLSCREEN"}, std::vector{"_NET_WM_STATE_MAXIMIZED_VERT"}}) {
    SCOPED_TRACE(states.front());
    const auto window = makeWindow({50, 60, 200, 150}, "state");
    addState(client, window, states.front(), states.back());
    ASSERT_TRUE(eventuallyHolds([&] { return frameOf(window).size.height >= 600; }));
    const auto element = accessible(window);
    const PointRect before = frameOf(window);
    giveBack(*element, {{10, 20}, {400, 300}});
    ASSERT_TRUE(eventuallyHolds([&] { return element->frame() == PointRect{{10, 20}, {400, 300}}; }));
    giveBack(*element, before);
    EXPECT_TRUE(eventuallyHolds([&] { return element->frame() == before; }));
    const auto state = server.run({"xprop", "-id", std::to_string(window), "_NET_WM_STATE"});
    for (const char* name : states) EXPECT_NE(state.find(name), std::string::npos) << state;
    client.destroy(window);
  }
}

TEST_F(WindowChanges, toAnotherFrameRestoreNoState) {
  const auto window = makeWindow({50, 60, 200, 150}, "moved");
  addState(client, window, "_NET_WM_STATE_MAXIMIZED_VERT", "_NET_WM_STATE_MAXIMIZED_HORZ");
  ASSERT_TRUE(eventuallyHolds([&] { return frameOf(window).size.width >= 800; }));
  const auto element = accessible(window);
  const PointRect before = frameOf(window);
  giveBack(*element, {{10, 20}, {400, 300}});
  giveBack(*element, {before.origin, {500, 300}});
  const auto state = server.run({"xprop", "-id", std::to_string(window), "_NET_WM_STATE"});
  EXPECT_EQ(state.find("MAXIMIZED"), std::string::npos) << state;
}

TEST_F(WindowChanges, areRefusedByAWindowOfAFixedSizeWithoutAnError) {
  const auto window = makeWindow({50, 60, 200, 150}, "fixed");
  client.unmap(window);
  fixSize(client, window, {200, 150});
  client.map(window);
  ASSERT_TRUE(waitFor("fixed"));
  const PointSize before = frameOf(window).size;
  const auto element = accessible(window);
  EXPECT_EQ(element->setSize({500, 400}), 0);
  EXPECT_EQ(element->frame()->size, before);
  EXPECT_EQ(element->setPosition({10, 20}), 0);
  EXPECT_EQ(element->frame()->origin, (PointXY{10, 20})) << "it can be moved";
}

TEST_F(WindowChanges, leaveOutTheShadowOfAWindowThatDrawsItsOwnFrame) {
  const auto window = makeWindow({50, 60, 300, 250}, "own frame");
  removeDecoration(client, window);
  setNumbers(client, window, "_GTK_FRAME_EXTENTS", {20, 30, 10, 40});
  const auto element = accessible(window);
  ASSERT_TRUE(eventuallyHolds([&] { return frameOf(window).size == PointSize{250, 200}; }));
  EXPECT_TRUE(eventuallyHolds([&] {
    return element->setSize({400, 300}) == 0 && element->setPosition({50, 60}) == 0 &&
           element->frame() == PointRect{{50, 60}, {400, 300}};
  }));
}

TEST_F(WindowChanges, refuseValuesThatNoWindowCanHave) {
  const auto window = makeWindow({50, 60, 200, 150}, "values");
  const auto element = accessible(window);
  const auto before = element->frame();
  const double notANumber = std::numeric_limits<double>::quiet_NaN();
  for (const double bad : {notANumber, -1.0, 0.0, 1e9, std::numeric_limits<double>::infinity()}) {
    EXPECT_NE(element->setSize({bad, 100}), 0) << bad;
    EXPECT_NE(element->setSize({100, bad}), 0) << bad;
  }
  EXPECT_NE(element->setPosition({notANumber, 0}), 0);
  EXPECT_NE(element->setPosition({0, 1e12}), 0);
  EXPECT_EQ(element->frame(), before);
}

TEST_F(WindowChanges, mayMakeAWindowOfOnePixelAndOneLargerThanTheScreen) {
  const auto window = makeWindow({50, 60, 200, 150}, "sizes");
  const auto element = accessible(window);
  EXPECT_EQ(element->setSize({1, 1}), 0);
  EXPECT_LT(element->frame()->size.height, 60) << "the title bar remains";
  EXPECT_EQ(element->setSize({16'000, 16'000}), 0);
  EXPECT_TRUE(eventuallyHolds([&] { return element->frame()->size == PointSize{16'000, 16'000}; }));
}

TEST_F(WindowChanges, minimiseAndRestoreAWindowAndWaitUntilItIsShown) {
  const auto window = makeWindow({50, 60, 200, 150}, "mini");
  const auto element = accessible(window);
  EXPECT_EQ(element->isMinimized(), false);
  const auto before = element->frame();
  EXPECT_EQ(element->setMinimized(true), 0);
  ASSERT_TRUE(eventuallyHolds([&] { return element->isMinimized() == true; }));
  EXPECT_EQ(element->frame(), before) << "its size remains";
  EXPECT_FALSE(find("mini")->isOnScreen);
  EXPECT_FALSE(find("mini", WindowScope::onScreen));
  EXPECT_EQ(accessible(window)->title(), "mini") << "a minimised window is still accessible";
  EXPECT_EQ(element->setMinimized(false), 0);
  ASSERT_TRUE(eventuallyHolds([&] { return element->isMinimized() == false; }));
  EXPECT_TRUE(find("mini")->isOnScreen);
  EXPECT_EQ(element->frame(), before);
}

TEST_F(WindowChanges, failOnceTheWindowIsGone) {
  const auto window = makeWindow({50, 60, 200, 150}, "gone");
  const auto element = accessible(window);
  client.destroy(window);
  EXPECT_EQ(element->frame(), std::nullopt);
  EXPECT_EQ(element->title(), std::nullopt);
  EXPECT_EQ(element->isMinimized(), std::nullopt);
  EXPECT_EQ(element->setSize({100, 100}), 3) << "BadWindow";
  EXPECT_EQ(element->setPosition({1, 1}), 3);
  EXPECT_EQ(element->setMinimized(false), 3);
  EXPECT_EQ(element->setMinimized(true), 3);
  EXPECT_EQ(control.windowBounds(window), std::nullopt);
}

TEST_F(WindowChanges, countFromTheCornerOfTheMainDisplay) {
  client.setMonitor("LEFT", {0, 0, 400, 600});
  client.setMonitor("RIGHT", {400, 0, 400, 600}, true);
  const auto window = makeWindow({450, 60, 200, 150}, "right");
  const auto element = accessible(window);
  ASSERT_TRUE(eventuallyHolds([&] { return frameOf(window).origin.x < 100; }));
  EXPECT_EQ(element->setPosition({-300, 30}), 0);
  EXPECT_TRUE(eventuallyHolds([&] { return frameOf(window).origin == PointXY{-300, 30}; }));
}

TEST_F(WindowChanges, comeForwardWithTheWindowNamed) {
  const auto lower = makeWindow({50, 60, 200, 150}, "lower");
  makeWindow({60, 70, 200, 150}, "upper");
  ASSERT_TRUE(eventuallyHolds([&] { return listWindows().at(0).title == "upper"; }));
  control.activate(ownPid(), lower);
  EXPECT_TRUE(eventuallyHolds([&] { return listWindows().at(0).title == "lower"; }));
  EXPECT_TRUE(eventuallyHolds([&] { return control.frontmostApplication() == ownPid(); }));
}

TEST_F(WindowChanges, comeForwardWithTheFrontWindowOfTheApplication) {
  makeWindow({50, 60, 200, 150}, "first");
  const auto second = makeWindow({60, 70, 200, 150}, "second");
  const auto terminal = server.start({"xterm", "-T", "terminal", "-e", "cat"});
  ASSERT_TRUE(waitFor("terminal"));
  ASSERT_TRUE(eventuallyHolds([&] { return control.frontmostApplication() == terminal.pid(); }));
  EXPECT_EQ(control.focusedWindow(ownPid()), nullptr);
  ASSERT_TRUE(control.mainWindow(ownPid()));
  EXPECT_EQ(control.mainWindow(ownPid())->title(), "second");
  control.activate(ownPid(), std::nullopt);
  EXPECT_TRUE(eventuallyHolds([&] { return control.frontmostApplication() == ownPid(); }));
  ASSERT_TRUE(control.focusedWindow(ownPid()));
  EXPECT_EQ(control.focusedWindow(ownPid())->title(), "second");
  // A window that is gone, or of another process, does not count.
  client.destroy(second);
  control.activate(terminal.pid(), second);
  EXPECT_TRUE(eventuallyHolds([&] { return control.frontmostApplication() == terminal.pid(); }));
}

TEST_F(WindowChanges, ignoreAnApplicationThatIsGone) {
  const auto window = makeWindow({50, 60, 200, 150}, "alone");
  ASSERT_TRUE(eventuallyHolds([&] { return control.frontmostApplication() == ownPid(); }));
  control.activate(1'999'999, window);
  control.activate(0, std::nullopt);
  EXPECT_EQ(control.accessibleWindows(1'999'999).size(), 0U);
  EXPECT_EQ(control.mainWindow(1'999'999), nullptr);
  EXPECT_EQ(control.focusedWindow(1'999'999), nullptr);
  EXPECT_EQ(control.frontmostApplication(), ownPid());
}

}  // namespace
}  // namespace quorl::test
