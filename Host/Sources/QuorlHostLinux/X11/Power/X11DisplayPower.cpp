// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Power/X11DisplayPower.h>

#include <cstdint>
#include <utility>

#include <xcb/dpms.h>
#include <xcb/screensaver.h>
#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

bool has(xcb_connection_t* xcb, xcb_extension_t& extension) {
  const auto* data = xcb_get_extension_data(xcb, &extension);
  return data != nullptr && data->present != 0;
}

bool canDPMS(xcb_connection_t* xcb) {
  if (!has(xcb, xcb_dpms_id)) return false;
  const XcbReply<xcb_dpms_capable_reply_t> reply(xcb_dpms_capable_reply(xcb, xcb_dpms_capable(xcb), nullptr));
  return reply && reply->capable != 0;
}

bool isDPMSEnabled(xcb_connection_t* xcb) {
  const XcbReply<xcb_dpms_info_reply_t> reply(xcb_dpms_info_reply(xcb, xcb_dpms_info(xcb), nullptr));
  return reply && reply->state != 0;
}

// Waits for the server to have done all requests.
bool finish(xcb_connection_t* xcb) {
  const XcbReply<xcb_get_input_focus_reply_t> reply(
      xcb_get_input_focus_reply(xcb, xcb_get_input_focus(xcb), nullptr));
  return reply != nullptr;
}

}  // namespace

X11DisplayPower::X11DisplayPower(X11DisplayName displayName) : displayName_(std::move(displayName)) {}
X11DisplayPower::~X11DisplayPower() = default;

PowerAssertions::ID X11DisplayPower::create(PowerAssertion kind, const std::string& /*name*/) {
  if (kind != PowerAssertion::preventIdleDisplaySleep || awakeID_ != none) return none;
  auto connection = X11Connection::open(displayName_);
  if (!connection || !has((*connection)->xcb(), xcb_screensaver_id)) return none;
  xcb_connection_t* xcb = (*connection)->xcb();
  // A server serves an extension only after this question about its version.
  const XcbReply<xcb_screensaver_query_version_reply_t> version(
      xcb_screensaver_query_version_reply(xcb, xcb_screensaver_query_version(xcb, 1, 1), nullptr));
  if (!version || std::pair(version->server_major_version, version->server_minor_version) <
                      std::pair<std::uint16_t, std::uint16_t>(1, 1))
    return none;
  xcb_screensaver_suspend(xcb, 1);
  if (!finish(xcb)) return none;
  awake_ = std::move(*connection);
  return awakeID_ = ++last_;
}

void X11DisplayPower::release(ID assertion) {
  if (assertion == none || assertion != awakeID_) return;
  awakeID_ = none;
  awake_.reset();
}

SystemResult X11DisplayPower::sleepDisplays() {
  const auto connection = X11Connection::open(displayName_);
  if (!connection) return std::unexpected(SystemFailure{"X11", connection.error().description});
  xcb_connection_t* xcb = (*connection)->xcb();
  if (canDPMS(xcb)) {
    if (!isDPMSEnabled(xcb)) {
      xcb_dpms_enable(xcb);
      enabledDPMS_ = true;
    }
    xcb_dpms_force_level(xcb, XCB_DPMS_DPMS_MODE_OFF);
  } else {
    xcb_force_screen_saver(xcb, XCB_SCREEN_SAVER_ACTIVE);
  }
  if (!finish(xcb)) return std::unexpected(SystemFailure{"X11", "the server has gone"});
  return {};
}

PowerAssertions::ID X11DisplayPower::declareUserActivity(const std::string& /*name*/) {
  const auto connection = X11Connection::open(displayName_);
  if (!connection) return none;
  xcb_connection_t* xcb = (*connection)->xcb();
  if (canDPMS(xcb)) {
    xcb_dpms_force_level(xcb, XCB_DPMS_DPMS_MODE_ON);
    if (std::exchange(enabledDPMS_, false)) xcb_dpms_disable(xcb);
  }
  xcb_force_screen_saver(xcb, XCB_SCREEN_SAVER_RESET);
  return finish(xcb) ? ++last_ : none;
}

}  // namespace quorl
