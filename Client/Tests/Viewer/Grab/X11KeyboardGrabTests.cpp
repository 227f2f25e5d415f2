// SPDX-License-Identifier: GPL-3.0-or-later
// A window under a window manager that has shortcuts of its own.
#include <array>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

#include <quorl-viewer/Grab/X11KeyboardGrab.h>

namespace quorl::viewer {
namespace {

// X11 keycodes of the evdev map.
constexpr std::uint8_t superKey = 133;
constexpr std::uint8_t tabKey = 23;
constexpr std::chrono::seconds patience{30};

/// A managed window that notes the keys it gets.
class Window {
 public:
  explicit Window(const std::string& display) : xcb_(xcb_connect(display.c_str(), nullptr)) {
    const auto* screen = xcb_setup_roots_iterator(xcb_get_setup(xcb_)).data;
    window_ = xcb_generate_id(xcb_);
    const std::array<std::uint32_t, 1> events{XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_FOCUS_CHANGE};
    xcb_create_window(xcb_, XCB_COPY_FROM_PARENT, window_, screen->root, 0, 0, 200, 100, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_EVENT_MASK, events.data());
  }
  ~Window() { xcb_disconnect(xcb_); }
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  void show() {
    xcb_map_window(xcb_, window_);
    xcb_flush(xcb_);
  }
  void read() {
    while (auto* event = xcb_poll_for_event(xcb_)) {
      const int type = event->response_type & 0x7F;
      if (type == XCB_KEY_PRESS) keys.insert(reinterpret_cast<xcb_key_press_event_t*>(event)->detail);
      if (type == XCB_FOCUS_IN || type == XCB_FOCUS_OUT) {
        const auto mode = reinterpret_cast<xcb_focus_in_event_t*>(event)->mode;
        if (mode != XCB_NOTIFY_MODE_GRAB && mode != XCB_NOTIFY_MODE_UNGRAB) hasFocus = type == XCB_FOCUS_IN;
      }
      std::free(event);
    }
  }
  bool gets(std::uint8_t key) {
    return test::eventually(
        [&] {
          read();
          return keys.contains(key);
        },
        patience);
  }
  bool becomes(bool focused) {
    return test::eventually(
        [&] {
          read();
          return hasFocus == focused;
        },
        patience);
  }
  xcb_connection_t* xcb() const { return xcb_; }
  std::uint32_t id() const { return window_; }

  std::set<std::uint8_t> keys;
  bool hasFocus = false;

 private:
  xcb_connection_t* xcb_;
  std::uint32_t window_ = 0;
};

class X11KeyboardGrabTest : public ::testing::Test {
 protected:
  void SetUp() override {
    first.show();
    ASSERT_TRUE(first.becomes(true));
    second.show();
    ASSERT_TRUE(second.becomes(true));
    ASSERT_TRUE(first.becomes(false));
  }

  test::XServer server{{.windowManager = test::XServer::WindowManager::openbox}};
  Window first{server.display()};
  Window second{server.display()};
};

TEST_F(X11KeyboardGrabTest, bringsSuperAndAltTabToTheWindowAndNotToTheWindowManager) {
  // Without the grab Alt+Tab is the window manager's.
  server.run({"xdotool", "key", "alt+Tab"});
  ASSERT_TRUE(first.becomes(true));
  ASSERT_TRUE(second.becomes(false));
  EXPECT_FALSE(first.keys.contains(tabKey));

  X11KeyboardGrab grab(first.xcb(), first.id());
  ASSERT_TRUE(grab.take());
  first.keys.clear();
  second.keys.clear();
  server.run({"xdotool", "key", "alt+Tab"});
  EXPECT_TRUE(first.gets(tabKey));
  server.run({"xdotool", "key", "super"});
  EXPECT_TRUE(first.gets(superKey));
  second.read();
  EXPECT_FALSE(second.hasFocus);
  EXPECT_TRUE(second.keys.empty());

  // Released, as at the loss of the focus, the window manager has its shortcut again.
  grab.release();
  EXPECT_FALSE(grab.isHeld());
  server.run({"xdotool", "key", "alt+Tab"});
  EXPECT_TRUE(second.becomes(true));
}

TEST_F(X11KeyboardGrabTest, keepsNoKeysFromTheWindowThatGetsTheFocusAfterItsRelease) {
  X11KeyboardGrab grab(second.xcb(), second.id());
  ASSERT_TRUE(grab.take());
  server.run({"xdotool", "windowfocus", "--sync", std::to_string(first.id())});
  ASSERT_TRUE(second.becomes(false));
  grab.release();
  server.run({"xdotool", "key", "super"});
  EXPECT_TRUE(first.gets(superKey));
}

TEST_F(X11KeyboardGrabTest, saysWhyItIsRefused) {
  X11KeyboardGrab grab(second.xcb(), second.id());
  ASSERT_TRUE(grab.take());
  EXPECT_TRUE(grab.take());
  X11KeyboardGrab other(first.xcb(), first.id());
  const auto refused = other.take();
  ASSERT_FALSE(refused);
  EXPECT_TRUE(refused.error().isBusy);
  EXPECT_EQ(refused.error().reason, "another program has the keyboard");
  EXPECT_FALSE(other.isHeld());

  grab.release();
  Window hidden(server.display());
  X11KeyboardGrab unseen(hidden.xcb(), hidden.id());
  const auto notViewable = unseen.take();
  ASSERT_FALSE(notViewable);
  EXPECT_FALSE(notViewable.error().isBusy);
  EXPECT_EQ(notViewable.error().reason, "the window is not on the screen");
}

TEST_F(X11KeyboardGrabTest, givesTheKeyboardBackAtItsEnd) {
  {
    ASSERT_TRUE(X11KeyboardGrab(second.xcb(), second.id()).take());
  }
  X11KeyboardGrab other(first.xcb(), first.id());
  EXPECT_TRUE(test::eventually([&] { return other.take().has_value(); }, patience));
}

}  // namespace
}  // namespace quorl::viewer
