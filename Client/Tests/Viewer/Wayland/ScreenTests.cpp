// SPDX-License-Identifier: GPL-3.0-or-later
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
  sway().run("output HEADLESS-2 disable");
}

}  // namespace
}  // namespace quorl::viewer::test
