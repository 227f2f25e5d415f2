// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdlib>
#include <string_view>

#include <QApplication>
#include <QMenu>
#include <QScreen>

#include <xcb/xcb.h>

#include "WindowFixture.h"

namespace quorl::viewer::test {
namespace {

xcb_atom_t atom(xcb_connection_t* xcb, std::string_view name) {
  const auto cookie = xcb_intern_atom(xcb, 0, static_cast<std::uint16_t>(name.size()), name.data());
  auto* reply = xcb_intern_atom_reply(xcb, cookie, nullptr);
  const xcb_atom_t found = reply->atom;
  std::free(reply);
  return found;
}

/// The display is two monitors side by side, left and right, each 640x900.
class WindowMonitorTest : public WindowTest {
 protected:
  WindowMonitorTest() {
    desktop().run({"xrandr", "--setmonitor", "left", "640/200x900/300+0+0", "screen"});
    desktop().run({"xrandr", "--setmonitor", "right", "640/200x900/300+640+0", "none"});
    spinUntil([] { return QApplication::screens().size() == 2; });
  }
  ~WindowMonitorTest() override {
    closeAll();
    desktop().run({"xrandr", "--delmonitor", "right"});
    desktop().run({"xrandr", "--delmonitor", "left"});
    spinUntil([] {
      return QApplication::screens().size() == 1 && QApplication::primaryScreen()->size().width() == 1280;
    });
  }

  void closeAll() {
    window_.reset();
    QApplication::processEvents();
  }
  /// The menu as it is when it opens.
  QMenu* monitors() const {
    auto* entry = action("Full screen on");
    emit qobject_cast<QMenu*>(entry->menu()->parent())->aboutToShow();
    return entry->menu();
  }
  /// As a panel does it (Extended Window Manager Hints, _NET_WM_STATE).
  void askWindowManager(bool isFullScreen) {
    xcb_connection_t* xcb = qApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = static_cast<xcb_window_t>(window_->winId());
    event.type = atom(xcb, "_NET_WM_STATE");
    event.data.data32[0] = isFullScreen ? 1 : 0;
    event.data.data32[1] = atom(xcb, "_NET_WM_STATE_FULLSCREEN");
    const auto root = xcb_setup_roots_iterator(xcb_get_setup(xcb)).data->root;
    xcb_send_event(xcb, 0, root, XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&event));
    xcb_flush(xcb);
  }
  bool fills(int x) {
    return spinUntil([&] {
      return window_->isFullScreen() && window_->geometry() == QRect(x, 0, 640, 900) && viewOrigin().x() == x;
    });
  }
};

TEST_F(WindowMonitorTest, fullScreenGoesToTheMonitorThatIsChosen) {
  ASSERT_EQ(QApplication::screens().size(), 2);
  open(ordinary(), {.target = {}, .wanted = {}, .folder = folder_.path()});
  ASSERT_TRUE(monitors()->menuAction()->isVisible());
  ASSERT_EQ(monitors()->actions().size(), 2);
  EXPECT_EQ(monitors()->actions().at(1)->text(), QString("right, 640\u00d7900"));
  for (const auto& [entry, x] : {std::pair{1, 640}, {0, 0}, {1, 640}}) {
    monitors()->actions().at(entry)->trigger();
    EXPECT_TRUE(fills(x)) << window_->geometry().x() << " instead of " << x;
  }
  ASSERT_TRUE(hasPicture());
  pointAt(100, 50);
  EXPECT_TRUE(spinUntil([&] {
    const auto inputs = host_->inputs();
    const auto* pointer = inputs.empty() ? nullptr : std::get_if<inputEvent::Pointer>(&inputs.back().value);
    return pointer != nullptr && std::abs(pointer->x * 320 - 100.5) <= 1 &&
           std::abs(pointer->y * 240 - 50.5) <= 1;
  }));
  closeWindow();

  openWindow({.target = {}, .wanted = {}, .folder = folder_.path()});
  EXPECT_TRUE(fills(640)) << "the next window opens on the same monitor";
  window_->setFullScreen(false);
  EXPECT_TRUE(spinUntil([&] { return !window_->isFullScreen() && window_->screen()->name() == "right"; }));
}

TEST_F(WindowMonitorTest, aSingleMonitorIsNoChoice) {
  open();
  desktop().run({"xrandr", "--delmonitor", "right"});
  ASSERT_TRUE(spinUntil([] { return QApplication::screens().size() == 1; }));
  EXPECT_FALSE(monitors()->menuAction()->isVisible());
}

TEST_F(WindowMonitorTest, theWindowManagersFullScreenIsFollowed) {
  open();
  askWindowManager(true);
  ASSERT_TRUE(spinUntil([&] { return action("Full screen")->isChecked(); }));
  EXPECT_FALSE(part<ViewerControls>().isVisible()) << "the picture has the whole monitor";
  askWindowManager(false);
  EXPECT_TRUE(spinUntil([&] { return !action("Full screen")->isChecked() && !window_->isFullScreen(); }));
  EXPECT_TRUE(part<ViewerControls>().isVisible());
}

}  // namespace
}  // namespace quorl::viewer::test
