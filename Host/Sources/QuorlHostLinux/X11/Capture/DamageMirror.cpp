// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/DamageMirror.h>

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

DamageMirror::DamageMirror(X11Connection& connection, std::uint32_t watched) : connection_(connection) {
  damage_ = xcb_generate_id(connection.xcb());
  // The server reports the rectangle around all changes as it grows: one event for a small change, few for a
  // flood.
  xcb_damage_create(connection.xcb(), damage_, watched, XCB_DAMAGE_REPORT_LEVEL_BOUNDING_BOX);
  region_ = xcb_generate_id(connection.xcb());
  xcb_xfixes_create_region(connection.xcb(), region_, 0, nullptr);
}

DamageMirror::~DamageMirror() {
  xcb_damage_destroy(connection_.xcb(), damage_);
  xcb_xfixes_destroy_region(connection_.xcb(), region_);
}

std::expected<void, PortError> DamageMirror::show(std::uint32_t drawable, const PixelRect& area) {
  const PixelSize size{area.width, area.height};
  if (!image_ || image_->size() != size) {
    auto image = SharedImage::make(connection_, size);
    if (!image) return std::unexpected(image.error());
    image_ = std::move(*image);
  }
  drawable_ = drawable;
  area_ = area;
  isWholeDirty_ = true;
  return {};
}

bool DamageMirror::handle(const void* event) {
  const auto& notify = *static_cast<const xcb_damage_notify_event_t*>(event);
  if ((notify.response_type & 0x7F) != connection_.extensions().damage.firstEvent + XCB_DAMAGE_NOTIFY) {
    return false;
  }
  if (notify.damage != damage_) return false;
  reported_ = reported_.unionWith({notify.area.x, notify.area.y, notify.area.width, notify.area.height});
  return true;
}

DirtyRegion DamageMirror::refresh() {
  // The server clears the damage before the pixels are read, so a change in between is reported again.
  const DirtyRegion damaged = takeDamage();
  DirtyRegion dirty;
  for (const auto& rect : damaged.rects()) {
    PixelRect common = rect.intersectionWith(area_);
    if (common.isEmpty()) continue;
    common.x -= area_.x;
    common.y -= area_.y;
    dirty.add(common);
  }
  if (!dirty.isEmpty()) image_->request(drawable_, area_.x, area_.y, dirty.rects());
  return dirty;
}

std::expected<void, PortError> DamageMirror::finish() {
  auto finished = image_->awaitAll();
  if (!finished) isWholeDirty_ = true;
  return finished;
}

DirtyRegion DamageMirror::takeDamage() {
  if (isWholeDirty_) {
    xcb_damage_subtract(connection_.xcb(), damage_, XCB_NONE, XCB_NONE);
    isWholeDirty_ = false;
    reported_ = {};
    return DirtyRegion(area_);
  }
  const PixelRect reported = std::exchange(reported_, {});
  if (static_cast<long>(reported.width) * reported.height > worthAsking) return fetchDamage();
  xcb_damage_subtract(connection_.xcb(), damage_, XCB_NONE, XCB_NONE);
  return DirtyRegion(reported);
}

DirtyRegion DamageMirror::fetchDamage() {
  xcb_damage_subtract(connection_.xcb(), damage_, XCB_NONE, region_);
  const XcbReply<xcb_xfixes_fetch_region_reply_t> reply(xcb_xfixes_fetch_region_reply(
      connection_.xcb(), xcb_xfixes_fetch_region(connection_.xcb(), region_), nullptr));
  if (!reply) return DirtyRegion(area_);
  DirtyRegion damaged;
  const auto* rects = xcb_xfixes_fetch_region_rectangles(reply.get());
  const int count = xcb_xfixes_fetch_region_rectangles_length(reply.get());
  for (int i = 0; i < count; ++i) damaged.add({rects[i].x, rects[i].y, rects[i].width, rects[i].height});
  return damaged;
}

}  // namespace quorl
