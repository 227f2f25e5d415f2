// SPDX-License-Identifier: GPL-3.0-or-later
#include <linux/input-event-codes.h>

#include <algorithm>

#include <QAction>
#include <QGuiApplication>
#include <QMenu>
#include <QScreen>
#include <QWindow>

#include "WaylandFixture.h"

namespace quorl::viewer::test {
namespace {

using WaylandScreenTest = WaylandTest;

TEST_F(WaylandScreenTest, fullScreenFillsTheOutputThatTheWindowIsOn) {
  sway().run("create_output");
  sway().run("output HEADLESS-2 resolution 1024x768");
  sway().run("move window to output HEADLESS-2");
  const auto onSecond = [&](QSize size) {
    return window_->screen()->name() == "HEADLESS-2" && window_->size() == size;
  };
  EXPECT_TRUE(spinUntil([&] { return onSecond({1024, 768}); }));
  window_->setFullScreen(true);
  EXPECT_TRUE(spinUntil([&] { return window_->isFullScreen() && onSecond({1024, 768}); }));
  EXPECT_TRUE(
      spinUntil([&] { return sway().ask("get_tree").find("\"fullscreen_mode\": 1,") != std::string::npos; }));
  EXPECT_TRUE(spinUntil([&] { return window_->view().size() == QSize(1024, 768); })) << "without controls";
  screenshot("wayland-full-screen");
  window_->setFullScreen(false);
  EXPECT_TRUE(spinUntil([&] { return !window_->isFullScreen(); }));
  // An output without hardware cannot be removed. The next window opens on the first one.
  sway().run("focus output HEADLESS-1");
}

TEST_F(WaylandScreenTest, fullScreenGoesToTheChosenOutput) {
  if (QGuiApplication::screens().size() < 2) sway().run("create_output");
  ASSERT_TRUE(spinUntil([&] { return QGuiApplication::screens().size() > 1; }));
  const auto screens = QGuiApplication::screens();
  const auto* here = window_->screen();
  const auto other = std::ranges::find_if(screens, [&](const QScreen* screen) { return screen != here; });
  ASSERT_NE(other, screens.end());
  const auto name = (*other)->name();
  auto* monitors = action("Full screen on")->menu();
  emit qobject_cast<QMenu*>(monitors->parent())->aboutToShow();
  for (auto* entry : monitors->actions())
    if (entry->text().contains(name)) entry->trigger();
  EXPECT_TRUE(spinUntil([&] {
    return window_->isFullScreen() && window_->screen()->name() == name &&
           window_->size() == window_->screen()->size();
  })) << window_->screen()->name().toStdString();
  window_->setFullScreen(false);
  EXPECT_TRUE(spinUntil([&] { return !window_->isFullScreen(); }));
  sway().run("focus output HEADLESS-1");
}

TEST_F(WaylandScreenTest, aWindowOnAnotherWorkspaceAsksForNoPictures) {
  const auto rates = [&] {
    std::vector<int> found;
    for (const auto& update : host_->messagesOf<message::UpdateStream>())
      found.push_back(static_cast<int>(update._0.config.maxFPS));
    return found;
  };
  ASSERT_EQ(rates(), std::vector<int>{});
  sway().run("workspace elsewhere");
  // Something to paint, because only then the compositor's silence is noticed.
  EXPECT_TRUE(spinUntil([&] {
    window_->view().update();
    return rates() == std::vector{1};
  }));
  sway().run("workspace back_and_forth");
  EXPECT_TRUE(spinUntil([&] { return rates() == std::vector{1, 60}; }));
}

TEST_F(WaylandScreenTest, theListOfTargetsOpensAtItsButtonAndGivesTheKeyboardBack) {
  input().press({KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTSHIFT, KEY_T});
  TargetPopup* popup = nullptr;
  ASSERT_TRUE(spinUntil([&] {
    for (auto* widget : window_->findChildren<QWidget*>())
      if (auto* found = dynamic_cast<TargetPopup*>(widget)) popup = found;
    return popup != nullptr && popup->isVisible() && popup->windowHandle()->isExposed();
  }));
  screenshot("wayland-targets");
  const auto before = host_->inputs().size();
  input().press({KEY_ESC});
  ASSERT_TRUE(spinUntil([&] { return !popup->isVisible() && hasFocus(); }));
  EXPECT_EQ(host_->inputs().size(), before) << "the key was for the list";
  input().press({KEY_B});
  EXPECT_TRUE(spinUntil([&] { return hasPressed(11) && held() == 0; }));
}

}  // namespace
}  // namespace quorl::viewer::test
