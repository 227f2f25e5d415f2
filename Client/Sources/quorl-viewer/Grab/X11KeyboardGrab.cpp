// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Grab/X11KeyboardGrab.h>

#include <cstdlib>
#include <memory>

#include <xcb/xcb.h>

namespace quorl::viewer {
namespace {

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};

X11KeyboardGrab::Refusal refusalOf(std::uint8_t status) {
  switch (status) {
    case XCB_GRAB_STATUS_ALREADY_GRABBED:
      return {true, "another program has the keyboard"};
    case XCB_GRAB_STATUS_FROZEN:
      return {true, "another program has stopped the keyboard"};
    case XCB_GRAB_STATUS_NOT_VIEWABLE:
      return {false, "the window is not on the screen"};
    default:
      return {false, "the display refuses the keyboard"};
  }
}

}  // namespace

std::expected<void, X11KeyboardGrab::Refusal> X11KeyboardGrab::take() {
  if (isHeld_) return {};
  // Owner events: they keep going to the window that has the focus, as without a grab.
  const auto cookie =
      xcb_grab_keyboard(xcb_, 1, window_, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
  const std::unique_ptr<xcb_grab_keyboard_reply_t, Free> reply(
      xcb_grab_keyboard_reply(xcb_, cookie, nullptr));
  if (!reply) return std::unexpected(Refusal{false, "the display does not answer"});
  if (reply->status != XCB_GRAB_STATUS_SUCCESS) return std::unexpected(refusalOf(reply->status));
  isHeld_ = true;
  return {};
}

void X11KeyboardGrab::release() {
  if (!isHeld_) return;
  isHeld_ = false;
  xcb_ungrab_keyboard(xcb_, XCB_CURRENT_TIME);
  xcb_flush(xcb_);
}

}  // namespace quorl::viewer
