// SPDX-License-Identifier: GPL-3.0-or-later
#include <linux/input-event-codes.h>

#include "WaylandFixture.h"

namespace quorl::viewer::test {
namespace {

using namespace std::chrono_literals;

class WaylandGrabTest : public WaylandTest {
 protected:
  static constexpr std::uint16_t super = 55;
  static constexpr std::uint16_t x = 7;

  static void pressChord() { input().press({KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTSHIFT, KEY_SPACE}); }
};

TEST_F(WaylandGrabTest, withoutTheGrabTheDesktopKeepsItsShortcuts) {
  input().press({KEY_LEFTMETA, KEY_X});
  EXPECT_TRUE(spinUntil([&] { return sway().bindingFired(); }));
  EXPECT_FALSE(hasPressed(x));
}

TEST_F(WaylandGrabTest, withTheGrabTheHostGetsTheDesktopsShortcuts) {
  pressChord();
  ASSERT_TRUE(spinUntil([&] { return isGrabbed(); }));
  EXPECT_TRUE(shows("The host has the keyboard. Ctrl+Alt+Shift+Space gives it back."));
  screenshot("wayland-grabbed");
  input().press({KEY_LEFTMETA, KEY_X});
  EXPECT_TRUE(spinUntil([&] { return hasPressed(super) && hasPressed(x) && held() == 0; }));
  EXPECT_FALSE(sway().bindingFired());
}

TEST_F(WaylandGrabTest, theChordGivesTheShortcutsBack) {
  pressChord();
  ASSERT_TRUE(spinUntil([&] { return isGrabbed(); }));
  pressChord();
  ASSERT_TRUE(spinUntil([&] { return !isGrabbed(); }));
  EXPECT_EQ(held(), 0U);
  input().press({KEY_LEFTMETA, KEY_X});
  EXPECT_TRUE(spinUntil([&] { return sway().bindingFired(); }));
  EXPECT_FALSE(hasPressed(x));
}

TEST_F(WaylandGrabTest, theCompositorCanTakeTheKeyboardBack) {
  pressChord();
  ASSERT_TRUE(spinUntil([&] { return isGrabbed(); }));
  input().key(KEY_A, true);
  ASSERT_TRUE(spinUntil([&] { return held() == 1; }));
  sway().run("shortcuts_inhibitor disable");
  EXPECT_TRUE(spinUntil([&] { return !isGrabbed(); }));
  EXPECT_TRUE(spinUntil([&] { return held() == 0; }));
  input().key(KEY_A, false);
}

TEST_F(WaylandGrabTest, aCompositorThatDoesNotAllowItIsARefusal) {
  sway().run("shortcuts_inhibitor disable");
  pressChord();
  EXPECT_TRUE(
      spinUntil([&] { return shows("The keyboard was not grabbed: the desktop does not allow it"); }));
  EXPECT_FALSE(isGrabbed());
  screenshot("wayland-not-grabbed");
}

}  // namespace
}  // namespace quorl::viewer::test
