// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Input/FakeKeys.h>

#include <array>

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

bool repeats(xcb_connection_t* xcb, std::uint8_t keycode) {
  const XcbReply<xcb_get_keyboard_control_reply_t> reply(
      xcb_get_keyboard_control_reply(xcb, xcb_get_keyboard_control(xcb), nullptr));
  return reply && (reply->auto_repeats[keycode / 8] >> (keycode % 8) & 1) != 0;
}

void setRepeat(xcb_connection_t* xcb, std::uint8_t keycode, xcb_auto_repeat_mode_t mode) {
  const std::array<std::uint32_t, 2> values{keycode, mode};
  xcb_change_keyboard_control(xcb, XCB_KB_KEY | XCB_KB_AUTO_REPEAT_MODE, values.data());
}

}  // namespace

void fakeKey(xcb_connection_t* xcb, std::uint8_t keycode, bool down) {
  xcb_test_fake_input(xcb, down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, keycode, XCB_CURRENT_TIME, XCB_NONE, 0, 0,
                      0);
}

void pressWithoutRepeat(xcb_connection_t* xcb, std::uint8_t keycode) {
  if (!repeats(xcb, keycode)) return fakeKey(xcb, keycode, true);
  setRepeat(xcb, keycode, XCB_AUTO_REPEAT_MODE_OFF);
  fakeKey(xcb, keycode, true);
  setRepeat(xcb, keycode, XCB_AUTO_REPEAT_MODE_ON);
}

}  // namespace quorl
