// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/DamageWatch.h>

#include <utility>

#include <xcb/damage.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

/// In pixels. Up to this size the rectangle around all changes is fetched. Above it, one more round trip for
/// the exact rectangles costs less than the pixels between them.
constexpr long worthAsking = 65'536;

}  // namespace

DamageWatch::DamageWatch(X11Connection& connection, std::uint32_t window) : connection_(connection) {
  damage_ = xcb_generate_id(connection.xcb());
  // The server reports the rectangle around all changes as it grows: one event for a small change, few for a
  // flood.
  xcb_damage_create(connection.xcb(), damage_, window, XCB_DAMAGE_REPORT_LEVEL_BOUNDING_BOX);
  region_ = xcb_generate_id(connection.xcb());
  xcb_xfixes_create_region(connection.xcb(), region_, 0, nullptr);
}

DamageWatch::~DamageWatch() {
  xcb_damage_destroy(connection_.xcb(), damage_);
  xcb_xfixes_destroy_region(connection_.xcb(), region_);
}

bool DamageWatch::handle(const void* event) {
  const auto& notify = *static_cast<const xcb_damage_notify_event_t*>(event);
  if ((notify.response_type & 0x7F) != connection_.extensions().damage.firstEvent + XCB_DAMAGE_NOTIFY) {
    return false;
  }
  if (notify.damage != damage_) return false;
  reported_ = reported_.unionWith({notify.area.x, notify.area.y, notify.area.width, notify.area.height});
  return true;
}

DirtyRegion DamageWatch::take() {
  const PixelRect reported = std::exchange(reported_, {});
  if (static_cast<long>(reported.width) * reported.height > worthAsking) {
    xcb_damage_subtract(connection_.xcb(), damage_, XCB_NONE, region_);
    return fetch();
  }
  // Only what is fetched: a change whose event is still on its way stays, and is reported again.
  const xcb_rectangle_t rect{static_cast<std::int16_t>(reported.x), static_cast<std::int16_t>(reported.y),
                             static_cast<std::uint16_t>(reported.width),
                             static_cast<std::uint16_t>(reported.height)};
  xcb_xfixes_set_region(connection_.xcb(), region_, 1, &rect);
  xcb_damage_subtract(connection_.xcb(), damage_, region_, XCB_NONE);
  return DirtyRegion(reported);
}

DirtyRegion DamageWatch::takeFrom(std::uint32_t region) {
  reported_ = {};
  xcb_damage_subtract(connection_.xcb(), damage_, XCB_NONE, region_);
  xcb_xfixes_subtract_region(connection_.xcb(), region, region_, region);
  return fetch();
}

void DamageWatch::skip() {
  xcb_damage_subtract(connection_.xcb(), damage_, XCB_NONE, XCB_NONE);
  reported_ = {};
}

DirtyRegion DamageWatch::fetch() {
  // The largest window that the protocol knows.
  constexpr PixelRect everything{-32'768, -32'768, 65'535, 65'535};
  const XcbReply<xcb_xfixes_fetch_region_reply_t> reply(xcb_xfixes_fetch_region_reply(
      connection_.xcb(), xcb_xfixes_fetch_region(connection_.xcb(), region_), nullptr));
  if (!reply) return DirtyRegion(everything);
  DirtyRegion damaged;
  const auto* rects = xcb_xfixes_fetch_region_rectangles(reply.get());
  const int count = xcb_xfixes_fetch_region_rectangles_length(reply.get());
  for (int i = 0; i < count; ++i) damaged.add({rects[i].x, rects[i].y, rects[i].width, rects[i].height});
  return damaged;
}

}  // namespace quorl
