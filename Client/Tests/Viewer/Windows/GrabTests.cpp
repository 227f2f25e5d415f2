// SPDX-License-Identifier: GPL-3.0-or-later
#include <QAction>
#include <QLabel>

#include <xcb/xcb.h>

#include "WindowFixture.h"

namespace quorl::viewer::test {
namespace {

using namespace std::chrono_literals;

class WindowGrabTest : public WindowTest {
 protected:
  void SetUp() override {
    open();
    ASSERT_TRUE(hasPicture());
  }
  bool isGrabbed() const { return action("Grab keyboard")->isChecked(); }
  bool hasPressed(std::uint16_t key) const {
    for (const auto& input : host_->inputs())
      if (const auto* event = std::get_if<inputEvent::Key>(&input.value))
        if (event->keyCode == key && event->down) return true;
    return false;
  }
};

TEST_F(WindowGrabTest, superAndAltTabReachTheHostOnlyWithTheGrab) {
  constexpr std::uint16_t tab = 48;
  constexpr std::uint16_t super = 55;
  act({"key", "alt+Tab"});
  ASSERT_TRUE(activate());
  EXPECT_FALSE(hasPressed(tab));
  act({"key", "ctrl+alt+shift+space"});
  ASSERT_TRUE(spinUntil([&] { return isGrabbed(); }));
  EXPECT_TRUE(shows("The host has the keyboard. Ctrl+Alt+Shift+Space gives it back."));
  screenshot("grabbed");
  act({"key", "super", "alt+Tab"});
  EXPECT_TRUE(spinUntil([&] { return hasPressed(super) && hasPressed(tab) && heldAt(*host_) == 0; }));
  EXPECT_TRUE(window_->isActiveWindow());
  EXPECT_TRUE(spinUntil([&] { return !shows("The host has the keyboard"); })) << "after three seconds";
}

TEST_F(WindowGrabTest, theChordReleasesTheKeyboard) {
  act({"key", "ctrl+alt+shift+space"});
  ASSERT_TRUE(spinUntil([&] { return isGrabbed(); }));
  act({"key", "ctrl+alt+shift+space"});
  ASSERT_TRUE(spinUntil([&] { return !isGrabbed(); }));
  EXPECT_EQ(heldAt(*host_), 0U);
  // Another program can have it now.
  xcb_connection_t* other = xcb_connect(desktop().display().c_str(), nullptr);
  const auto root = xcb_setup_roots_iterator(xcb_get_setup(other)).data->root;
  X11KeyboardGrab grab(other, root);
  EXPECT_TRUE(grab.take());
  grab.release();
  xcb_disconnect(other);
}

TEST_F(WindowGrabTest, aKeyboardThatAnotherProgramHoldsIsRefusedAndThatIsShown) {
  const auto elsewhere = desktop().start({"xlogo", "-geometry", "100x100+1100+700"});
  ASSERT_TRUE(spinUntil([&] { return !window_->isActiveWindow(); }));
  xcb_connection_t* other = xcb_connect(desktop().display().c_str(), nullptr);
  {
    const auto root = xcb_setup_roots_iterator(xcb_get_setup(other)).data->root;
    X11KeyboardGrab grab(other, root);
    ASSERT_TRUE(spinUntil([&] { return grab.take().has_value(); }));
    action("While the window has the focus")->trigger();
    ASSERT_TRUE(activate());
    EXPECT_TRUE(
        spinUntil([&] { return shows("The keyboard was not grabbed: another program has the keyboard"); }));
    screenshot("not-grabbed");
    EXPECT_FALSE(isGrabbed());
  }
  xcb_disconnect(other);
}

}  // namespace
}  // namespace quorl::viewer::test
